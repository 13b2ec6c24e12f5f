#!/usr/bin/env bash
# Builds the fuzz targets and runs them one after the other.
#
#   scripts/fuzz.sh MINUTES [las laz e57 pcd ptx xyz ply stl obj off glb gz operations tool]    all without a target
#
# MINUTES of each. Seeds are fuzz/seeds and the files below 128 KiB of ZEF_TEST_DATA/formats, if the
# environment names that folder: las, laz and e57 find little without. What is found stays in
# build/fuzz/found/TARGET: inputs that reach new code, and those that fail as crash-*, timeout-* or
# oom-*. Says of each target how often it ran, how many edges of the code it reached and how many
# inputs are new; ends with 1 if anything failed. A failure again: build/fuzz/fuzz/fuzz_TARGET FILE.
# Once it is mended, the input belongs into fuzz/seeds, where a test runs it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

(($#)) || { sed -n '2,12s/^# \{0,1\}//p' "$0"; exit 2; }
seconds=$(awk "BEGIN { print int(60 * $1) }")
shift
targets=("$@")
((${#targets[@]})) || targets=(las laz e57 pcd ptx xyz ply stl obj off glb gz operations tool)

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -- --quiet >&2

# Written files wait for the disk.
[[ -w /dev/shm ]] && export TMPDIR=${TMPDIR:-/dev/shm}

# The stored inputs of a target, into a folder.
copy_seeds() {
    local target=$1 seeds=$2 folders=(fuzz/seeds) pattern
    if [[ -d fuzz/seeds/$target ]]; then
        cp fuzz/seeds/"$target"/* "$seeds"
        return
    fi
    [[ -n ${ZEF_TEST_DATA:-} ]] && folders+=("$ZEF_TEST_DATA/formats")
    pattern="*.$target"
    [[ $target == glb ]] && pattern="*.gl[bt]*"
    find "${folders[@]}" -name "$pattern" -size -128k -exec cp --no-preserve=mode {} "$seeds" \;
}

status=0
for target in "${targets[@]}"; do
    found=build/fuzz/found/$target
    mkdir -p "$found/new"
    seeds=$found/seeds
    rm -rf "$seeds" && mkdir "$seeds"
    copy_seeds "$target" "$seeds"
    before=$(find "$found/new" -type f | wc -l)
    case $target in
        operations) kind=(-max_len=256 -timeout=60) ;;
        tool) kind=(-max_len=512 -timeout=60 -only_ascii=1 -dict=fuzz/tool.dict) ;;
        *) kind=(-max_len=131072 -timeout=10) ;;
    esac
    # The addresses of the sanitizers want memory that is not laid out at random.
    setarch -R "build/fuzz/fuzz/fuzz_$target" "$PWD/$found/new" "$PWD/$seeds" -artifact_prefix="$PWD/$found/" \
        -close_fd_mask=3 -max_total_time="$seconds" -rss_limit_mb=3072 -print_final_stats=1 "${kind[@]}" \
        >"$found/log" 2>&1 </dev/null || { status=1; echo "$target: FAILED, see $found/log"; }
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$found/log")
    edges=$(grep -o ' cov: [0-9]*' "$found/log" | tail -1 || true)
    echo "$target: ${runs:-0} executions, edges${edges# cov}, $(($(find "$found/new" -type f | wc -l) - before)) new inputs"
done
exit $status
