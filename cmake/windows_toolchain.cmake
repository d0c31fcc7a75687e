# Debian's cross compiler for 64-bit Windows.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Headers and libraries of the machine that builds are not those of the machine that it is built for.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Those of scripts/windows_dependencies come first.
set(CMAKE_FIND_ROOT_PATH ${CMAKE_CURRENT_LIST_DIR}/../build/windows-dependencies /usr/x86_64-w64-mingw32)
set(KX_WINDOWS_DEPENDENCIES OFF)
if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/../build/windows-dependencies/complete)
  set(KX_WINDOWS_DEPENDENCIES ON)
endif()

# What is built runs under Wine, here with a folder of the build's own for its settings.
find_program(KX_WINE NAMES wine64 wine PATHS /usr/lib/wine)
find_program(KX_WINE_SERVER NAMES wineserver64 wineserver PATHS /usr/lib/wine)
if(KX_WINE AND KX_WINE_SERVER)
  set(CMAKE_CROSSCOMPILING_EMULATOR
    sh ${CMAKE_CURRENT_LIST_DIR}/../tests/run_under_wine.sh ${KX_WINE} ${KX_WINE_SERVER} ${CMAKE_BINARY_DIR}/wine)
endif()
