zef_add_bench(smooth SOURCES cloud/Smooth_bench.cpp USES sampling)
