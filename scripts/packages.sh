# shellcheck shell=bash disable=SC2034
# Sourced by the other scripts: which Debian packages a job needs, and one function that installs those that are missing.
# A second run asks dpkg only, so it is quick and needs neither root nor a network.

BUILD_PACKAGES=(g++ cmake ninja-build python3 pkg-config libtag1-dev libjpeg62-turbo-dev)
RUN_PACKAGES=("${BUILD_PACKAGES[@]}")
TEST_PACKAGES=("${BUILD_PACKAGES[@]}" libgtest-dev libgmock-dev python3-pytest python3-pytest-xdist
               python3-gi gir1.2-gupnp-1.6 gir1.2-gssdp-1.6 gupnp-tools curl ffmpeg sox libimage-exiftool-perl iproute2
               util-linux)
# Servers that tests talk to, for the integration server alone: Debian starts them as services when they are installed.
# Its FTP servers exclude each other, so vsftpd is unpacked beside the other one (libwrap0 belongs to it).
SERVER_PACKAGES=(icecast2 pure-ftpd libwrap0)
BENCH_PACKAGES=("${BUILD_PACKAGES[@]}" libbenchmark-dev libjpeg-turbo-progs netpbm iproute2 util-linux curl
                python3-pyftpdlib)
FUZZ_PACKAGES=("${BUILD_PACKAGES[@]}" clang libclang-rt-dev libgtest-dev libgmock-dev)
LINT_PACKAGES=("${BUILD_PACKAGES[@]}" clang-format clang-tidy-19 shellcheck python3-flake8)

package_is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# install_packages NAME...: leaves what is there alone; without root it asks sudo, and says what to do where there is none.
install_packages() {
  local missing=() name as_root=()
  for name in "$@"; do
    package_is_installed "$name" || missing+=("$name")
  done
  [ "${#missing[@]}" -gt 0 ] || return 0

  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "Missing packages: ${missing[*]}" >&2
      echo "Install them as root: apt-get install ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends "${missing[@]}" </dev/null
}

# A server that cannot be installed beside another one: its package is unpacked into build/, and goes to the front of PATH.
unpack_vsftpd() {
  PATH=$PWD/build/vsftpd/usr/sbin:$PATH
  if command -v vsftpd >/dev/null; then return; fi
  rm -rf build/vsftpd
  mkdir -p build/vsftpd
  apt-get update -qq
  (cd build/vsftpd && apt-get download -qq vsftpd && dpkg -x vsftpd_*.deb .)
}

# Sets the array LAUNCHER to what makes cmake compile through ccache where that is installed.
LAUNCHER=()
if command -v ccache >/dev/null; then
  LAUNCHER=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
