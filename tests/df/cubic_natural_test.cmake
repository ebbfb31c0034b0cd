# Natural cubic construction tests: GSL's natural and periodic cubic
# splines are one of the oracles. orx_host comes first on the link line, so
# GSL's gslcblas never stands in for the BLAS liborx_host uses.
pkg_check_modules(GSL REQUIRED IMPORTED_TARGET gsl)
target_link_libraries(df_cubic_natural_test PRIVATE PkgConfig::GSL)
