zef_add_bench(refine SOURCES refine/RMesh_bench.cpp USES refine)
zef_add_bench(refine_operations SOURCES refine/operations_bench.cpp USES refine simplify smooth)
