#!/bin/sh
# Install what the Windows leg of the build needs, on Debian, as root:
#   - the mingw-w64 cross compilers for x86-64 (both thread variants) and
#     their binutils, with windres;
#   - Wine (64-bit) to run the DLL's test programs, and Xvfb with xauth for
#     the virtual display they run on (scripts/windows/run-under-wine.sh);
#   - clang, which prints the platform's decorated names
#     (tests/decorated_name_test.cpp), and python3 for the resource checks.
#
# Idempotent: does nothing, and touches no package list, when everything is
# already installed. Measured on a fresh machine: about 45 s including
# apt-get update.
set -eu

packages="g++-mingw-w64-x86-64 binutils-mingw-w64-x86-64 mingw-w64-x86-64-dev \
wine64 wine xvfb xauth clang python3 cmake ninja-build"

missing=""
for p in $packages; do
  if ! dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
    missing="$missing $p"
  fi
done

if [ -z "$missing" ]; then
  echo "install-deps: Windows build dependencies already installed"
  exit 0
fi

if [ "$(id -u)" != 0 ]; then
  echo "install-deps: run as root to install:$missing" >&2
  exit 1
fi

echo "install-deps: installing$missing"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# Wine keeps its recommended packages (fonts, the display libraries it
# loads at run time); that set is the one the Windows tests were run with.
# shellcheck disable=SC2086
apt-get install -y -qq $missing >/dev/null
echo "install-deps: done"
