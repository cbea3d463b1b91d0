"""describe() against the writer's account, and as a pure query; the raw exports."""
import numpy as np
import pytest

import trova
from conftest import INTERVAL, START
from trova import raw


@pytest.mark.parametrize("kind, variant, geometry", [
    ("trend", "trend", dict(channel_count=3, stat_count=3, scalar_count=2,
                            phase_quantity_count=4)),
    ("flat", "harmonic", dict(phase_count=3, harmonic_count=12, power_block=True)),
    ("ramp", "harmonic", dict(phase_count=1, harmonic_count=8, power_block=False)),
])
def test_describe_matches_the_writer(recordings, kind, variant, geometry):
    account = recordings[kind]
    rec = trova.describe(account["first"])
    assert (rec.variant, rec.total_records) == (variant, account["total_records"])
    assert {name: getattr(rec, name) for name in geometry} == geometry
    assert [(f.path, f.records, f.first_seconds, f.last_seconds, f.header_size, f.record_size)
            for f in rec.files] == [
        (f["path"], f["records"], f["first_time"], f["last_time"], f["header_size"],
         f["record_size"]) for f in account["files"]]
    assert rec.to_pandas()["records"].sum() == account["total_records"]


def test_describe_counts_the_window_and_leaves_the_readers_cache_alone(recordings, tmp_path):
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
    rec = trova.describe(path, start=START + 30 * INTERVAL, stop=START + 89 * INTERVAL)
    # 59 records from record 30 up to the stop record 89; the trend series readers read it too
    assert (rec.window_records, rec.window_samples) == (59, 60)
    assert rec.window["start_file"] == 0 and rec.window["stop_record"] == 29
    second, second_log = logged_call()
    assert b"GetFileInformation" not in second_log and second_log == first_log
    np.testing.assert_array_equal(first.mean, second.mean)
    trova.configure(log_directory=None)
    size = log.stat().st_size
    trova.trend(path, progress=False)
    assert log.stat().st_size == size  # the log is off again


def test_raw_gives_the_readers_own_exports_with_their_c_arguments():
    # The package's readers call these very functions: their prototypes are tested there.
    assert len(raw.SIGNATURES) == 13 and len(raw.SIGNATURES["Reader_FFT_Table2"]) == 18
    assert all(getattr(raw, name) is getattr(trova._library.library(), name)
               for name in raw.EXPORTS) and len(raw.EXPORTS) == 19
