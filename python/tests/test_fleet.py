"""trova.fleet on a tree of generated recordings, with a local cluster of
worker processes: rows equal direct calls, failures are rows, the number of
workers changes nothing (two in Python, one from the command line)."""
import csv
import json
import os
import subprocess
import sys

import numpy as np
import pandas as pd
import pytest

import trova
from conftest import write
from trova import fleet


@pytest.fixture(scope="module")
def tree(tmp_path_factory):
    root = tmp_path_factory.mktemp("fleet")
    site_a, site_b = root / "site-a", root / "site-b" / "deeper"
    site_b.mkdir(parents=True)
    site_a.mkdir()
    write(site_a, "harmonic", files="12,8", stem="feeder1", base=2, step=0.5)
    write(site_a, "harmonic", files="6", stem="feeder2", harmonics=9, channel_code=2)
    write(site_b, "harmonic", files="5,5,5", stem="feeder3", base=7)
    write(site_b, "trend", files="10", stem="volts")        # no harmonics: a failed row
    (site_b / "feeder3.dat").write_bytes(b"decoy: no middle part")
    (site_b / "feeder3.004.dat").write_bytes(b"")                     # an empty member
    (site_a / "broken.001.dat").write_bytes(b"\x00\x07not a recording")
    (site_a / "notes").write_text("no extension")
    return root


def test_find_recordings_groups_members_and_says_why_files_are_skipped(tree):
    found = fleet.find_recordings(tree)
    by_stem = {r.stem: r for r in found}
    assert sorted(by_stem) == ["feeder1", "feeder2", "feeder3", "volts"]
    assert [len(by_stem[s].members) for s in ("feeder1", "feeder2", "feeder3")] == [2, 1, 3]
    assert by_stem["volts"].recording.variant == "trend"
    reasons = {os.path.basename(s.path): s.reason for s in found.skipped}
    assert set(reasons) == {"feeder3.dat", "feeder3.004.dat", "broken.001.dat", "notes"}
    assert "not a member of feeder3.*.dat" in reasons["feeder3.dat"]
    assert "not usable as a harmonic file" in reasons["feeder3.004.dat"]
    assert "looked for" in reasons["broken.001.dat"]


ARGUMENTS = dict(percentile=0.95, quantity=2, flagged=False)


@pytest.fixture(scope="module")
def table_run(tree):
    return fleet.run("harmonic_table", tree, workers=2, progress=False, **ARGUMENTS)


def test_rows_equal_direct_calls_and_failures_are_rows(tree, table_run):
    summary = table_run.summary.set_index("stem")
    assert summary.loc["volts", "status"] == 3
    error = summary.loc["volts", "error"]
    assert error.startswith("RecordingNotFoundError: ") and "no usable harmonic rec" in error
    assert [r["stem"] for r in table_run.failed] == ["volts"]
    frame = table_run.frame
    for recording in fleet.find_recordings(tree):
        if recording.stem != "volts":
            direct = trova.harmonic_table(recording.path, progress=False, **ARGUMENTS).to_long()
            rows = frame[frame["path"] == recording.path].reset_index(drop=True)
            assert (rows["status"] == 0).all()
            pd.testing.assert_frame_equal(rows[direct.columns], direct, check_dtype=False)


def test_command_line_with_one_worker_writes_the_same_rows_as_csv_and_json_lines(tree, tmp_path,
                                                                                 table_run):
    def values(rows):  # every row's recording, statistic and value, in order ("": none)
        return [(r["path"], r["statistic"] or None, None if r["value"] in ("", None) else
                 np.float32(r["value"])) for r in rows]

    expected = values(table_run.frame.astype(object).where(table_run.frame.notna(), None)
                      .to_dict("records"))
    env = dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path))
    for name, load in (("t.csv", csv.DictReader), ("t.jsonl", lambda f: map(json.loads, f))):
        out = tmp_path / name
        done = subprocess.run([sys.executable, "-m", "trova", "fleet", str(tree), "--workers",
                               "1", "-o", str(out), "harmonic-table", "--percentile", "0.95",
                               "--quantity", "2", "--flagged", "0"], env=env,
                              capture_output=True, text=True, timeout=120)
        assert done.returncode == 0, done.stderr
        assert "slowest:" in done.stderr and "failed:" in done.stderr and "volts" in done.stderr
        with open(out, newline="") as handle:
            assert values(load(handle)) == expected, name
