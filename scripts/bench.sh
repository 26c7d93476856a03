#!/bin/bash
# Measures the server on a corpus of many small tracks, scales a picture beside other programs and, where nginx is
# installed, streams a large file beside it; prints what goes into docs/performance.md. The corpus is made once, in build/corpus/.
#
# usage: scripts/bench.sh [TRACKS]     100000 unless told otherwise
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_packages "${BENCH_PACKAGES[@]}"

tracks=100000
if [ $# -gt 0 ]; then tracks=$1; fi
corpus=$PWD/build/corpus/$tracks

{
  cmake --preset bench "${LAUNCHER[@]}"
  cmake --build build/bench --target pelorama-mediaserver
  if [ ! -d "$corpus" ]; then
    mkdir -p build/corpus
    rm -rf "$corpus.part"
    python3 scripts/make_library.py many "$corpus.part" --tracks "$tracks"
    mv "$corpus.part" "$corpus"
  fi
} >&2

wrapper=()
if [ "$(id -u)" -ne 0 ]; then
  wrapper=(unshare --user --map-root-user --net --)
fi
server=$PWD/build/bench/src/pelorama-mediaserver
"${wrapper[@]}" /usr/bin/python3 bench/daemon_bench.py --daemon "$server" --corpus "$corpus" --tracks "$tracks" \
  --scratch "$PWD/build/corpus"
/usr/bin/python3 bench/picture_vs_tools.py "$server"
if command -v nginx >/dev/null; then
  /usr/bin/python3 bench/stream_vs_nginx.py "$server"
else
  echo "nginx is not installed: streaming is not compared."
fi
/usr/bin/python3 bench/relay_cost.py "$server"
if command -v ffmpeg >/dev/null; then
  /usr/bin/python3 bench/mixed_scan.py "$server"
else
  echo "ffmpeg is not installed: a library of several formats is not scanned."
fi
