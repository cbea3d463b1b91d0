#!/usr/bin/env bash
# Builds libtrova.so and installs the Python package trova (with the library
# inside it) into a virtual environment that sees Debian's numpy, pandas,
# matplotlib, tqdm and xarray. Offline: nothing is fetched.
#
#   scripts/install-python.sh [VENV]      (default: build/venv)
#
# Then: VENV/bin/python -c "import trova; print(trova.describe(PATH))"
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
venv="${1:-$root/build/venv}"
build="$root/build/python"
"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTROVA_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target trova trova_cli trova_writerec >/dev/null
mkdir -p "$root/python/trova/_lib"
cp "$build/src/libtrova.so" "$root/python/trova/_lib/libtrova.so"
if [ ! -x "$venv/bin/python" ]; then
  /usr/bin/python3 -m venv --system-site-packages "$venv"
fi
# A fresh copy of the sources, so that the build leaves nothing in python/.
stage="$(mktemp -d)"
trap 'rm -rf "$stage"' EXIT
cp -r "$root/python/pyproject.toml" "$root/python/README.md" "$root/python/trova" "$stage/"
"$venv/bin/python" -m pip install --quiet --disable-pip-version-check --no-build-isolation \
  --no-index --no-deps --force-reinstall "$stage"
"$venv/bin/python" -c "import trova; print('trova', trova.__version__, 'in', '$venv', 'using', trova.library_path())"
