# MT2203 tests: the table's definition (internal to the library) is compiled
# in, and the search library re-checks sampled rows.
foreach(test rng_mt2203_test rng_mt2203_table_test)
  target_sources(${test} PRIVATE ${PROJECT_SOURCE_DIR}/vsl/rng/engines/mt2203_table.cpp)
endforeach()
target_link_libraries(rng_mt2203_table_test PRIVATE orx_mt2203_search)
