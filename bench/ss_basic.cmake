# Basic summary statistics (mean, raw moments, covariance) beside plain loops,
# GSL, a dsyrk two-pass covariance on OpenBLAS and the read bandwidth.
# OpenBLAS is linked before GSL: GSL's pkg-config brings its reference CBLAS,
# whose cblas_dsyrk would otherwise win the symbol lookup for the peer and
# for our host's BLAS calls alike.
pkg_check_modules(GSL REQUIRED IMPORTED_TARGET gsl)
pkg_check_modules(OPENBLAS REQUIRED IMPORTED_TARGET openblas)
add_executable(orx_bench_ss_basic ${CMAKE_CURRENT_LIST_DIR}/ss_basic_bench.cpp)
target_include_directories(orx_bench_ss_basic PRIVATE ${PROJECT_SOURCE_DIR}
                                                      ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(orx_bench_ss_basic PRIVATE orx_kernels orx_host PkgConfig::OPENBLAS
                                                 benchmark::benchmark PkgConfig::GSL)
