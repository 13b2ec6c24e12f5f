zef_add_bench(repair SOURCES repair/Top_bench.cpp USES repair)
target_include_directories(bench_repair PRIVATE "${PROJECT_SOURCE_DIR}/tests")
