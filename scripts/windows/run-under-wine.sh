#!/bin/sh
# Run a Windows program of the cross build under Wine on a virtual display.
#
#   scripts/windows/run-under-wine.sh program.exe [arguments...]
#
# The exit status is the program's. CMake uses this script as
# CMAKE_CROSSCOMPILING_EMULATOR (cmake/toolchain-mingw64.cmake), so add_test()
# on an .exe target of the Windows build runs it here.
#
# Environment (all optional):
#   TROVA_WINEPREFIX  Wine prefix to use; default $XDG_CACHE_HOME/trova/wine64
#                     (or ~/.cache/trova/wine64). Created on first use, which
#                     takes about 10-20 s; later runs reuse it.
#   TROVA_WINEDEBUG   Wine debug channels; default -all (quiet).
#   TROVA_WINE_TIMEOUT  seconds before the run is killed; default 600.
#   TROVA_WINE_COMPANION  a shell command run in the background on the same
#                     virtual display while the program runs (DISPLAY is
#                     set); the run waits for it and fails if it fails.
#                     scripts/windows/screenshot.sh uses it.
#
# Runs are serialised per prefix with a lock: Wine keeps one server and one
# desktop process per prefix, and those must not outlive the virtual display
# they were started on. Each run therefore waits for the prefix's server to
# exit before its display goes away.
set -eu

if [ $# -lt 1 ]; then
  echo "usage: $0 program.exe [arguments...]" >&2
  exit 2
fi

# Locate Wine: Debian ships the 64-bit loader outside PATH.
if [ -x /usr/lib/wine/wine64 ]; then
  WINE=/usr/lib/wine/wine64
elif command -v wine64 >/dev/null 2>&1; then
  WINE=$(command -v wine64)
elif command -v wine >/dev/null 2>&1; then
  WINE=$(command -v wine)
else
  echo "$0: Wine not found; run scripts/windows/install-deps.sh as root" >&2
  exit 127
fi
if command -v wineserver >/dev/null 2>&1; then
  WINESERVER_CMD=$(command -v wineserver)
elif [ -x /usr/lib/wine/wineserver ]; then
  WINESERVER_CMD=/usr/lib/wine/wineserver
else
  echo "$0: wineserver not found" >&2
  exit 127
fi
if ! command -v xvfb-run >/dev/null 2>&1; then
  echo "$0: xvfb-run not found; run scripts/windows/install-deps.sh as root" >&2
  exit 127
fi

cache_home=${XDG_CACHE_HOME:-${HOME:-/tmp}/.cache}
WINEPREFIX=${TROVA_WINEPREFIX:-$cache_home/trova/wine64}
WINEARCH=win64
WINEDEBUG=${TROVA_WINEDEBUG:--all}
# Never offer to download and install the .NET and HTML engines: that
# prompt would wait forever on a display nobody looks at.
WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export WINEPREFIX WINEARCH WINEDEBUG WINEDLLOVERRIDES WINE WINESERVER_CMD

mkdir -p "$(dirname "$WINEPREFIX")"
exec 9>"$WINEPREFIX.lock"
flock 9

# One virtual display for the whole run: create the prefix if needed, run
# the program, then wait until the prefix's server (and the desktop process
# it keeps) has exited, so nothing is left talking to a display that is gone.
# The inner script is quoted on purpose: it expands in the inner shell.
# shellcheck disable=SC2016
timeout -k 10 "${TROVA_WINE_TIMEOUT:-600}" \
  xvfb-run -a -s "-screen 0 1024x768x24 -nolisten tcp" sh -c '
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
      "$WINE" wineboot --init >/dev/null 2>&1 || true
      "$WINESERVER_CMD" -w
      if [ ! -f "$WINEPREFIX/system.reg" ]; then
        echo "run-under-wine: could not create the Wine prefix $WINEPREFIX" >&2
        exit 125
      fi
    fi
    # No window manager runs on the virtual display: let Wine place and
    # frame its windows itself ("unmanaged"). A managed window would wait in
    # vain for a window manager each time it is hidden (about 2 s per
    # progress dialog), and would show no title bar.
    if ! grep -q "^\"Managed\"=\"N\"" "$WINEPREFIX/user.reg" 2>/dev/null; then
      "$WINE" reg add "HKCU\\Software\\Wine\\X11 Driver" /v Managed /t REG_SZ /d N /f >/dev/null 2>&1 || true
      "$WINESERVER_CMD" -w
    fi
    # The glyphs of the caption buttons come from the Marlett font, which
    # this Wine does not pick up from its own font directory by itself.
    fonts="$WINEPREFIX/drive_c/windows/Fonts"
    if [ ! -f "$fonts/marlett.ttf" ] && [ -f /usr/share/wine/fonts/marlett.ttf ]; then
      cp /usr/share/wine/fonts/marlett.ttf "$fonts/" 2>/dev/null || true
    fi
    companion=""
    if [ -n "${TROVA_WINE_COMPANION:-}" ]; then
      sh -c "$TROVA_WINE_COMPANION" &
      companion=$!
    fi
    status=0
    "$WINE" "$@" || status=$?
    if [ -n "$companion" ]; then
      wait "$companion" || { [ "$status" != 0 ] || status=1; }
    fi
    "$WINESERVER_CMD" -w
    exit $status
  ' run-under-wine "$@"
