zef_add_bench(io SOURCES io/pointFiles_bench.cpp USES io files)
zef_add_bench(mesh_files SOURCES io/meshFiles_bench.cpp USES io files refine)
