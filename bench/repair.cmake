zef_add_bench(repair SOURCES repair/Top_bench.cpp USES repair)
