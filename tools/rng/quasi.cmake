# Generator of the Niederreiter polynomial tables (run by vsl/rng/engines/quasi.cmake).
add_executable(orx_gen_niederr_polys ${CMAKE_CURRENT_LIST_DIR}/gen_niederr_polys.cpp)
