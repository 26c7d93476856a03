#!/bin/bash
# Everything that can be said about the sources without running them: layout and static checks of the C++ files
# (.clang-format, .clang-tidy; minutes: clang compiles everything again), shellcheck, flake8.
#
# usage: scripts/lint.sh [FILE.cc ...]     with files only these are checked
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_packages "${LINT_PACKAGES[@]}"

status=0
if [ $# -gt 0 ]; then
  sources=("$@")
  clang-format --dry-run --Werror "$@" || status=1
else
  mapfile -t sources < <(find src -name '*.cc' | sort)
  find src tests bench \( -name '*.h' -o -name '*.cc' \) -print0 | xargs -0 clang-format --dry-run --Werror || status=1
  shellcheck -x scripts/*.sh .ci/run || status=1
  /usr/bin/python3 -m flake8 scripts tests bench || status=1
fi

cmake --preset lint >/dev/null
printf '%s\0' "${sources[@]}" |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy-19 --quiet -p build/lint --warnings-as-errors='*' 2>/dev/null || status=1
exit "$status"
