zef_add_bench(sides SOURCES field/Component_bench.cpp USES field)
