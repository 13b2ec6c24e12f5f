#!/usr/bin/env bash
# Measures which lines and branches of the library the tests run.
#
#   scripts/coverage.sh [FOLDER...]    the folders of tests to run, such as grid; all without one
#
# Builds into build/coverage with g++, runs the test programs, and prints lines and branches of each folder of
# dev/src_lib and of all; build/coverage/uncovered.txt lists what nothing ran, file by file. Branches that only
# exceptions take are left out, as are those that the compiler makes and no input can reach. Wants gcovr.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

folders=("$@")
((${#folders[@]})) || mapfile -t folders < <(ls -d tests/*/CMakeLists.txt | cut -d/ -f2)

cmake --preset coverage >/dev/null
cmake --build --preset coverage -- --quiet >&2
find build/coverage -name '*.gcda' -delete
for folder in "${folders[@]}"; do
    program=build/coverage/tests/$folder/test_$folder
    [[ -x $program ]] || continue
    "$program" --gtest_brief=1 >build/coverage/log 2>&1 || { tail -20 build/coverage/log >&2; echo "test_$folder failed" >&2; }
done

gcovr --root . --filter dev/src_lib/ --exclude-throw-branches --exclude-unreachable-branches \
    --gcov-ignore-parse-errors=negative_hits.warn_once_per_file --object-directory build/coverage --json build/coverage/coverage.json \
    build/coverage >/dev/null
gcovr --root . --add-tracefile build/coverage/coverage.json --exclude-throw-branches --txt build/coverage/uncovered.txt
gcovr --root . --add-tracefile build/coverage/coverage.json --exclude-throw-branches --json-summary build/coverage/summary.json
python3 - build/coverage/summary.json <<'END'
import json
import sys
from collections import defaultdict

sums = defaultdict(lambda: [0, 0, 0, 0])
for file in json.load(open(sys.argv[1]))["files"]:
    counts = [file["line_covered"], file["line_total"], file["branch_covered"], file["branch_total"]]
    for key in (file["filename"].split("/")[2], "all"):
        sums[key] = [a + b for a, b in zip(sums[key], counts)]
for key, (lines, all_lines, branches, all_branches) in sorted(sums.items(), key=lambda item: (item[0] == "all", item[0])):
    print(f"{key:12} lines {100 * lines / max(all_lines, 1):5.1f} % of {all_lines:6}   "
          f"branches {100 * branches / max(all_branches, 1):5.1f} % of {all_branches:6}")
END
