#!/bin/bash
# Runs the fuzz targets with libFuzzer, each for some time. New inputs are kept in build/fuzz/found/TARGET, what made a
# target fail in build/fuzz/crashes; a fault's input belongs into tests/fuzz/corpus/TARGET once it is mended.
#
# usage: scripts/fuzz.sh [TARGET] [SECONDS]     all targets, 60 seconds each, unless told otherwise
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_packages "${FUZZ_PACKAGES[@]}"

target=all
if [[ ${1:-} == fuzz_* ]]; then target=$1; shift; fi
seconds=${1:-60}

cmake --preset fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DBUILD_TESTING=ON "${LAUNCHER[@]}" >/dev/null
if [ "$target" = all ]; then
  mapfile -t targets < <(find tests/fuzz -name 'fuzz_*.cc' -printf '%f\n' | sed 's/\.cc$//' | sort)
else
  targets=("$target")
fi
cmake --build build/fuzz --target "${targets[@]}"

export UBSAN_OPTIONS=print_stacktrace=1
status=0
mkdir -p build/fuzz/crashes
for name in "${targets[@]}"; do
  echo "== $name, $seconds s"
  mkdir -p "build/fuzz/found/$name"
  "build/fuzz/tests/fuzz/$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/crashes/$name-" -verbosity=0 \
    "build/fuzz/found/$name" "tests/fuzz/corpus/$name" || status=1
done
exit "$status"
