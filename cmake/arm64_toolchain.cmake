# Debian's cross compiler for 64-bit ARM.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Headers and libraries of the machine that builds are not those of the machine that it is built for.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What runs the programs: tests are skipped where it is missing.
find_program(KX_QEMU NAMES qemu-aarch64 qemu-aarch64-static)
if(KX_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KX_QEMU} -L /usr/aarch64-linux-gnu)
endif()
