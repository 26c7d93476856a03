#!/bin/bash
# Layout of every C++ file, then the static checks of .clang-tidy over src/ (minutes: they compile everything again).
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
fi

# A compilation database of clang's own: the flags of g++ alone (-Wno-... and the like) would be its first complaint.
cmake -S . -B build/lint -G Ninja -DCMAKE_CXX_COMPILER=g++ -DBUILD_TESTING=OFF >/dev/null
printf '%s\0' "${sources[@]}" | xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p build/lint --warnings-as-errors='*' || status=1
exit "$status"
