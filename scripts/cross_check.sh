#!/usr/bin/env bash
# Builds the cell codes, the sort and all readers and writers for another processor, and runs their tests there under
# qemu: with the same recorded results in another byte order and with other sizes of pointers.
#
#   scripts/cross_check.sh s390x|i386|armhf [TEST...]    64 bits big-endian, 32 bits, 32 bits of ARM
#
# TEST: folders of tests/, by default: parallel grid, and in little-endian order bytes io formats files. Readers read
# values as they lie in memory, and do not compile for the other order. Installs nothing, and tells what is missing.
# Debian's libraries for that processor are fetched by apt into build/cross-TARGET, where all is built too. 32-bit x86
# is built for SSE2, since results of the older unit have more digits in between. Ends with 1 if a test fails.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

case ${1:-} in
    s390x) triplet=s390x-linux-gnu qemu=qemu-s390x-static system=s390x flags= ;;
    i386) triplet=i686-linux-gnu qemu=qemu-i386-static system=i686 flags="-msse2 -mfpmath=sse" ;;
    armhf) triplet=arm-linux-gnueabihf qemu=qemu-arm-static system=arm flags= ;;
    *) sed -n '2,10s/^# \{0,1\}//p' "$0"; exit 2 ;;
esac
target=$1
shift
tests=("$@")
if ((!${#tests[@]})); then
    tests=(parallel grid)
    [[ $target == s390x ]] || tests+=(bytes io formats files)
fi

missing=()
command -v "$triplet-g++" >/dev/null || missing+=("g++-${triplet//_/-}")
command -v "$qemu" >/dev/null || missing+=(qemu-user-static)
((${#missing[@]})) && { echo "cross_check: first: apt-get install ${missing[*]}" >&2; exit 2; }

folder=$PWD/build/cross-$target
root=$folder/root
fetch_libraries() {
    local state=$folder/apt
    local options=(-q -o APT::Architecture="$target" -o APT::Architectures="$target" -o Dir::State="$state" -o Dir::Cache="$state"
        -o Dir::State::status=/dev/null -o APT::Sandbox::User=root)
    mkdir -p "$state/lists/partial" "$state/archives/partial" "$root"
    # Sources that have nothing for that processor do no harm.
    apt-get "${options[@]}" update >/dev/null 2>&1 || true
    (cd "$state" && apt-get "${options[@]}" download libhwy-dev libhwy1 zlib1g-dev zlib1g libpugixml-dev libpugixml1v5 \
        liblzf-dev liblzf1 libmeshoptimizer-dev libmeshoptimizer2d nlohmann-json3-dev libgtest-dev >/dev/null)
    for package in "$state"/*.deb; do dpkg -x "$package" "$root"; done
}
[[ -d $root/usr ]] || fetch_libraries

libraries=$(dirname "$(find "$root" -name libgtest.a)")
cat >"$folder/toolchain.cmake" <<END
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR $system)
set(CMAKE_CXX_COMPILER $triplet-g++)
set(CMAKE_CXX_FLAGS_INIT "$flags -I$root/usr/include")
set(CMAKE_LIBRARY_ARCHITECTURE $(basename "$libraries"))
set(CMAKE_FIND_ROOT_PATH $root)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L$libraries -Wl,-rpath-link,$libraries")
END
export PKG_CONFIG_LIBDIR=$libraries/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root
cmake -S . -B "$folder/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$folder/toolchain.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS_RELEASE="-O1 -DNDEBUG" -DZEF_BUILD_APPS=OFF -DZEF_PYTHON=OFF -DZEF_INSTALL=OFF -DZEF_UNITY=all >/dev/null
# Warnings are for 64 bits.
cmake --build "$folder/build" --target "${tests[@]/#/test_}" -- --quiet >"$folder/log" 2>&1 || { tail -20 "$folder/log"; exit 1; }
status=0
for name in "${tests[@]}"; do
    echo "$target: $name"
    QEMU_LD_PREFIX=/usr/$triplet "$qemu" -E LD_LIBRARY_PATH="$libraries" "$folder/build/tests/$name/test_$name" \
        --gtest_brief=1 --gtest_filter=-*DeathTest* || status=1  # these start themselves again, without qemu
done
exit $status
