#!/usr/bin/env bash
# check_install.sh CMAKE GENERATOR BUILD WORK COMPILER SANITIZERS
# Installs BUILD below WORK, then builds and runs the consumer and the examples against that. Each
# installed header must compile alone, and zef.h must include it.
# A library built with sanitizers needs consumers that link their run times.
set -euo pipefail

cmake=$1 generator=$2 build=$3 work=$4 compiler=$5 sanitizers=$6
consumer=$(realpath "$(dirname "${BASH_SOURCE[0]}")")/consumer
examples=$consumer/../../../examples
readme=$consumer/../../../README.md
prefix=$work/moved
flags=()
[[ -n $sanitizers ]] && flags=("-fsanitize=$sanitizers")

expect() {
    local output
    output=$("$@")
    echo "$output"
    grep -qx "ZEF, version 1.13" <<<"$output" || { echo "wrong output from: $*" >&2; exit 1; }
}

# Moved after the installation, as packages are: no file may hold the first place.
rm -rf "$work/prefix" "$prefix" "$work/consumer" "$work/examples" "$work/pc_shared" "$work/pc_static"
"$cmake" --install "$build" --prefix "$work/prefix" >/dev/null
mv "$work/prefix" "$prefix"
if grep -rIl "$work/prefix" "$prefix"; then
    echo "the files above name the folder of the installation" >&2
    exit 1
fi

headers=$(dirname "$(find "$prefix" -name zef.h)")
for header in "$headers"/*.h; do
    name=zef/$(basename "$header")
    [[ $name == zef/zef.h ]] || grep -qF "#include \"$name\"" "$headers/zef.h" ||
        { echo "zef/zef.h does not include $name" >&2; exit 1; }
    echo "#include <$name>" | "$compiler" -std=c++20 -fsyntax-only -I"$(dirname "$headers")" -x c++ -
done

configure() {
    "$cmake" -G "$generator" -S "$1" -B "$2" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_CXX_FLAGS="${flags[*]}" "${@:3}"
    "$cmake" --build "$2"
}

# zef::zef is the kind of library that BUILD_SHARED_LIBS says, as in the tree.
needs_library() {
    readelf -d "$work/consumer/consumer_zef" | grep -q "NEEDED.*libzef"
}
configure "$consumer" "$work/consumer"
for program in zef shared static; do
    expect "$work/consumer/consumer_$program"
done
! needs_library || { echo "zef::zef is not the static library" >&2; exit 1; }
configure "$consumer" "$work/consumer" -DBUILD_SHARED_LIBS=ON
expect "$work/consumer/consumer_zef"
needs_library || { echo "zef::zef is not the shared library" >&2; exit 1; }

configure "$examples" "$work/examples"
(cd "$work/examples" && ctest --output-on-failure)

# Within another project: the library alone, without installing it; building it all would take too long.
for fetched in ON OFF; do
    rm -rf "$work/subproject"
    "$cmake" -G "$generator" -S "$consumer/../subproject" -B "$work/subproject" -DCMAKE_CXX_COMPILER="$compiler" \
        -DZEF_SOURCES="$(realpath "$consumer/../../..")" -DZEF_FETCHED=$fetched
    targets=$("$cmake" --build "$work/subproject" --target help)
    grep -q "zef_static" <<<"$targets" || { echo "no library within another project" >&2; exit 1; }
    ! grep -qE "zef_tool|test_grid|zef_python" <<<"$targets" ||
        { echo "more than the library within another project" >&2; exit 1; }
    "$cmake" --build "$work/subproject" --target consumer
done

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zef.pc)")
export PKG_CONFIG_PATH
pkg-config --exact-version=1.13 zef
libdir=$(pkg-config --variable=libdir zef)
read -ra cflags <<<"$(pkg-config --cflags zef)"
read -ra shared_libs <<<"$(pkg-config --libs zef)"
"$compiler" -std=c++20 "${flags[@]}" "${cflags[@]}" "$consumer/main.cpp" -o "$work/pc_shared" "${shared_libs[@]}"
LD_LIBRARY_PATH=$libdir expect "$work/pc_shared"
# What the README shows must compile.
awk '/^```cpp$/ {on = 1; next} /^```$/ {on = 0} on' "$readme" >"$work/readme.cpp"
[[ -s $work/readme.cpp ]] || { echo "no C++ lines in $readme" >&2; exit 1; }
"$compiler" -std=c++20 -fsyntax-only "${cflags[@]}" "$work/readme.cpp"
# The archive by name, since the linker would rather take the shared library.
read -ra static_libs <<<"$(pkg-config --static --libs zef)"
"$compiler" -std=c++20 "${flags[@]}" "${cflags[@]}" "$consumer/main.cpp" -o "$work/pc_static" \
    "${static_libs[@]/#-lzef/-l:libzef.a}"
expect "$work/pc_static"
