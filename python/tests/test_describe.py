"""describe() against the writer's account, and as a pure query; the raw exports."""
import ctypes

import numpy as np
import pytest

import trova
from conftest import INTERVAL, START, harmonic_value
from trova import raw


@pytest.mark.parametrize("kind, variant", [("trend", "trend"), ("flat", "harmonic"),
                                           ("ramp", "harmonic")])
def test_describe_matches_the_writer(recordings, kind, variant):
    account = recordings[kind]
    rec = trova.describe(account["first"])
    assert (rec.variant, rec.total_records) == (variant, account["total_records"])
    assert [(f.path, f.records, f.first_seconds, f.last_seconds, f.header_size, f.record_size)
            for f in rec.files] == [
        (f["path"], f["records"], f["first_time"], f["last_time"], f["header_size"],
         f["record_size"]) for f in account["files"]]
    keys = account["keys"]
    if variant == "trend":
        assert (rec.channel_count, rec.stat_count, rec.scalar_count,
                rec.phase_quantity_count) == (3, 3, 2, 4)
    else:
        phases = {2: 1, 6: 3}[keys.get("channel_code", 6)]
        assert (rec.phase_count, rec.harmonic_count, rec.power_block) == (
            phases, keys["harmonics"], keys.get("power", 1) == 1)
    assert rec.to_pandas()["records"].sum() == account["total_records"]


def test_describe_counts_the_window(recordings):
    rec = trova.describe(recordings["trend"]["first"], start=START + 30 * INTERVAL,
                         stop=START + 89 * INTERVAL)
    # 59 records from record 30 up to the stop record 89; the trend series readers read it too
    assert (rec.window_records, rec.window_samples) == (59, 60)
    assert rec.window["start_file"] == 0 and rec.window["stop_record"] == 29


def test_describe_leaves_the_readers_cache_alone(recordings, tmp_path):
    path = recordings["trend"]["first"]
    log = tmp_path / "TrovaDLL.LOG"
    trova.configure(log_directory=tmp_path)
    trova.trend(path, progress=False)  # builds the readers' table of this recording

    def logged_call():
        size = log.stat().st_size
        result = trova.trend(path, progress=False)
        return result, log.read_bytes()[size:]

    first, first_log = logged_call()
    trova.describe(recordings["flat"]["first"])  # another recording
    trova.describe(path, start=START, stop=START + 100)
    second, second_log = logged_call()
    assert b"GetFileInformation" not in second_log and second_log == first_log
    np.testing.assert_array_equal(first.mean, second.mean)
    trova.configure(log_directory=None)
    size = log.stat().st_size
    trova.trend(path, progress=False)
    assert log.stat().st_size == size  # the log is off again


def test_raw_export_takes_exactly_its_c_arguments(recordings):
    assert len(raw.SIGNATURES) == 13 and len(raw.SIGNATURES["Reader_FFT_Table2"]) == 18
    table = np.zeros(1500, np.float32)
    a, b = np.zeros(3, np.float32), np.zeros(3, np.float32)
    status, count, flagged, total = (ctypes.c_int32() for _ in range(4))
    floats = ctypes.POINTER(ctypes.c_float)
    returned = raw.Reader_FFT_Table2(
        1, 1, -1.0, -1.0, b"", recordings["flat"]["first"].encode(), b"", 0,
        table.ctypes.data_as(floats), a.ctypes.data_as(floats), b.ctypes.data_as(floats), 0.5, 0,
        ctypes.byref(status), ctypes.byref(count), 0, ctypes.byref(flagged), ctypes.byref(total))
    assert (returned, status.value, count.value, flagged.value, total.value) == (1, 0, 12, 24, 120)
    np.testing.assert_array_equal(table[500:512], harmonic_value(0, 2, 0, 1, np.arange(12)))
