"""trova.fleet on a tree of generated recordings, with a local cluster of
worker processes: rows equal direct calls, failures are rows, the number of
workers changes nothing."""
import csv
import os
import subprocess
import sys

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


def test_rows_equal_direct_calls_whatever_the_number_of_workers(tree):
    found = fleet.find_recordings(tree)
    arguments = dict(percentile=0.95, quantity=2, flagged=False)
    runs = {workers: fleet.run("harmonic_table", found, workers=workers, progress=False,
                               **arguments) for workers in (1, 2)}
    one, two = runs[1], runs[2]
    assert one.frame.equals(two.frame)
    summary = two.summary.set_index("stem")
    assert summary.loc["volts", "status"] == 3
    assert "RecordingNotFoundError" in summary.loc["volts", "error"]
    assert [r["stem"] for r in two.failed] == ["volts"]
    frame = two.frame
    for recording in found:
        if recording.stem == "volts":
            continue
        direct = trova.harmonic_table(recording.path, progress=False, **arguments).to_long()
        rows = frame[frame["path"] == recording.path].reset_index(drop=True)
        assert (rows["status"] == 0).all()
        pd.testing.assert_frame_equal(rows[direct.columns], direct, check_dtype=False)


def test_command_line_writes_csv_and_json_lines(tree, tmp_path):
    env = dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path))
    outputs = {}
    for name in ("table.csv", "table.jsonl"):
        out = tmp_path / name
        done = subprocess.run([sys.executable, "-m", "trova", "fleet", str(tree), "--workers",
                               "2", "-o", str(out), "harmonic-table", "--percentile", "0.95",
                               "--flagged", "0"], env=env, capture_output=True, text=True,
                              timeout=120)
        assert done.returncode == 0, done.stderr
        assert "slowest:" in done.stderr and "failed:" in done.stderr and "volts" in done.stderr
        outputs[name] = out
    with open(outputs["table.csv"], newline="") as handle:
        rows = list(csv.DictReader(handle))
    import json
    lines = [json.loads(line) for line in outputs["table.jsonl"].read_text().splitlines()]
    assert len(rows) == len(lines) > 0
    expected = fleet.run("harmonic_table", tree, workers=1, progress=False, percentile=0.95,
                         flagged=0).frame
    assert len(rows) == len(expected)
    feeder = [r for r in rows if r["stem"] == "feeder2" and r["statistic"] == "percentile"]
    assert [float(r["value"]) for r in feeder] == list(
        expected[(expected["stem"] == "feeder2") & (expected["statistic"] == "percentile")]
        ["value"].astype(float))
