#!/usr/bin/env bash
# Installs the Debian 12 packages that a job needs, and from npm, into folders that git ignores, what the
# pages of `zef view` are made of. Does nothing, in a moment, when all of them are there.
#
#   scripts/setup.sh demo    to build the library, the tool and the Python package
#   scripts/setup.sh test    also what all tests of CI and the benchmarks need, with Chromium (some 500 MB) for
#                            the test of the pages and the glTF validator; without these two, their tests are left out
#
# scripts/packages.sh and scripts/docs.sh install what they need themselves.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=(
    g++                 # the compiler of the release build
    cmake               # build system
    ninja-build         # runs the builds
    pkg-config          # finds Highway; the install test uses it as well
    ccache              # makes later builds fast
    git                 # fetches and records the sources
    libhwy-dev          # Highway, the vectorised sort
    zlib1g-dev          # pictures as PNG
    libmeshoptimizer-dev  # packs the meshes of pages
    libpugixml-dev      # the XML part of E57 files
    liblzf-dev          # compressed PCD files
    libcli11-dev        # arguments of the command line tool
    nlohmann-json3-dev  # glTF files, reports of the command line tool
    python3             # small tools around tests and benchmarks
    python3-dev         # the Python package: headers, bindings, arrays
    pybind11-dev
    python3-numpy
)
for_tests=(
    clang               # second compiler, and the thread sanitizer's
    libclang-rt-14-dev  # sanitizer run times of clang
    clang-format        # both hold the sources to the repository's style
    clang-tidy
    libgtest-dev        # tests
    libbenchmark-dev    # benchmarks
    libtbb-dev          # a sort to compare with in the benchmarks
    libjemalloc2        # allocators that must not change results
    libmimalloc2.0
    python3-pip         # building its wheel
    python3-setuptools
    python3-wheel
    python3-build
    python3-venv
    python3-pytest      # its tests
    python3-jsonschema  # checks reports of the tool against their schema
    python3-matplotlib  # other users of its arrays
    python3-meshio
    python3-nbclient    # the notebook
    python3-ipykernel
    python3-distributed # tiles on a cluster
)
# For the glTF validator and the pages. Node also comes from elsewhere, with npm in the same package.
command -v node >/dev/null || packages+=(nodejs)
command -v npm >/dev/null || packages+=(npm)

fail() {
    echo "setup: $*" >&2
    exit 1
}

case ${1:-test} in
    demo) ;;
    test) packages+=("${for_tests[@]}") ;;
    *) fail "there is no job $1; jobs are demo and test" ;;
esac
command -v dpkg-query >/dev/null ||
    fail "this is not a Debian system; install the counterparts of: ${packages[*]}"

as_root=()
if ((EUID != 0)); then as_root=(sudo); fi

apt_install() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@"
}

install_packages() {
    local installed package missing=()
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null || true)
    for package in "${packages[@]}"; do
        grep -qxF "$package installed" <<<"$installed" || missing+=("$package")
    done
    if ((${#missing[@]} == 0)); then
        echo "setup: all packages are installed"
        return
    fi
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        fail "not root, and there is no sudo; run as root: apt-get install ${missing[*]}"
    fi
    echo "setup: installing ${missing[*]}"
    "${as_root[@]}" apt-get update -q || fail "apt-get update failed; is there a network?"
    apt_install "${missing[@]}" || fail "apt-get could not install ${missing[*]}"
}

# install_for_tests FOLDER WHAT TEST: one test is all that needs it, so that the rest works without npm's registry.
install_for_tests() {
    local folder=$1
    cmp -s "$folder/package.json" "$folder/node_modules/.installed.json" && return
    echo "setup: installing $2"
    if npm install --prefix "$folder" --no-audit --no-fund --no-package-lock --ignore-scripts; then
        cp "$folder/package.json" "$folder/node_modules/.installed.json"
    else
        echo "setup: npm could not install $2; the test of $3 is left out" >&2
    fi
}

# As the lock file tells, checked against its sums.
install_page() {
    cmp -s page/package-lock.json page/node_modules/.installed.json && return
    echo "setup: installing what pages are made of"
    if npm ci --prefix page --no-audit --no-fund --ignore-scripts; then
        cp page/package-lock.json page/node_modules/.installed.json
    else
        echo "setup: npm could not install what pages are made of; zef view makes pictures only" >&2
    fi
}

install_packages
install_page
if [[ ${1:-test} == test ]]; then
    install_for_tests tests/tool/gltf "the glTF validator" "glTF files"
    install_for_tests tests/page/browser "what drives the browser" "the pages"
    command -v chromium >/dev/null || apt_install chromium >/dev/null ||
        echo "setup: apt-get could not install Chromium; the test of the pages is left out" >&2
fi
echo "setup: done"
