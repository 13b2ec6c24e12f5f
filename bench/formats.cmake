zef_add_bench(las SOURCES formats/las_bench.cpp USES formats)
