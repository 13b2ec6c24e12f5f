zef_add_bench(polygon SOURCES polygon/Voro_bench.cpp USES polygon)
