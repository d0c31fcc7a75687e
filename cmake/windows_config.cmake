include(${CMAKE_CURRENT_LIST_DIR}/korvex_kvi_color_processing-targets.cmake)

# The exported import library is MinGW's. Visual C++ has its own beside it.
if(MSVC)
  get_filename_component(libraries ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
  set_property(TARGET korvex::color_processing PROPERTY
    IMPORTED_IMPLIB ${libraries}/korvex_kvi_color_processing.lib)
  get_target_property(configurations korvex::color_processing IMPORTED_CONFIGURATIONS)
  foreach(configuration ${configurations})
    set_property(TARGET korvex::color_processing PROPERTY
      IMPORTED_IMPLIB_${configuration} ${libraries}/korvex_kvi_color_processing.lib)
  endforeach()
endif()
