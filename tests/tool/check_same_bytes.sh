#!/usr/bin/env bash
# Meshes one scan again and again and wants the same file each time: a second
# time, with 1, 2 and 16 threads, with fresh memory full of rubbish, and with
# other allocators.
#
#   check_same_bytes.sh TOOL MAKE_SCAN FOLDER [ALLOCATOR.so]...
set -euo pipefail

tool=$1 make_scan=$2 folder=$3
shift 3
rm -rf "$folder"
mkdir -p "$folder"
"$make_scan" "$folder/scan.ply" 20000 >/dev/null
num_failed=0

# The words in front of the tool are settings of its environment.
mesh_with() {
    env "$@" "$tool" reconstruct --quiet "$folder/scan.ply" -o "$folder/$out" --threads "$threads" \
        >/dev/null 2>"$folder/errors" && [[ ! -s $folder/errors ]] && return
    echo "$* with $threads threads failed:"
    cat "$folder/errors"
    exit 1
}

compare_with() {
    out=again.ply
    mesh_with "$@"
    cmp "$folder/first.ply" "$folder/again.ply" && return
    echo "$* with $threads threads gives another mesh"
    num_failed=$((num_failed + 1))
}

threads=2 out=first.ply
mesh_with ROUND=first
for threads in 1 2 16; do
    compare_with ROUND=second
    compare_with MALLOC_PERTURB_=$((threads + 100))
    # The loader tells on standard error if it cannot use one.
    for allocator in "$@"; do compare_with LD_PRELOAD="$allocator"; done
done
echo "one mesh of $(stat -c %s "$folder/first.ply") bytes, $num_failed runs gave another"
((num_failed == 0))
