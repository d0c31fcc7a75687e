# What other projects find the library by. None of it holds a path of its own: the installed tree may be moved.
include(CMakePackageConfigHelpers)

set(name ${PROJECT_NAME})
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${name}-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${name}-config-version.cmake DESTINATION ${package_folder} COMPONENT development)
if(WIN32)
  # Visual C++ links by an import library of its own.
  install(EXPORT ${name} FILE ${name}-targets.cmake NAMESPACE korvex::
    DESTINATION ${package_folder} COMPONENT development)
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/windows_config.cmake RENAME ${name}-config.cmake
    DESTINATION ${package_folder} COMPONENT development)
else()
  install(EXPORT ${name} FILE ${name}-config.cmake NAMESPACE korvex::
    DESTINATION ${package_folder} COMPONENT development)
endif()

# The way from the .pc file to the prefix is counted: the library's folder may be lib, lib64 or lib/TRIPLET.
set(pc_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
foreach(folder LIB INCLUDE)
  file(RELATIVE_PATH ${folder}_FROM_PREFIX ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_${folder}DIR})
endforeach()
file(RELATIVE_PATH PREFIX_FROM_PC ${pc_folder} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PREFIX_FROM_PC ${PREFIX_FROM_PC})
configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

# Linkers add the prefix to what -l names. What they link still asks for the library's own name.
if(UNIX)
  set(link ${PROJECT_BINARY_DIR}/lib${name}${CMAKE_SHARED_LIBRARY_SUFFIX})
  file(CREATE_LINK ${name}${CMAKE_SHARED_LIBRARY_SUFFIX} ${link} SYMBOLIC)
  install(FILES ${link} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

set(root ${PROJECT_SOURCE_DIR})
install(FILES ${root}/packaging/README.md ${root}/CHANGELOG.md ${root}/THIRD_PARTY.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)
install(DIRECTORY ${root}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  FILES_MATCHING REGEX "/(host_guide|profiles|benchmarks)\\.[a-z]+$")
if(KX_TOOLS)
  install(FILES ${root}/docs/converter.md ${root}/docs/profiles.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT tools)
endif()
if(KX_TOOLS AND WIN32)
  install(FILES ${root}/docs/windows.md DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT tools)
endif()
install(DIRECTORY ${root}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
  FILES_MATCHING PATTERN "*.c" PATTERN "*.cpp")
