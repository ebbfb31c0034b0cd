# MT2203 parameter search: GF(2) polynomial arithmetic, Berlekamp-Massey, the
# staged irreducibility test and the tempering search, as a library that the
# table tests link, and the generator program (tools/rng/mt2203_gen.cpp).
# Carry-less multiplication (PCLMULQDQ) is enabled for these tool files only.
add_library(orx_mt2203_search STATIC
  ${CMAKE_CURRENT_LIST_DIR}/mt2203_gf2.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mt2203_modring.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mt2203_irreducible.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mt2203_twister.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mt2203_search.cpp
  ${CMAKE_CURRENT_LIST_DIR}/mt2203_tempering.cpp)
target_include_directories(orx_mt2203_search PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_options(orx_mt2203_search PUBLIC -mpclmul -msse4.1 -mpopcnt)
add_executable(orx_mt2203_gen ${CMAKE_CURRENT_LIST_DIR}/mt2203_gen.cpp)
target_link_libraries(orx_mt2203_gen PRIVATE orx_mt2203_search)
