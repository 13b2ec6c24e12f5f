zef_add_bench(io SOURCES io/pointFiles_bench.cpp USES io)
