# Linear and quadratic spline construction beside a memcpy of the same bytes.
add_executable(orx_bench_df_spline ${CMAKE_CURRENT_SOURCE_DIR}/df_spline_bench.cpp)
target_include_directories(orx_bench_df_spline PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(orx_bench_df_spline PRIVATE orx_kernels orx_host benchmark::benchmark m)
