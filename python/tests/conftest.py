"""Recordings for the tests, written by the recording writer (trova-writerec).

Every value follows the writer's rule, so the tests know what each reader
must deliver without asking the library:
  trend:    base + step*r + 1000*block + 100*quantity + 10*channel
  harmonic: base + step*r + 10000*field + 1000*set + 100*phase + index
(r the recording-wide record number; field 1 scalar, 2 voltage, 3 current,
4 per-phase value A/B as index 0/1, 5 power with set = power array).
"""
import json
import os
import pathlib
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
START = 3786825600.0  # 2023-12-31T00:00:00, seconds since 1904
INTERVAL = 10.0


def writer_path():
    path = os.environ.get("TROVA_WRITEREC") or ROOT / "build/python/tools/recwriter/trova-writerec"
    if not os.path.exists(path):
        pytest.exit(f"trova-writerec not found at {path}: run scripts/install-python.sh "
                    "or set TROVA_WRITEREC", returncode=2)
    return str(path)


def write(directory, kind, **keys):
    """Writes a recording and returns the writer's account (dict)."""
    arguments = [writer_path(), str(directory), kind] + [f"{k}={v}" for k, v in keys.items()]
    account = json.loads(subprocess.run(arguments, check=True, capture_output=True,
                                        text=True).stdout)
    account["keys"] = keys
    return account


def trend_value(r, block, quantity, channel, base=1.0, step=1.0):
    return base + step * r + 1000 * block + 100 * quantity + 10 * channel


def harmonic_value(r, field, value_set, phase, index, base=1.0, step=0.0):
    return base + step * r + 10000 * field + 1000 * value_set + 100 * phase + index


@pytest.fixture(scope="session")
def recordings(tmp_path_factory):
    root = tmp_path_factory.mktemp("recordings")
    return {
        # three files of 60 records, a ramp, every fourth record flagged
        "trend": write(root / "trend", "trend", files="60,60,60", step=1, flag_every=4,
                       start=START, interval=INTERVAL),
        # flat harmonic values, three phases, 12 positions, power block
        "flat": write(root / "flat", "harmonic", files="40,40,40", harmonics=12, step=0,
                      start=START, interval=INTERVAL, flag_every=5),
        # eight files of 50 000 one-value records, for cancelling
        "long": write(root / "long", "trend", files=",".join(["50000"] * 8), channels=1,
                      scalars=1, per_channel=1, blocks=1),
        # a ramp without power block, one phase; 300 records give spectra groups of three
        "ramp": write(root / "ramp", "harmonic", files="150,150", harmonics=8, step=1, power=0,
                      channel_code=2, start=START, interval=INTERVAL),
    }


@pytest.fixture(autouse=True)
def quiet_library():
    import trova
    trova.configure(log_directory=None, completion_pause_ms=0)
