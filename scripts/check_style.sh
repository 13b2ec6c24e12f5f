#!/usr/bin/env bash
# Holds the sources against .clang-format, .clang-tidy and cppcheck.
#
#   scripts/check_style.sh format    all sources
#   scripts/check_style.sh tidy      sources (.cpp) that changed
#   scripts/check_style.sh cppcheck  the library and the tool; by hand, some minutes
#
# What changed is what differs from where this branch left origin/main, or from
# the commit before if there is no such place or nothing changed since.
# `tidy` reads the flags from build/release, which must be configured, and stops
# after ZEF_TIDY_SECONDS (60): it tells the files that it did not come to.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

check_format() {
    git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
}

# The commit to compare with; nothing in a checkout of one commit.
base() {
    local commit
    commit=$(git merge-base HEAD origin/main 2>/dev/null || true)
    if [[ -z $commit ]] || git diff --quiet "$commit" --; then
        commit=$(git rev-parse --verify --quiet HEAD~ || true)
    fi
    echo "$commit"
}

# The changed sources that the build compiles.
changed_sources() {
    local file
    while IFS= read -r file; do
        grep -qF "\"file\": \"$PWD/$file\"" build/release/compile_commands.json && echo "$file"
    done < <(git diff --name-only --diff-filter=d "$1" -- '*.cpp')
    return 0
}

check_tidy() {
    local commit seconds=${ZEF_TIDY_SECONDS:-60} results file files left=()
    commit=$(base)
    if [[ -z $commit ]]; then
        echo "style: no commit to compare with, so clang-tidy reads nothing"
        return
    fi
    mapfile -t files < <(changed_sources "$commit")
    echo "style: clang-tidy reads ${#files[@]} sources that changed since ${commit:0:10}"
    ((${#files[@]})) || return 0
    results=$(mktemp)
    # shellcheck disable=SC2016  # what stands in quotes is for the inner shell
    printf '%s\0' "${files[@]}" |
        timeout "$seconds" xargs -0 -P "$(nproc)" -I{} bash -c \
            'words=bad
             clang-tidy -p build/release --quiet --warnings-as-errors="*" "$2" 2>/dev/null && words=good
             echo "$words $2" >>"$1"' tidy "$results" {} || true
    for file in "${files[@]}"; do
        grep -qE "^(good|bad) $file\$" "$results" || left+=("$file")
    done
    ((${#left[@]})) && echo "style: not read after $seconds s: ${left[*]}"
    if grep -q "^bad" "$results"; then
        rm "$results"
        return 1
    fi
    rm "$results"
}

# What is left out stands in scripts/cppcheck.txt, with reasons.
check_cppcheck() {
    cppcheck --std=c++20 --language=c++ --enable=warning,performance,portability --quiet --error-exitcode=1 \
        --suppressions-list=scripts/cppcheck.txt -j "$(nproc)" -D__x86_64__ -I include -I dev/src_lib -I apps/zef \
        dev/src_lib apps/zef include
}

case ${1:-} in
    format) check_format ;;
    tidy) check_tidy ;;
    cppcheck) check_cppcheck ;;
    *)
        echo "usage: scripts/check_style.sh format|tidy|cppcheck" >&2
        exit 2
        ;;
esac
