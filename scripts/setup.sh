#!/usr/bin/env bash
# Installs the Debian 12 packages that the build, the tests and the benchmarks
# need, and from npm, into folders that git ignores, the glTF validator and what
# the pages of `zef view` are made of. Does nothing, in a moment, when all of them
# are there.
#
#   scripts/setup.sh            what all tests of CI need
#   scripts/setup.sh browser    also Chromium, for the test of the pages (some 500 MB);
#                               then: cmake --preset release && ctest --preset release -R browser
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=(
    g++                 # the compiler of the release build
    clang               # second compiler, and the thread sanitizer's
    libclang-rt-14-dev  # sanitizer run times of clang
    clang-format        # both hold the sources to the repository's style
    clang-tidy
    cmake               # build system
    ninja-build         # runs the builds
    pkg-config          # finds Highway; the install test uses it as well
    ccache              # makes later builds fast
    git                 # fetches and records the sources
    libgtest-dev        # tests
    libbenchmark-dev    # benchmarks
    libhwy-dev          # Highway, the vectorised sort
    zlib1g-dev          # pictures as PNG
    libmeshoptimizer-dev  # packs the meshes of pages
    libtbb-dev          # a sort to compare with in the benchmarks
    libcli11-dev        # arguments of the command line tool
    nlohmann-json3-dev  # reports of the command line tool
    libjemalloc2        # allocators that must not change results
    libmimalloc2.0
    python3             # small tools around tests and benchmarks
    python3-dev         # the Python package: headers, bindings, arrays
    pybind11-dev
    python3-numpy
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
)
# For the glTF validator and the pages. Node also comes from elsewhere, with npm in the same package.
command -v node >/dev/null || packages+=(nodejs)
command -v npm >/dev/null || packages+=(npm)

fail() {
    echo "setup: $*" >&2
    exit 1
}

[[ ${1:-} == browser ]] && packages+=(chromium)
command -v dpkg-query >/dev/null ||
    fail "this is not a Debian system; install the counterparts of: ${packages[*]}"

install_packages() {
    local installed package missing=() as_root=()
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null || true)
    for package in "${packages[@]}"; do
        grep -qxF "$package installed" <<<"$installed" || missing+=("$package")
    done
    if ((${#missing[@]} == 0)); then
        echo "setup: all packages are installed"
        return
    fi
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
}

# One test is all that needs it, so that the rest works without npm's registry.
install_gltf_validator() {
    local folder=tests/tool/gltf
    cmp -s "$folder/package.json" "$folder/node_modules/.installed.json" && return
    echo "setup: installing the glTF validator"
    if npm install --prefix "$folder" --no-audit --no-fund --no-package-lock --ignore-scripts; then
        cp "$folder/package.json" "$folder/node_modules/.installed.json"
    else
        echo "setup: npm could not install the glTF validator; the test of glTF files is left out" >&2
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

install_browser_driver() {
    npm install --prefix tests/page/browser --no-audit --no-fund --no-package-lock --ignore-scripts ||
        fail "npm could not install what drives the browser"
}

install_packages
install_gltf_validator
install_page
if [[ ${1:-} == browser ]]; then install_browser_driver; fi
echo "setup: done"
