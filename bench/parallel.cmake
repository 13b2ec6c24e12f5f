pkg_check_modules(TBB REQUIRED tbb)
zef_add_bench(sortMT SOURCES parallel/sortMT_bench.cpp USES parallel LIBRARIES tbb)
zef_add_bench(loops SOURCES parallel/loops_bench.cpp USES parallel)
