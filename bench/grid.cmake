zef_add_bench(grid SOURCES grid/Calc_bench.cpp USES grid)
