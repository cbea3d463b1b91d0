#!/bin/sh
# A screenshot of the progress dialog as trova.dll shows it under Wine.
#
#   scripts/windows/screenshot.sh [OUTPUT.png]    default docs/images/progress-dialog.png
#
# Runs `trova_host demo` of the Windows build (built here if missing) on a
# virtual display: a Reader_XT call over a recording of 600 files. Once the
# bar has moved, the host holds the worker and writes the dialog's screen
# rectangle; this script then grabs the display (xwd), cuts the dialog out
# (netpbm) and saves it as PNG, and the host clicks the dialog's button.
# Needs what scripts/windows/install-deps.sh installs, plus x11-apps and
# netpbm (installed here when run as root).
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)

if [ "${1:-}" = "--capture" ]; then
  # The companion: runs on Wine's virtual display (DISPLAY is set).
  data=$TROVA_SHOT_DATA
  i=0
  while [ ! -s "$data/demo-dialog.txt" ]; do
    i=$((i + 1))
    if [ $i -gt 600 ]; then
      echo "screenshot: the dialog did not appear" >&2
      touch "$data/demo-shot.done"
      exit 1
    fi
    sleep 0.1
  done
  # shellcheck disable=SC2046
  set -- $(cat "$data/demo-dialog.txt")
  left=$1 top=$2 right=$3 bottom=$4
  status=0
  xwd -root -silent >"$TROVA_SHOT_WORK/screen.xwd" || status=$?
  touch "$data/demo-shot.done"
  [ $status = 0 ] || exit $status
  xwdtopnm "$TROVA_SHOT_WORK/screen.xwd" 2>/dev/null |
    pamcut -left "$left" -top "$top" -width $((right - left)) -height $((bottom - top)) |
    pnmtopng >"$TROVA_SHOT_OUT.tmp"
  mv "$TROVA_SHOT_OUT.tmp" "$TROVA_SHOT_OUT"
  exit 0
fi

out=${1:-$root/docs/images/progress-dialog.png}
case $out in /*) ;; *) out=$(pwd)/$out ;; esac
build=${TROVA_WINDOWS_BUILD:-$root/build/windows}

"$root/scripts/windows/install-deps.sh"
missing=""
command -v xwd >/dev/null 2>&1 || missing="$missing x11-apps"
command -v pnmtopng >/dev/null 2>&1 || missing="$missing netpbm"
if [ -n "$missing" ]; then
  if [ "$(id -u)" != 0 ]; then
    echo "screenshot: install$missing (or run this as root)" >&2
    exit 1
  fi
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
fi

host="$build/tests/windows/trova_host.exe"
reference="$build/linux-reference/tests/windows/trova_reference"
if [ ! -x "$host" ] || [ ! -x "$reference" ]; then
  (cd "$root" && cmake --preset windows >/dev/null && cmake --build --preset windows >/dev/null)
fi

data="$build/tests/windows/crosscheck-data"
"$reference" write "$data" >/dev/null
rm -f "$data/demo-dialog.txt" "$data/demo-shot.done"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$(dirname "$out")"

TROVA_SHOT_DATA=$data TROVA_SHOT_OUT=$out TROVA_SHOT_WORK=$work
TROVA_WINE_COMPANION="'$root/scripts/windows/screenshot.sh' --capture"
export TROVA_SHOT_DATA TROVA_SHOT_OUT TROVA_SHOT_WORK TROVA_WINE_COMPANION
(cd "$data" && "$root/scripts/windows/run-under-wine.sh" "$host" demo)
rm -f "$data/demo-dialog.txt" "$data/demo-shot.done"
echo "screenshot: $out"
