#!/usr/bin/env bash
# Meshes scans again and again and wants the same file each time.
#
#   scripts/same_bytes.sh TOOL FILE|FOLDER...
#
# Each scan a second time; with 1, 2, 3, 8 and 16 threads; with fresh memory full of rubbish and with one arena for all
# threads; with jemalloc and mimalloc, if Debian's packages libjemalloc2 and libmimalloc2.0 are there; four at once; with
# its points in another order; on a processor without fused multiply-adds and wide vectors; and by each tool of another
# build that ZEF_OTHER_TOOLS names, such as "build/debug/apps/zef/zef build/clang/apps/zef/zef". ZEF_SAME_OPTIONS are
# options of reconstruct besides. A line for each scan; ends with 1 if any file differs.
set -euo pipefail

(($# >= 2)) || { sed -n '2,11s/^# \{0,1\}//p' "$0"; exit 2; }
tool=$(realpath "$1")
shift
read -ra options <<<"${ZEF_SAME_OPTIONS:-}"
read -ra others <<<"${ZEF_OTHER_TOOLS:-}"
mapfile -t allocators < <(ldconfig -p | sed -n 's/.*=> \(.*lib\(jemalloc\|mimalloc\)\.so\.[0-9.]*\)$/\1/p' | sort -u)
((${#allocators[@]})) || echo "same_bytes: neither jemalloc nor mimalloc is installed" >&2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
num_failed=0

# mesh OUT WORDS...: words before TOOL are settings of the environment.
mesh() {
    local out=$1
    shift
    env "$@" "${options[@]}" --quiet --force -o "$folder/$out" >/dev/null 2>"$folder/$out.errors" &&
        [[ ! -s $folder/$out.errors ]] && return
    echo "same_bytes: failed: $*" >&2
    cat "$folder/$out.errors" >&2
    return 1
}

compare() {
    if mesh again.ply "$@" && cmp -s "$folder/first.ply" "$folder/again.ply"; then
        num_same=$((num_same + 1))
    else
        echo "same_bytes: another mesh: $*" >&2
        num_failed=$((num_failed + 1))
    fi
}

four_at_once() {
    local i pids=()
    for i in 1 2 3 4; do
        mesh "job$i.ply" "$tool" reconstruct "$scan" --threads "$i" &
        pids+=($!)
    done
    for i in 1 2 3 4; do
        if wait "${pids[i - 1]}" && cmp -s "$folder/first.ply" "$folder/job$i.ply"; then
            num_same=$((num_same + 1))
        else
            echo "same_bytes: job $i of four gives another mesh" >&2
            num_failed=$((num_failed + 1))
        fi
    done
}

# The first mesh is that of the points as text then, in the order of the file.
other_order() {
    "$tool" convert "$scan" "$folder/points.xyz" --quiet --force >/dev/null
    mesh first.ply "$tool" reconstruct "$folder/points.xyz"
    shuf --random-source=<(yes) "$folder/points.xyz" >"$folder/shuffled.xyz"
    compare "$tool" reconstruct "$folder/shuffled.xyz"
}

for scan in $(for name in "$@"; do if [[ -d $name ]]; then ls -d "$name"/*; else echo "$name"; fi; done); do
    num_same=0
    mesh first.ply "$tool" reconstruct "$scan"
    size=$(stat -c %s "$folder/first.ply")
    compare "$tool" reconstruct "$scan"
    for threads in 1 2 3 8 16; do compare "$tool" reconstruct "$scan" --threads "$threads"; done
    for setting in MALLOC_PERTURB_=101 MALLOC_PERTURB_=200 MALLOC_ARENA_MAX=1 \
        GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2,-FMA,-FMA4,-AVX512F "${allocators[@]/#/LD_PRELOAD=}"; do
        compare "$setting" "$tool" reconstruct "$scan" --threads 2
    done
    for other in "${others[@]}"; do compare "$other" reconstruct "$scan"; done
    four_at_once
    other_order
    echo "$(basename "$scan"): a mesh of $size bytes, $num_same runs the same"
done
echo "$num_failed runs gave another mesh"
((num_failed == 0))
