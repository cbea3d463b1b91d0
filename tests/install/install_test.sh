#!/usr/bin/env bash
# The installed tree as another project sees it:
#   install_test.sh tree BUILD_DIR WRITEREC   cmake --install into a scratch prefix, then a C
#                                             consumer built with pkg-config and with
#                                             find_package(trova), and the installed CLI
#   install_test.sh deb BUILD_DIR WRITEREC    cpack -G DEB, dpkg -i, the same consumers and
#                                             CLI from /usr, dpkg -r (root only; skipped
#                                             with code 77 otherwise, an error under CI)
set -euo pipefail
mode="$1" build="$2" writerec="$3"
here="$(cd "$(dirname "$0")" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
fail() { echo "install test ($mode): $*" >&2; exit 1; }

# A recording of two members, 5 and 7 records.
"$writerec" "$work/rec" trend files=5,7 >/dev/null
recording="$work/rec/meas.001.dat"
expected="describe 0 files 2 records 12 status 0"

check_consumers() {  # prefix; pkg-config path
  local pc="$2" got
  PKG_CONFIG_PATH="$pc" pkg-config --exists trova || fail "pkg-config does not find trova in $pc"
  # shellcheck disable=SC2046
  cc -o "$work/consumer-pc" "$here/consumer.c" $(PKG_CONFIG_PATH="$pc" pkg-config --cflags --libs trova) \
    -Wl,-rpath,"$(PKG_CONFIG_PATH="$pc" pkg-config --variable=libdir trova)"
  cmake -S "$here" -B "$work/consumer-cmake" -DCMAKE_PREFIX_PATH="$1" >/dev/null \
    || fail "find_package(trova) failed with CMAKE_PREFIX_PATH=$1"
  cmake --build "$work/consumer-cmake" >/dev/null || fail "the find_package consumer does not build"
  for consumer in "$work/consumer-pc" "$work/consumer-cmake/consumer"; do
    got="$("$consumer" "$recording")"
    [ "$got" = "$expected" ] || fail "$consumer printed '$got', expected '$expected'"
  done
}

check_installed() {  # the installed library file, the installed trova command
  [ "$(objdump -p "$1" | awk '/SONAME/ {print $2}')" = "libtrova.so.0" ] || fail "SONAME of $1 is not libtrova.so.0"
  "$2" info "$recording" --no-log --format json | grep -q '"records": 12' || fail "$2 does not list the recording"
}

case "$mode" in
  tree)
    prefix="$work/prefix"
    cmake --install "$build" --prefix "$prefix" >/dev/null
    libdir="$(ls -d "$prefix"/lib*/ | head -1)"
    check_installed "$(readlink -f "$libdir/libtrova.so")" "$prefix/bin/trova"
    [ -f "$prefix/share/man/man1/trova.1" ] || fail "no man page in $prefix/share/man/man1"
    check_consumers "$prefix" "$libdir/pkgconfig"
    ;;
  deb)
    if [ "$(id -u)" -ne 0 ] || ! command -v dpkg >/dev/null; then
      [ "${CI:-}" = true ] && fail "the Debian package test needs root and dpkg under CI"
      echo "skipped: installing a Debian package needs root and dpkg"
      exit 77
    fi
    # dpkg acts on the whole system: one package test at a time, from any checkout.
    exec 9>/var/lock/trova-install-deb.lock && flock 9
    (cd "$work" && cpack -G DEB --config "$build/CPackConfig.cmake" >/dev/null) \
      || fail "cpack -G DEB failed"
    deb="$(ls "$work"/trova_*.deb)"
    dpkg -r trova >/dev/null 2>&1 || true
    trap 'dpkg -r trova >/dev/null 2>&1 || true; rm -rf "$work"' EXIT
    dpkg -i "$deb" >/dev/null || fail "dpkg -i $deb failed"
    check_installed "$(readlink -f "$(dpkg -L trova | grep '/libtrova\.so\.0$')")" /usr/bin/trova
    check_consumers /usr "$(dirname "$(dpkg -L trova | grep '/trova\.pc$')")"
    # Minimal systems may exclude /usr/share/man from installs: the package must carry it.
    dpkg-deb -c "$deb" | grep -q 'share/man/man1/trova\.1' || fail "no man page in $deb"
    dpkg -r trova >/dev/null || fail "dpkg -r trova failed"
    ;;
  *) fail "unknown mode $mode" ;;
esac
echo "install test ($mode): OK"
