#!/bin/bash
# Line and branch coverage of src/ by all tests: unit tests and fuzz replays under ctest, then the system tests.
# Prints one row a folder and the total; build/coverage/report.html has the lines. Branches that only an exception takes
# are not counted.
#
# usage: scripts/coverage.sh
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_packages "${TEST_PACKAGES[@]}" gcovr

python=/usr/bin/python3
build=$PWD/build/coverage
mkdir -p "$build"

# The server ends with _exit, which writes no counters.
g++ -x c++ -c -o "$build/exit.o" - <<'CODE'
extern "C" {
void __gcov_dump();
[[noreturn]] void __real__exit(int status);
[[noreturn]] void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}
}
CODE
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPython3_EXECUTABLE="$python" "${LAUNCHER[@]}" \
  -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" -DCMAKE_EXE_LINKER_FLAGS="-Wl,--wrap=_exit $build/exit.o"
nice cmake --build "$build" -j "$(nproc)"
find "$build" -name '*.gcda' -delete

status=0
ctest --test-dir "$build" --output-on-failure -j "$(nproc)" || status=$?
# As slow as with a sanitizer.
PELORAMA_DAEMON=$build/src/pelorama-mediaserver PELORAMA_SANITIZER=coverage PYTHONDONTWRITEBYTECODE=1 \
  "$python" -m pytest -p no:cacheprovider -q -n 2 --dist loadfile tests/system || status=$?

gcovr --root . --filter src/ --exclude-throw-branches --exclude-unreachable-branches -j "$(nproc)" \
  --json-summary "$build/summary.json" --html-details "$build/report.html" "$build/src"
"$python" - "$build/summary.json" <<'CODE'
import collections
import json
import sys

kinds = {"line": "lines", "branch": "branches"}
sums = collections.defaultdict(collections.Counter)
for row in json.load(open(sys.argv[1]))["files"]:
    for name in (row["filename"].split("/")[1] if row["filename"].count("/") > 1 else "(top)", "total"):
        sums[name].update({key: row[key] for kind in kinds for key in (f"{kind}_total", f"{kind}_covered")})
for name, of in sorted(sums.items(), key=lambda item: item[0] == "total"):
    print(f"{name:10}", *(f"{kinds[kind]} {100 * of[f'{kind}_covered'] / max(of[f'{kind}_total'], 1):5.1f} % of "
                          f"{of[f'{kind}_total']:5}  " for kind in kinds))
CODE
exit "$status"
