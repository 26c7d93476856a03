#!/bin/bash
# Measures the tests: plants the small faults of scripts/mutants.txt one by one in a copy of the tree and tells
# which test notices each. The tests that a row names are run first; only if they miss the fault, all the others.
# Fails if a fault stays unnoticed, no longer builds, or if its text is no longer found.
#
# usage: scripts/mutants.sh [-n] [-q] [-u | NAME ...]
#   -n  does not run all tests on the faultless tree first (without names they are: a test that fails anyway would
#       notice everything)
#   -q  stops after the tests that a row names
#   -u  only those that the last run left unnoticed, stale or broken
#   NAME  only these
# MUTANTS_DIR names the directory for copy and builds (build/mutants), so that two runs can go on at once.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

python=/usr/bin/python3
dir=$PWD/${MUTANTS_DIR:-build/mutants}
log=$dir/log
left=$dir/left

declare -A file unit system original fault
names=()

read_table() {
  local line name
  while IFS= read -r line; do
    case $line in
      '' | '#'*) ;;
      '- '*) original[$name]=${line#- } ;;
      '+'*) line=${line#+} fault[$name]=${line# } ;;
      *)
        read -r name line <<<"$line"
        names+=("$name")
        read -r "file[$name]" "unit[$name]" "system[$name]" <<<"$line"
        ;;
    esac
  done <scripts/mutants.txt
}

make_copy() { # with new times, so that what was ever planted is built again
  rm -rf "$dir/tree"
  mkdir -p "$dir/tree"
  find . -mindepth 1 -maxdepth 1 ! -name build ! -name .git -exec cp -r -t "$dir/tree" {} +
}

configure() { # BUILD [OPTION ...]
  cmake -S "$dir/tree" -B "$dir/$1" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O1 \
    -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld -DPython3_EXECUTABLE="$python" "${LAUNCHER[@]}" "${@:2}" >"$log"
}

build() { # BUILD TARGET
  nice cmake --build "$dir/$1" --target "$2" >"$log" 2>&1
}

# The runs below print the first test that fails and return 1 if one does.

first_of() { # PERL-PATTERN STATUS
  { grep -aoPm 1 "$1" "$log" || echo "ends with status $2: $(tail -n 1 "$log")"; } | cut -c 1-100
}

run_unit() { # BUILD NAME
  local status=0
  timeout 300 "$dir/$1/tests/$2" --gtest_brief=1 --gtest_fail_fast >"$log" 2>&1 || status=$?
  [ "$status" -ne 0 ] || return 0
  echo "$2: $(first_of 'FAILED  \] \K\S+|ThreadSanitizer: .*|\S+: Assertion .*' "$status")"
  return 1
}

run_replays() {
  ctest --test-dir "$dir/plain" -E '[.]' --stop-on-failure -j 2 >"$log" 2>&1 && return 0
  first_of '.*Failed.*' 1
  return 1
}

end_servers() { # BUILD: those that a run which was cut short left behind
  local exe
  for exe in /proc/[0-9]*/exe; do
    [ "$(readlink "$exe")" != "$dir/$1/src/pelorama-mediaserver" ] || kill -9 "${exe//[!0-9]/}"
  done
}

run_system() { # BUILD [EXPRESSION]
  local status=0 sanitizer=${1/plain/}
  (cd "$dir/tree" && PELORAMA_DAEMON=$dir/$1/src/pelorama-mediaserver PELORAMA_SANITIZER=$sanitizer \
    PYTHONDONTWRITEBYTECODE=1 timeout 1800 "$python" -m pytest -p no:cacheprovider -q -x -rfE -n 2 --dist loadfile \
    tests/system ${2:+-k "$2"}) >"$log" 2>&1 || status=$?
  end_servers "$1"
  [ "$status" -ne 0 ] && [ "$status" -ne 5 ] || return 0 # 5: no test is named so
  # Where pytest itself gives up nothing is noticed.
  if grep -q 'errors\? during collection\|^INTERNALERROR\|^ERROR: usage' "$log"; then
    tail -n 20 "$log" >&2
    return 0
  fi
  echo "${sanitizer:-system}: $(first_of '^(FAILED|ERROR) tests/system/\K\S+' "$status")"
  return 1
}

run_everything() { # [UNIT that has run]
  build plain all || { echo "the tests do not build"; return 1; }
  local test
  for test in "$dir"/plain/tests/*_tests; do
    [ "${test##*/}" = "${1:-}" ] || run_unit plain "${test##*/}" || return 1
  done
  run_replays && run_system plain
}

# Prints what notices the planted fault.
find_notice() { # NAME
  local test=${unit[$1]%@tsan} tree=plain
  if [ "$test" != "${unit[$1]}" ]; then
    tree=tsan
    [ -d "$dir/tsan" ] || configure tsan -DPELORAMA_SANITIZE=thread
  fi
  build "$tree" pelorama-mediaserver || { echo "DOES NOT BUILD: $(first_of 'error: .*' 1)"; return 1; }
  if [ -d "$dir/$tree/tests/CMakeFiles/$test.dir" ]; then
    build "$tree" "$test" || { echo "DOES NOT BUILD: $(first_of 'error: .*' 1)"; return 1; }
    run_unit "$tree" "$test" || return 0
  else
    test=
  fi
  [ -z "${system[$1]}" ] || run_system "$tree" "${system[$1]}" || return 0
  [ "$quick" = no ] || { echo "NOT NOTICED by the tests of its row"; return 1; }
  [ "$tree" = plain ] || test=
  run_everything "$test" || return 0
  echo "NOT NOTICED"
  return 1
}

# Plants the fault, looks who notices it and takes it out again; prints the result. 1 unless it was noticed.
try() { # NAME
  local paths text before after status=0
  mapfile -t paths < <(find "$dir/tree/src" -name "${file[$1]}")
  [ "${#paths[@]}" -eq 1 ] || { echo "STALE: ${#paths[@]} files are named ${file[$1]}"; return 1; }
  text=$(cat "${paths[0]}" && echo .) # command substitution takes line ends away
  text=${text%.}
  before=${text%%"${original[$1]}"*} after=${text#*"${original[$1]}"}
  [ "$before" != "$text" ] || { echo "STALE: the text is not in ${file[$1]}"; return 1; }
  [[ $after != *"${original[$1]}"* ]] || { echo "STALE: the text is in ${file[$1]} more than once"; return 1; }
  printf %s "$before${fault[$1]}$after" >"${paths[0]}"
  find_notice "$1" || status=1
  printf %s "$text" >"${paths[0]}"
  return "$status"
}

all_first=yes quick=no
read_table
while getopts nqu option; do
  case $option in
    n) all_first=no ;;
    q) quick=yes ;;
    u) mapfile -t names <"$left" ;;
    *) sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
[ $# -eq 0 ] || { names=("$@") all_first=no; }
for name in "${names[@]}"; do
  [ -n "${file[$name]:-}" ] || { echo "no row is named $name" >&2; exit 2; }
done

install_packages "${TEST_PACKAGES[@]}" lld
make_copy
configure plain
if [ "$all_first" = yes ]; then
  failing=$(run_everything) || { echo "fails without any fault: $failing" >&2; exit 2; }
fi
noticed=0
: >"$left"
for name in "${names[@]}"; do
  if result=$(try "$name"); then noticed=$((noticed + 1)); else echo "$name" >>"$left"; fi
  printf '%-26s %s\n' "$name" "$result"
done
echo "$noticed of ${#names[@]} noticed"
[ ! -s "$left" ] || { echo "left: $(paste -sd ' ' "$left")"; exit 1; }
