# What all of the project's targets are built with, and the kinds of targets there are.

# kx_options: warnings, arithmetic and visibility. Linked by every target.
add_library(kx_options INTERFACE)
if(MSVC)
  target_compile_options(kx_options INTERFACE /W4 /WX /fp:precise /permissive- /utf-8)
  target_compile_definitions(kx_options INTERFACE _CRT_SECURE_NO_WARNINGS NOMINMAX)
else()
  target_compile_options(kx_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Werror
    # Every product and sum is rounded by itself: no fused multiply-add, not even from intrinsics.
    -ffp-contract=off
    # Reported source file names and assertions carry no build path.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
    $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
    -fvisibility=hidden)
  if(KX_SANITIZERS)
    target_compile_options(kx_options INTERFACE
      -fsanitize=${KX_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
      # With sanitizers g++ 12 finds uninitialized members in its own headers (std::regex).
      -Wno-maybe-uninitialized)
    target_link_options(kx_options INTERFACE -fsanitize=${KX_SANITIZERS})
  endif()
endif()

# Makes `target` a shared library that is loaded or linked by its bare name: korvex_kvi_NAME.so or .dll.
# EXPORTS names a version script: whatever it does not list stays hidden, also the templates of the standard
# library that hidden visibility alone would let through and that can pin the library in memory.
function(kx_shared_library target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "EXPORTS" "SOURCES")
  add_library(${target} SHARED ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE kx_options)
  set_target_properties(${target} PROPERTIES PREFIX "" IMPORT_PREFIX "")
  if(UNIX)
    # The companion modules lie beside the library; RUNPATH lets LD_LIBRARY_PATH put others in front.
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN")
    set(script ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_EXPORTS})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${script})
    target_link_options(${target} PRIVATE
      -Wl,--enable-new-dtags -Wl,--version-script=${script}
      $<$<CONFIG:Release>:-Wl,--strip-all>)
    if(NOT KX_SANITIZERS)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  elseif(MINGW)
    # Nothing to ship beside the libraries: the compiler's own runtime goes into each.
    target_link_options(${target} PRIVATE -static $<$<CONFIG:Release>:-Wl,--strip-all>)
  endif()
  install(TARGETS ${target} LIBRARY DESTINATION lib RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
endfunction()

# A program in bin that finds the libraries in lib beside it.
function(kx_program target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES")
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE kx_options)
  if(UNIX)
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/../lib")
    if(KX_SANITIZERS)
      # The sanitizers call dlopen in the library's place, so that its RUNPATH does not count for the companion
      # modules. The program's RPATH does.
      target_link_options(${target} PRIVATE -Wl,--disable-new-dtags)
    endif()
  elseif(MINGW)
    target_link_options(${target} PRIVATE -static)
  endif()
endfunction()
