#!/usr/bin/env bash
# Builds the fuzz targets and runs them one after the other.
#
#   scripts/fuzz.sh MINUTES [las laz e57 pcd ptx xyz ply stl obj off glb gz]    all without a target
#
# MINUTES of each. Seeds are fuzz/seeds and the files below 128 KiB of ZEF_TEST_DATA/formats, if the
# environment names that folder: las, laz and e57 find little without. What is found stays in
# build/fuzz/found/TARGET: inputs that reach new code, and those that fail as crash-*, timeout-* or
# oom-*. Says of each target how often it ran, how many edges of the code it reached and how many
# inputs are new; ends with 1 if anything failed. A failure again: build/fuzz/fuzz/fuzz_TARGET FILE
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

(($#)) || { sed -n '2,11s/^# \{0,1\}//p' "$0"; exit 2; }
seconds=$(awk "BEGIN { print int(60 * $1) }")
shift
targets=("$@")
((${#targets[@]})) || targets=(las laz e57 pcd ptx xyz ply stl obj off glb gz)

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -- --quiet >&2

status=0
for target in "${targets[@]}"; do
    found=build/fuzz/found/$target
    mkdir -p "$found/new"
    folders=(fuzz/seeds)
    [[ -n ${ZEF_TEST_DATA:-} ]] && folders+=("$ZEF_TEST_DATA/formats")
    seeds=$found/seeds
    rm -rf "$seeds" && mkdir "$seeds"
    pattern="*.$target"
    [[ $target == glb ]] && pattern="*.gl[bt]*"
    find "${folders[@]}" -name "$pattern" -size -128k -exec cp --no-preserve=mode {} "$seeds" \;
    before=$(find "$found/new" -type f | wc -l)
    # The addresses of the sanitizers want memory that is not laid out at random.
    setarch -R "build/fuzz/fuzz/fuzz_$target" "$found/new" "$seeds" -artifact_prefix="$found/" -close_fd_mask=1 \
        -max_total_time="$seconds" -max_len=131072 -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
        >"$found/log" 2>&1 || { status=1; echo "$target: FAILED, see $found/log"; }
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$found/log")
    edges=$(grep -o ' cov: [0-9]*' "$found/log" | tail -1 || true)
    echo "$target: ${runs:-0} executions, edges${edges# cov}, $(($(find "$found/new" -type f | wc -l) - before)) new inputs"
done
exit $status
