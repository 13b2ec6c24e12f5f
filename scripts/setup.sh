#!/usr/bin/env bash
# Installs the Debian 12 packages that the build, the tests and the benchmarks
# need. Does nothing, in a moment, when all of them are there.
set -euo pipefail

packages=(
    g++                 # the compiler of the release build
    clang               # second compiler, and the thread sanitizer's
    libclang-rt-14-dev  # sanitizer run times of clang
    cmake               # build system
    ninja-build         # runs the builds
    pkg-config          # finds Highway; the install test uses it as well
    ccache              # makes later builds fast
    git                 # fetches and records the sources
    libgtest-dev        # tests
    libbenchmark-dev    # benchmarks
    libhwy-dev          # Highway, the vectorised sort
    libtbb-dev          # a sort to compare with in the benchmarks
    libcli11-dev        # arguments of the command line tool
    nlohmann-json3-dev  # reports of the command line tool
    python3             # small tools around tests and benchmarks
)

fail() {
    echo "setup: $*" >&2
    exit 1
}

command -v dpkg-query >/dev/null ||
    fail "this is not a Debian system; install the counterparts of: ${packages[*]}"

installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null || true)
missing=()
for package in "${packages[@]}"; do
    grep -qxF "$package installed" <<<"$installed" || missing+=("$package")
done
if ((${#missing[@]} == 0)); then
    echo "setup: all packages are installed"
    exit 0
fi

as_root=()
if ((EUID != 0)); then
    command -v sudo >/dev/null ||
        fail "not root, and there is no sudo; run as root: apt-get install ${missing[*]}"
    as_root=(sudo)
fi

echo "setup: installing ${missing[*]}"
"${as_root[@]}" apt-get update -q || fail "apt-get update failed; is there a network?"
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}" ||
    fail "apt-get could not install ${missing[*]}"
echo "setup: done"
