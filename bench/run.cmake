zef_add_bench(reconstruct SOURCES run/reconstruct_bench.cpp USES api)
