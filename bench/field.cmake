zef_add_bench(sides SOURCES field/Component_bench.cpp USES field)
zef_add_bench(filler SOURCES field/Filler_bench.cpp USES field)
