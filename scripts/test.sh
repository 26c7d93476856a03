#!/bin/bash
# Builds with the sanitizers and runs every test: unit tests, include check and fuzz replays under ctest, then the system
# tests, which start the real server in network namespaces of their own.
#
# usage: scripts/test.sh [--quick | --tsan | --plain]
#   --quick   unit tests only
#   --tsan    the system tests against a server built with the thread sanitizer
#   --plain   the system tests against an optimised server without sanitizers (memory limits are only checked here)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

case "${1:-}" in
  '') preset=asan ctest=yes system=yes ;;
  --quick) preset=asan ctest=yes system=no ;;
  --tsan) preset=tsan ctest=no system=yes ;;
  --plain) preset=plain ctest=no system=yes ;;
  *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
esac

# Debian's own interpreter, whatever else is on PATH: pytest and the GUPnP bindings belong to it.
python=/usr/bin/python3
build=build/$preset

install_packages "${TEST_PACKAGES[@]}"

build_tree() {
  cmake --preset "$preset" "${LAUNCHER[@]}"
  if [ "$ctest" = yes ]; then
    cmake --build "$build"
  else
    cmake --build "$build" --target pelorama-mediaserver
  fi
}

# The leak check stops a process through ptrace, which some containers forbid; there it would fail every test.
leak_check_works() {
  local probe
  probe=$(find "$build/tests" -maxdepth 1 -name '*_tests' -type f -executable 2>/dev/null | head -n 1)
  [ -z "$probe" ] || ASAN_OPTIONS=detect_leaks=1 "$probe" --gtest_list_tests >/dev/null 2>&1
}

set_sanitizer_options() {
  local leaks=1
  if [ "$preset" = asan ] && ! leak_check_works; then
    echo "The leak check does not work here (no ptrace): leaks are not looked for."
    leaks=0
  fi
  export ASAN_OPTIONS=abort_on_error=1:detect_leaks=$leaks:strict_string_checks=1:detect_stack_use_after_return=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1:abort_on_error=1
  export TSAN_OPTIONS=second_deadlock_stack=1:halt_on_error=0
}

# Two files at a time: they mostly wait, for deadlines of the server's, and each has hosts of its own.
# Without root the namespaces are made inside a user namespace, where the caller plays root.
run_system_tests() {
  local wrapper=()
  if [ "$(id -u)" -ne 0 ]; then
    wrapper=(unshare --user --map-root-user --net --)
    if ! "${wrapper[@]}" true; then
      echo "No user namespaces here: the system tests need root (or user namespaces) and will say that they skip." >&2
      wrapper=()
    fi
  fi
  PELORAMA_DAEMON="$PWD/$build/src/pelorama-mediaserver" PELORAMA_SANITIZER="${preset/plain/}" PYTHONDONTWRITEBYTECODE=1 \
    "${wrapper[@]}" "$python" -m pytest -p no:cacheprovider -ra -n 2 --dist loadfile tests/system
}

build_tree
set_sanitizer_options
status=0
if [ "$ctest" = yes ]; then
  ctest --test-dir "$build" --output-on-failure -j "$(nproc)" || status=$?
fi
if [ "$system" = yes ]; then
  run_system_tests || status=$?
fi
exit "$status"
