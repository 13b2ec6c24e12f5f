zef_add_bench(grid SOURCES grid/Calc_bench.cpp USES grid)
zef_add_bench(cells SOURCES grid/CellBlocks_bench.cpp USES grid)
