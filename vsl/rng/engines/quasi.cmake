# Niederreiter polynomial tables, generated at build time from their rule
# (tools/rng/gen_niederr_polys.cpp); the Sobol tables are committed
# (sobol_tables.inc, made by tools/rng/extract_sobol_directions.py).
orx_generate_file(orx_niederr_polys orx_gen_niederr_polys
                  ${ORX_RNG_GENERATED_DIR}/orx/niederr_polys.inc orx_vsl_objects)
