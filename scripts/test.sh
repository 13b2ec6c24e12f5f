#!/usr/bin/env bash
# Builds and runs all tests, after installing what is missing.
#
#   scripts/test.sh [style] [release] [clang] [asan] [tsan]    all but clang without an argument
#
#   style    the format of all sources, and clang-tidy on those that changed
#   release  every test, as shipped, warnings are errors
#   clang    the tool and the tests of whole runs, built by clang as shipped
#   asan     every test, built with clang in two thirds of g++'s time, under the address and
#            undefined behaviour sanitizers
#   tsan     what runs on threads, built with clang, under the thread sanitizer; stages
#            with recorded results only as parts of whole runs
#
# What runs without an argument shall take less than 25 minutes on two cores without a
# compiler cache. So clang is asked for by name: tsan shows its warnings too, and that its
# whole runs give the recorded results. `cmake --build build/clang` builds the rest.
# ZEF_TEST_DATA may name a folder of scans for the tests that want real ones.
# The last line counts test cases, and the two of style: "N passed, M failed".
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

parts=("$@")
((${#parts[@]})) || parts=(style release asan tsan)
for part in "${parts[@]}"; do
    case $part in
        style | release | clang | asan | tsan) ;;
        *)
            echo "usage: scripts/test.sh [style] [release] [clang] [asan] [tsan]" >&2
            exit 2
            ;;
    esac
done

./scripts/setup.sh test
if [[ -n ${ZEF_TEST_DATA:-} ]]; then
    [[ -d $ZEF_TEST_DATA ]] || { echo "test: ZEF_TEST_DATA is no folder: $ZEF_TEST_DATA" >&2; exit 2; }
    ZEF_TEST_DATA=$(realpath "$ZEF_TEST_DATA")
    export ZEF_TEST_DATA
    echo "test: real scans from $ZEF_TEST_DATA"
else
    echo "test: ZEF_TEST_DATA is not set, so tests on real scans are left out"
fi

jobs=$(nproc)
export ASAN_OPTIONS=${ASAN_OPTIONS:-halt_on_error=1:detect_leaks=1:strict_init_order=1:check_initialization_order=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
# Without LLVM's symbolizer the stacks would show addresses instead of lines.
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1:allow_addr2line=1}

num_passed=0
num_failed=0
broken=()  # parts that did not build, or whose tests could not run
failures=()  # of each failed test the part and the name

# The sanitizers of these compilers give up on some kernels when addresses are randomised.
without_randomised_addresses() {
    if setarch -R true 2>/dev/null; then setarch -R "$@"; else "$@"; fi
}

build() {
    local part=$1 unity=()
    [[ $part != release ]] || unity=(-DZEF_UNITY=tests)
    cmake --preset "$part" -DZEF_WERROR=ON "${unity[@]}" && cmake --build --preset "$part" -j "$jobs"
}

# Adds the counts of ctest's summary; false if there was none.
count() {
    local summary
    summary=$(grep -Eo '[0-9]+ tests failed out of [0-9]+' "$1") || return 1
    read -r failed _ _ _ _ total <<<"$summary"
    num_failed=$((num_failed + failed))
    num_passed=$((num_passed + total - failed))
    local name
    while read -r name; do
        failures+=("$part: $name")
    done < <(sed -n '/^The following tests FAILED:/,/^$/s/^[[:space:]]*[0-9]* - //p' "$1")
}

run_style() {
    local check start=$SECONDS
    echo "test: style"
    # clang-tidy reads how the release is compiled.
    cmake --preset release -DZEF_WERROR=ON -DZEF_UNITY=none >/dev/null || true
    for check in format tidy; do
        if ./scripts/check_style.sh "$check"; then
            num_passed=$((num_passed + 1))
        else
            echo "test: style: $check failed" >&2
            num_failed=$((num_failed + 1))
            failures+=("style: $check")
        fi
    done
    echo "test: style done after $((SECONDS - start)) s"
}

run_part() {
    local part=$1 start=$SECONDS log=build/$1/ctest.log
    echo "test: $part"
    if ! build "$part"; then
        echo "test: $part does not build" >&2
        broken+=("$part")
        return
    fi
    echo "test: $part built after $((SECONDS - start)) s"
    # The exit status is in the counts.
    without_randomised_addresses ctest --preset "$part" -j "$jobs" 2>&1 | tee "$log" || true
    if ! count "$log"; then
        echo "test: $part ran no tests" >&2
        broken+=("$part")
    fi
    echo "test: $part done after $((SECONDS - start)) s"
}

for part in "${parts[@]}"; do
    if [[ $part == style ]]; then run_style; else run_part "$part"; fi
done

((${#broken[@]})) && echo "test: broken: ${broken[*]}"
((${#failures[@]})) && printf 'test: failed: %s\n' "${failures[@]}"
echo "$num_passed passed, $((num_failed + ${#broken[@]})) failed"
((num_failed == 0 && ${#broken[@]} == 0))
