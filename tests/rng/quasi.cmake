# Quasi-random engine tests: scipy's Sobol points in data/, GSL's
# Niederreiter generator as the oracle, the generated polynomial table.
pkg_check_modules(GSL REQUIRED IMPORTED_TARGET gsl)
foreach(test rng_sobol_test rng_niederr_test)
  target_compile_definitions(${test} PRIVATE ORX_RNG_TESTDATA="${CMAKE_CURRENT_SOURCE_DIR}/data")
  add_dependencies(${test} orx_niederr_polys)
endforeach()
target_link_libraries(rng_niederr_test PRIVATE PkgConfig::GSL)
