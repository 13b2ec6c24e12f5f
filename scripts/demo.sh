#!/usr/bin/env bash
# Installs what is missing, builds, and shows the library at work: a simulated
# scan is made, reconstructed into build/demo/mesh.ply, and the report printed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/release
tool=$build/apps/zef/zef
make_scan=$build/examples/make_scan

./scripts/setup.sh
cmake --preset release
targets=()
for folder in apps/zef examples; do
    [[ -f $folder/CMakeLists.txt ]] && targets+=("$folder/all")
done
cmake --build "$build" -j "$(nproc)" --target "${targets[@]}"

run() {
    echo
    echo "\$ $*"
    "$@"
}

# The tool is there before all of its commands are.
if [[ -x $make_scan && -x $tool ]] && "$tool" reconstruct --help >/dev/null 2>&1; then
    mkdir -p build/demo
    run "$make_scan" build/demo/scan.ply
    run "$tool" reconstruct build/demo/scan.ply -o build/demo/mesh.ply
    exit 0
fi

echo "demo: 'zef reconstruct' is not built yet; running the examples that are there"
for source in examples/*.cpp; do
    run "$build/examples/$(basename "$source" .cpp)"
done
