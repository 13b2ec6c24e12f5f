#!/usr/bin/env bash
# Installs what is missing, builds, and shows the library at work: a simulated
# scan is made, reconstructed into build/demo/mesh.ply, and the report printed. Then
# the same from Python, if its module could be built.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/demo/build
tool=$build/apps/zef/zef
make_scan=$build/examples/make_scan

./scripts/setup.sh demo
cmake -G Ninja -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DZEF_BUILD_TESTS=OFF
cmake --build "$build" -j "$(nproc)" --target apps/zef/all examples/all

run() {
    echo
    echo "\$ $*"
    "$@"
}

mkdir -p build/demo
run "$make_scan" build/demo/scan.ply
run "$tool" reconstruct build/demo/scan.ply -o build/demo/mesh.ply

python=$(sed -n 's/^Python_EXECUTABLE:[^=]*=//p' "$build/CMakeCache.txt")
if [[ -n $python && $(cmake --build "$build" --target help) == *zef_python* ]]; then
    cmake --build "$build" -j "$(nproc)" --target zef_python
    run env PYTHONPATH="$build/python" "$python" examples/python/first_mesh.py build/demo/torus.ply
fi
