#!/usr/bin/env bash
# The main job: build trova, write a sample trend and a sample harmonic
# recording and show what the readers make of them.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build/demo"
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTROVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target trova trova_cli >/dev/null
trova="$build/tools/cli/trova"
recording="$build/sample-recording"
rm -rf "$recording"
first="$("$trova" sample "$recording")"
echo "== sample recording in $recording"
echo
echo "== file table (trova table $first)"
"$trova" table "$first" --log "$build"
echo
echo "== phase voltages, mean block, 24 points (trova xt $first --quantity 2 --block 2 --points 24)"
"$trova" xt "$first" --quantity 2 --block 2 --points 24 --log "$build"
echo
echo "== the last hour relative to the nominal voltage (trova xt ... --extref -1 --last 3600)"
"$trova" xt "$first" --quantity 2 --block 2 --points 6 --extref -1 --last 3600 --log "$build"
echo
echo "== the same voltages decimated for drawing (trova xt2 ... --points 12)"
"$trova" xt2 "$first" --quantity 2 --block 2 --points 12 --log "$build"
echo
echo "== their distribution (trova hist ... --rows 10)"
"$trova" hist "$first" --quantity 2 --block 2 --rows 10 --log "$build"
echo
harmonic="$build/sample-harmonic"
rm -rf "$harmonic"
first="$("$trova" sample-harmonic "$harmonic")"
echo "== sample harmonic recording in $harmonic"
echo
echo "== 95 % table of the voltage harmonics, flagged records left out (trova fft-table $first --percentile 0.95 --flagged 0)"
"$trova" fft-table "$first" --percentile 0.95 --flagged 0 --log "$build"
echo
echo "== histogram of the 3rd harmonic voltage, fixed range 9.0 to 9.4 V (trova fft-hist ... --quantity 2 --harmonic 2 --hmin 9 --hmax 9.4)"
"$trova" fft-hist "$first" --quantity 2 --harmonic 2 --hmin 9 --hmax 9.4 --log "$build"
echo
echo "== 5th harmonic voltage per phase, 8 points (trova fft-xt ... --quantity 2 --harmonic 4 --points 8)"
"$trova" fft-xt "$first" --quantity 2 --harmonic 4 --points 8 --log "$build"
echo
echo "== voltage spectrum in percent of the fundamental over the window (trova fft-all ... --quantity 9)"
"$trova" fft-all "$first" --quantity 9 --log "$build"
echo
echo "diagnostic log: $build/TrovaDLL.LOG"
echo

# The same recordings from Python: the package installed into build/venv
# (Debian's numpy, pandas and matplotlib), two plots written beside them.
"$root/scripts/install-python.sh" "$root/build/venv" >/dev/null
echo "== Python (build/venv/bin/python, after scripts/install-python.sh)"
TREND="$(ls "$recording"/sample.001.trd)" HARMONIC="$first" OUT="$build" \
  "$root/build/venv/bin/python" - <<'PYTHON'
import os
import warnings

import trova
from trova import plot

trend_path, harmonic_path, out = os.environ["TREND"], os.environ["HARMONIC"], os.environ["OUT"]
print(">>> print(trova.describe(trend_path))")
print(trova.describe(trend_path))
print(">>> trova.trend(trend_path, quantity=2, block=2, points=8).to_pandas()['mean']")
print(trova.trend(trend_path, quantity=2, block=2, points=8).to_pandas()["mean"])
print(">>> trova.harmonic_table(harmonic_path, percentile=0.95).to_pandas().head(6)")
print(trova.harmonic_table(harmonic_path, percentile=0.95).to_pandas().head(6))
print(">>> trova.trend(trend_path, block=7)   # the recording has blocks 0 to 2")
with warnings.catch_warnings(record=True) as caught:
    warnings.simplefilter("always")
    trova.trend(trend_path, block=7)
print("CorrectedArgumentWarning:", caught[0].message)
band = plot.trend_band(trova.trend(trend_path, quantity=2, block=2, points=400),
                       output=os.path.join(out, "trend-band.png"), ylabel="phase voltage (V)")
heat = plot.spectrum_over_time(trova.spectrum_trend(harmonic_path, quantity=2),
                               output=os.path.join(out, "spectrum-over-time.png"), first=1)
print("plots:", os.path.join(out, "trend-band.png"), os.path.join(out, "spectrum-over-time.png"))
PYTHON
echo

# A fleet: a handful of generated recordings in a tree, one reader over all
# of them in two worker processes (a local Dask cluster).
fleet="$build/sample-fleet"
rm -rf "$fleet"
writerec="$root/build/python/tools/recwriter/trova-writerec"
for site in 1 2 3; do
  mkdir -p "$fleet/site-$site"
  "$writerec" "$fleet/site-$site" harmonic files=30,30 stem=feeder base="$site" step=0.1 >/dev/null
done
"$writerec" "$fleet/site-3" trend files=20 stem=volts >/dev/null      # not a harmonic recording
printf 'not a recording' > "$fleet/site-2/feeder.dat"                  # a decoy
echo "== fleet: 95 % tables of every recording below $fleet, two workers"
echo "   (python3 -m trova fleet $fleet --workers 2 -o fleet-table.csv harmonic-table --percentile 0.95)"
"$root/build/venv/bin/python" -m trova fleet "$fleet" --workers 2 \
  -o "$build/fleet-table.csv" harmonic-table --percentile 0.95 2>&1
echo "first rows of $build/fleet-table.csv:"
head -4 "$build/fleet-table.csv"
