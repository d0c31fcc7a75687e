# What all of the project's targets are built with, and the kinds of targets there are.

# Sets `variable` to the path of one of the compiler's own libraries.
function(kx_find_runtime variable file)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${file}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(${variable} ${path} PARENT_SCOPE)
endfunction()

# kx_options: warnings, arithmetic and visibility. Linked by every target.
add_library(kx_options INTERFACE)
target_compile_options(kx_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion
  # Every product and sum is rounded by itself: no fused multiply-add, not even from intrinsics.
  -ffp-contract=off
  # Reported source file names, assertions and debug information carry no build path.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
  -fvisibility=hidden)
if(UNIX AND NOT KX_SANITIZERS)
  # Functions of other libraries are bound when a file is loaded, into tables that are then read-only.
  target_link_options(kx_options INTERFACE -Wl,-z,relro,-z,now)
endif()
if(MINGW)
  # Nothing to ship beside libraries and programs: the compiler's own runtime goes into each. And two builds are the
  # same, whatever the time.
  target_link_options(kx_options INTERFACE -static -Wl,--no-insert-timestamp)
endif()
if(KX_SANITIZERS)
  target_compile_options(kx_options INTERFACE
    -fsanitize=${KX_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
    # With sanitizers g++ 12 finds uninitialized members in its own headers (std::regex).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(kx_options INTERFACE -fsanitize=${KX_SANITIZERS})
  if(KX_SANITIZERS MATCHES address AND CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # Shared, as g++ has it: one for all of a process, whose program may be Python's.
    kx_find_runtime(KX_ADDRESS_SANITIZER libclang_rt.asan-${CMAKE_SYSTEM_PROCESSOR}.so)
    cmake_path(GET KX_ADDRESS_SANITIZER PARENT_PATH folder)
    target_link_options(kx_options INTERFACE -shared-libasan -Wl,-rpath,${folder})
    # It knows types by their addresses, and each library has its own of types that are hidden.
    target_compile_options(kx_options INTERFACE -fno-sanitize=function)
  elseif(KX_SANITIZERS MATCHES address)
    kx_find_runtime(KX_ADDRESS_SANITIZER libasan.so)
  endif()
  if(KX_SANITIZERS MATCHES fuzzer)
    target_compile_options(kx_options INTERFACE -fno-sanitize-coverage=trace-cmp)
  endif()
endif()

# Finds what `option` cannot do without, or says which Debian package has it. Further arguments are find_package's: the
# version comes first.
macro(kx_need option debian_package package version)
  find_package(${package} ${version} ${ARGN})
  if(NOT ${package}_FOUND)
    message(FATAL_ERROR
      "${package} ${version} or later is missing (Debian: ${debian_package}); with -D${option}=OFF the build does without it.")
  endif()
endmacro()

# For code whose speed nobody feels: compiled in two thirds of the time.
function(kx_compile_quickly target)
  target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O1>)
endfunction()

# Everything that is installed.
add_custom_target(kx_installed)

# What Windows shows as the file's properties, and the manifest, if there is one.
function(kx_describe_for_windows target suffix file_type manifest)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
endfunction()

# Makes `target` a shared library named korvex_kvi_NAME.so or .dll. Hosts load it by its bare name or, when it is
# LINKED, link it: on Windows that takes an import library. Unless it is UNINSTALLED, it ships.
# EXPORTS names a version script: whatever it does not list stays hidden, also the templates of the standard
# library that hidden visibility alone would let through and that can pin the library in memory.
function(kx_shared_library target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "LINKED;UNINSTALLED" "EXPORTS" "SOURCES")
  if(WIN32 AND NOT ARG_LINKED)
    add_library(${target} MODULE ${ARG_SOURCES})
  else()
    add_library(${target} SHARED ${ARG_SOURCES})
  endif()
  target_link_libraries(${target} PRIVATE kx_options)
  set_target_properties(${target} PROPERTIES PREFIX "" IMPORT_PREFIX "")
  file(STRINGS ${ARG_EXPORTS} names REGEX "^ +k[A-Za-z0-9_]+;")
  list(TRANSFORM names REPLACE "[ ;]" "")
  set_target_properties(${target} PROPERTIES KX_EXPORTS "${names}")
  if(UNIX)
    set(identification ${CMAKE_CURRENT_BINARY_DIR}/${target}_identification.cpp)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/identification.cpp.in ${identification})
    target_sources(${target} PRIVATE ${identification})
    # The companion modules lie beside the library; RUNPATH lets LD_LIBRARY_PATH put others in front.
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
    cmake_path(ABSOLUTE_PATH ARG_EXPORTS BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} OUTPUT_VARIABLE script)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
    target_link_options(${target} PRIVATE
      -Wl,--enable-new-dtags -Wl,--version-script=${script}
      $<$<CONFIG:Release>:-Wl,--strip-all>)
    if(NOT KX_SANITIZERS)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  elseif(MINGW)
    target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-Wl,--strip-all>)
  endif()
  if(WIN32)
    kx_describe_for_windows(${target} dll 0x2 "")
  endif()
  if(ARG_UNINSTALLED)
    return()
  endif()
  set_property(GLOBAL APPEND PROPERTY KX_SHARED_LIBRARIES ${target})

  # korvex::NAME, to those who install the library as to those who build it in their own project.
  string(REPLACE korvex_kvi_ "" name ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  add_library(korvex::${name} ALIAS ${target})
  if(KX_INSTALL)
    set(folder ${CMAKE_INSTALL_LIBDIR})
    if(WIN32)
      set(folder ${CMAKE_INSTALL_BINDIR})
    endif()
    add_dependencies(kx_installed ${target})
    install(TARGETS ${target} EXPORT korvex_kvi_color_processing
      LIBRARY DESTINATION ${folder} COMPONENT library
      RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
      INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  endif()
endfunction()

# A program in bin that finds the libraries: in lib beside it, or in its own folder on Windows.
function(kx_program target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES")
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE kx_options)
  if(WIN32)
    # Names of files in UTF-8, and of any length.
    kx_describe_for_windows(${target} exe 0x1 "1 24 \"${PROJECT_SOURCE_DIR}/cmake/program.manifest\"")
  else()
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/../lib")
    if(KX_SANITIZERS)
      # The sanitizers call dlopen in the library's place, so that its RUNPATH does not count for the companion
      # modules. The program's RPATH does.
      target_link_options(${target} PRIVATE -Wl,--disable-new-dtags)
    endif()
  endif()
endfunction()

# Installs programs, which find the library where it is installed.
function(kx_install_programs)
  if(NOT KX_INSTALL)
    return()
  endif()
  if(UNIX)
    file(RELATIVE_PATH to_libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    string(REGEX REPLACE "/$" "" to_libraries ${to_libraries})
    if(NOT to_libraries STREQUAL ../lib)
      set_target_properties(${ARGN} PROPERTIES
        BUILD_WITH_INSTALL_RPATH OFF BUILD_RPATH "$ORIGIN/../lib" BUILD_RPATH_USE_ORIGIN ON
        INSTALL_RPATH "$ORIGIN/${to_libraries}")
    endif()
  endif()
  foreach(program ${ARGN})
    target_link_options(${program} PRIVATE $<$<CONFIG:Release>:-Wl,--strip-all>)
  endforeach()
  add_dependencies(kx_installed ${ARGN})
  install(TARGETS ${ARGN} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endfunction()
