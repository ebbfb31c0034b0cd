# SFMT19937 and the uniform-bits generators read the authors' published outputs.
foreach(test rng_sfmt19937_test rng_uniform_bits_test)
  if(TARGET ${test})
    target_compile_definitions(${test} PRIVATE ORX_RNG_TESTDATA="${CMAKE_CURRENT_SOURCE_DIR}/data")
  endif()
endforeach()
