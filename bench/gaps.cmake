zef_add_bench(filler SOURCES gaps/Filler_bench.cpp USES gaps)
