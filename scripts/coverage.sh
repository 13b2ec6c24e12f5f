#!/usr/bin/env bash
# Measures which lines and branches of the library the tests run.
#
#   scripts/coverage.sh [FOLDER...]         the folders of tests to run, such as grid; all without one
#   scripts/coverage.sh --add [FOLDER...]   adds to what earlier runs have counted; without folders only tells it
#
# Builds the test programs into build/coverage with g++, runs them without real scans, and prints lines and branches
# of each folder of dev/src_lib and of all; build/coverage/uncovered.txt lists the lines that nothing ran, and those
# with branches that nothing took. The tool counts too, as its tests start it. Left out are branches that only
# exceptions take, and those that the compiler makes without a source.
# Wants gcovr. Counting slows tests several times, those of many threads most.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
unset ZEF_TEST_DATA

add=0
if [[ ${1:-} == --add ]]; then
    add=1
    shift
fi
folders=("$@")
((add || ${#folders[@]})) || mapfile -t folders < <(ls -d tests/*/CMakeLists.txt | cut -d/ -f2)

cmake --preset coverage >/dev/null
programs=()
for folder in "${folders[@]}"; do
    mapfile -t found < <(sed -nE 's/^zef_add_test\((\w+).*/test_\1/p' "tests/$folder/CMakeLists.txt")
    programs+=("${found[@]/#/$folder/}")
done
((${#programs[@]} == 0)) || cmake --build --preset coverage --target "${programs[@]##*/}" -- --quiet >&2
((add)) || find build/coverage -name '*.gcda' -delete

# Prints what went wrong, and fails then.
run_program() {
    cd "build/coverage/tests/${1%/*}"
    "./${1#*/}" --gtest_brief=1 >coverage.log 2>&1 && return
    tail -20 coverage.log >&2
    echo "${1#*/} failed" >&2
    return 1
}
export -f run_program
failed=0
((${#programs[@]} == 0)) || printf '%s\n' "${programs[@]}" | xargs -P "$(nproc)" -I '{}' bash -c 'run_program {}' || failed=1

gcovr --root . --filter dev/src_lib/ --exclude-throw-branches --exclude-unreachable-branches --gcov-ignore-parse-errors \
    --object-directory build/coverage -j "$(nproc)" --json build/coverage/coverage.json \
    build/coverage/dev build/coverage/tests build/coverage/apps >/dev/null
python3 - build/coverage/coverage.json build/coverage/uncovered.txt <<'END'
import json
import sys
from collections import defaultdict

sums = defaultdict(lambda: [0, 0, 0, 0])
with open(sys.argv[2], "w") as out:
    for file in json.load(open(sys.argv[1]))["files"]:
        name = file["file"]
        source = open(name).read().split("\n")
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            taken = [branch["count"] > 0 for branch in line["branches"] if not branch["throw"]]
            for key in (name.split("/")[2], "all"):
                sums[key] = [a + b for a, b in zip(sums[key], (line["count"] > 0, 1, sum(taken), len(taken)))]
            number, what = line["line_number"], "line" if line["count"] == 0 else f"{sum(taken)}/{len(taken)}"
            if line["count"] == 0 or not all(taken):
                print(f"{name}:{number}: {what:5} {source[number - 1].strip()}", file=out)
for key, (lines, all_lines, branches, all_branches) in sorted(sums.items(), key=lambda item: (item[0] == "all", item[0])):
    print(f"{key:12} lines {100 * lines / max(all_lines, 1):5.1f} % of {all_lines:6}   "
          f"branches {100 * branches / max(all_branches, 1):5.1f} % of {all_branches:6}")
END
exit $failed
