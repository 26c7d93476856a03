#!/bin/bash
# Builds the media server and serves a directory in the foreground until Ctrl-C.
#
# usage: scripts/run.sh [DIRECTORY] [-KEY VALUE ...]
#
# Without a directory a small sample library is made and served. What follows the directory goes to the server as it
# stands, e.g. scripts/run.sh ~/Music -friendlyname "Living room". Settings live in a scratch ini file beside the sample.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
cd "$OLDPWD"
source "$root/scripts/packages.sh"

cache=${XDG_CACHE_HOME:-$HOME/.cache}/pelorama
build=${PELORAMA_BUILD_DIR:-$root/build/run}

directory=
if [ $# -gt 0 ] && [[ $1 != -* ]]; then
  directory=$1
  shift
  [ -d "$directory" ] || { echo "run.sh: no such directory: $directory" >&2; exit 2; }
  directory=$(realpath "$directory")
  # The setting is a comma-separated list and knows no escape.
  [[ $directory != *,* ]] || { echo "run.sh: a content directory's name must not hold a comma: $directory" >&2; exit 2; }
fi

build_server() {
  install_packages "${RUN_PACKAGES[@]}"
  (cd "$root" && cmake --preset run -B "$build" "${LAUNCHER[@]}" >"$build.log" 2>&1) || { cat "$build.log" >&2; exit 1; }
  cmake --build "$build" --target pelorama-mediaserver
}

# A library is only believed in once it is complete: an interrupted run leaves the other name behind.
make_sample() {
  directory=$cache/sample
  [ -d "$directory" ] && return
  echo "Making a sample library in $directory"
  rm -rf "$directory.part"
  python3 "$root/scripts/make_library.py" sample "$directory.part"
  mv "$directory.part" "$directory"
}

# The IPv4 addresses that the server can serve: of interfaces that are up, loopback aside.
network_addresses() {
  hostname -I 2>/dev/null | tr ' ' '\n' | grep -E '^[0-9]+(\.[0-9]+){3}$' || true
}

# Passes the server's log on and says, once per address, how to reach what has just been started.
explain() {
  local line address
  while IFS= read -r line; do
    printf '%s\n' "$line"
    [[ $line == *"Server starting at "* ]] || continue
    address=${line##*Server starting at }
    cat <<END

  Pelorama is at http://$address/DeviceDescription.xml
    curl -i http://$address/DeviceDescription.xml
    curl -s http://$address/ContentDirectory/Control \\
      -H 'SOAPACTION: "urn:schemas-upnp-org:service:ContentDirectory:1#Browse"' \\
      -d '<Browse><ObjectID>0</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag></Browse>'
    gssdp-discover -i $(interface_of "${address%:*}") -n 5 -t urn:schemas-upnp-org:device:MediaServer:1     (package gupnp-tools)
    gupnp-av-cp -i $(interface_of "${address%:*}")                (package gupnp-tools, a window)

END
  done
}

# The name of the interface that carries an address, for the tools that want one.
interface_of() {
  python3 - "$1" <<'END'
import fcntl, socket, struct, sys
SIOCGIFADDR = 0x8915
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
    for _, name in socket.if_nameindex():
        try:
            record = fcntl.ioctl(probe, SIOCGIFADDR, struct.pack("256s", name.encode()))
        except OSError:
            continue
        if socket.inet_ntoa(record[20:24]) == sys.argv[1]:
            print(name)
            break
    else:
        print("INTERFACE")
END
}

mkdir -p "$cache" "$(dirname "$build")"
build_server
[ -n "$directory" ] || make_sample

arguments=(-inifile "$cache/run.ini" -contentdir "$directory" -v 1)
# The server leaves loopback alone unless it is asked for, and a machine with nothing else would be served on no address.
if [ -z "$(network_addresses)" ] && [[ " $* " != *" -ip "* ]]; then
  echo "No network interface is up but loopback: serving on 127.0.0.1 (-ip 127.0.0.1)."
  arguments+=(-ip 127.0.0.1)
fi

echo "Serving $directory; Ctrl-C ends it."
PELORAMA_CHARSET=UTF-8 "$build/src/pelorama-mediaserver" "${arguments[@]}" "$@" > >(trap '' INT; explain) &
server=$!
trap 'kill -TERM "$server" 2>/dev/null || true' INT TERM
# The first wait ends early when a signal arrives; the server then still has its good-byes to say.
status=0
wait "$server" || status=$?
trap '' INT TERM
if kill -0 "$server" 2>/dev/null; then
  status=0
  wait "$server" || status=$?
fi
exit "$status"
