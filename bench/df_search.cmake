# Cell search beside std::upper_bound and GSL's bisection and accelerator.
pkg_check_modules(GSL REQUIRED IMPORTED_TARGET gsl)
add_executable(orx_bench_df_search ${CMAKE_CURRENT_LIST_DIR}/df_search_bench.cpp)
target_include_directories(orx_bench_df_search PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(orx_bench_df_search PRIVATE orx_kernels orx_host benchmark::benchmark PkgConfig::GSL)
