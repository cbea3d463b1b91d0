#!/usr/bin/env bash
# Installs what the Linux build and tests need, from Debian's packages, when
# run as root on a Debian machine and something is missing. Idempotent.
set -euo pipefail
packages=(cmake make g++ libgtest-dev googletest libcli11-dev nlohmann-json3-dev pkgconf python3
  python3-numpy python3-pandas python3-matplotlib python3-tqdm python3-xarray python3-pytest
  python3-setuptools python3-venv python3-pip python3-dask python3-distributed)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi
if [ "$(id -u)" -ne 0 ] || ! command -v apt-get >/dev/null; then
  echo "missing packages: ${missing[*]} (install them, or run this as root on Debian)" >&2
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
