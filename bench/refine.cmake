zef_add_bench(refine SOURCES refine/RMesh_bench.cpp USES refine)
