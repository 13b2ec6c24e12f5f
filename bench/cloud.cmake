zef_add_bench(smooth SOURCES cloud/Smooth_bench.cpp USES sampling)
zef_add_bench(pixel SOURCES cloud/Pixel_bench.cpp USES cloud)
