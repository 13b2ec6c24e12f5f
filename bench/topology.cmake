zef_add_bench(topology SOURCES topology/CMesh_bench.cpp USES topology)
