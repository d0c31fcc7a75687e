kx_test(chart_test SOURCES chart_test.cpp LIBRARIES kx_chart_library)
target_compile_definitions(chart_test PRIVATE KX_CHART_PROGRAM="$<TARGET_FILE:kx_chart>")
add_dependencies(chart_test kx_chart)
