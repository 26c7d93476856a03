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

cmake --preset fuzz "${LAUNCHER[@]}" >/dev/null
if [ "$target" = all ]; then
  mapfile -t targets < <(find tests/fuzz -name 'fuzz_*.cc' -printf '%f\n' | sed 's/\.cc$//' | sort)
else
  targets=("$target")
fi
cmake --build build/fuzz --target "${targets[@]}"

# run_target NAME: its output only where it found something.
run_target() {
  local log=build/fuzz/found/$1.log
  mkdir -p "build/fuzz/found/$1"
  if "build/fuzz/tests/fuzz/$1" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/crashes/$1-" -verbosity=0 \
    "build/fuzz/found/$1" "tests/fuzz/corpus/$1" >"$log" 2>&1; then
    echo "$1: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") inputs in $seconds s, none at fault"
  else
    echo "$1: FAILED"
    cat "$log"
    return 1
  fi
}

export seconds UBSAN_OPTIONS=print_stacktrace=1
export -f run_target
mkdir -p build/fuzz/crashes
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'run_target {}'
