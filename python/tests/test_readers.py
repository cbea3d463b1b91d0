"""Every reader family against what the recordings were made of."""
import datetime

import numpy as np
import pytest

import trova
from conftest import INTERVAL, START, harmonic_value, trend_value

RECORDS, ROWS = np.arange(180), np.arange(3)[:, None]  # records; channels or phases


def record_time(r):
    return np.datetime64("1904-01-01T00:00:00") + np.timedelta64(int(START + r * INTERVAL), "s")


def test_trend_groups_min_max_mean_and_times(recordings):
    result = trova.trend(recordings["trend"]["first"], quantity=3, block=1, points=60)
    groups = np.arange(60) * 3
    assert (result.status, result.interleave_factor, result.min.shape) == (0, 3, (3, 60))
    np.testing.assert_array_equal(result.min, trend_value(groups, 1, 3, ROWS))
    np.testing.assert_array_equal(result.max, trend_value(groups + 2, 1, 3, ROWS))
    np.testing.assert_array_equal(result.mean, trend_value(groups + 1, 1, 3, ROWS))
    np.testing.assert_array_equal(result.times, [record_time(g + 2) for g in groups])
    flagged = [any(r % 4 == 0 for r in range(g, g + 3)) for g in groups]  # every 4th flagged
    np.testing.assert_array_equal(result.flags, flagged)


@pytest.mark.parametrize("read, quantity, block, channels, factor", [
    (trova.trend, 0, 0, 1, 1),  # a scalar quantity: one row
    (trova.decimated_trend, 5, 2, 3, 0),  # a short series passes through
])
def test_arrays_sized_by_the_quantity(recordings, read, quantity, block, channels, factor):
    result = read(recordings["trend"]["first"], quantity=quantity, block=block, points=500)
    values = result.mean if read is trova.trend else result.values
    assert (values.shape, result.interleave_factor) == ((channels, 180), factor)
    np.testing.assert_array_equal(values, trend_value(RECORDS, block, quantity, ROWS[:channels]))


@pytest.mark.parametrize("value_range", [None, "fixed"])
def test_histogram_passes_flagged_and_its_range(recordings, value_range):
    low = trend_value(1, 2, 2, 0)
    result = trova.histogram(recordings["trend"]["first"], quantity=2, block=2, flagged=False,
                             value_range=(low, low + 98) if value_range else None)
    np.testing.assert_array_equal(result.counts.sum(axis=1), 135)  # every 4th record flagged
    assert (result.flagged_records, result.total_records) == (45, 180)
    if value_range:  # 98 bins of 1 from low, one below and one above for the outliers
        assert (result.width[0], result.start[0], result.range_points[0]) == (1.0, low - 1, 75)
    else:
        np.testing.assert_array_equal(result.start, trend_value(1, 2, 2, np.arange(3)))


# Harmonic readers: the package passes the quantity, position, value set and
# reader and sizes the arrays from the recording ("flat": 120 records, three
# phases, 12 positions); the codes are pinned by the library's own suites.
@pytest.mark.parametrize("call, got, expected, shape", [
    (lambda p: trova.harmonic_trend(p, quantity=10, harmonic=3, reader="decimated"),
     lambda r: r.values, harmonic_value(0, 5, 2, ROWS, 3), (3, 120)),  # stored apparent power
    (lambda p: trova.harmonic_trend(p, quantity=6, harmonic=3, value_set=1),
     lambda r: r.mean, harmonic_value(0, 2, 1, ROWS, 3), (3, 120)),  # voltage of value set 1
    (lambda p: trova.spectrum_trend(p, quantity=1, reader="angles"),
     lambda r: r.statistics["mean"],
     harmonic_value(0, 2, 0, ROWS[:, :, None], np.arange(12)[:, None]), (3, 12, 60)),
    (lambda p: trova.harmonic_histogram(p, quantity=3, harmonic=5, flagged=False),
     lambda r: np.stack([r.start, r.counts[:, 0]], 1),  # every 5th record flagged
     np.hstack([harmonic_value(0, 3, 0, ROWS, 5), np.full((3, 1), 96)]), (3, 2)),
])
def test_harmonic_readers_pass_their_arguments(recordings, call, got, expected, shape):
    result = call(recordings["flat"]["first"])
    assert result.status == 0
    np.testing.assert_array_equal(got(result), np.broadcast_to(expected, shape))


def test_spectrum_statistics_of_a_ramp(recordings):
    # 300 records in 100 points: the least, mean and largest of each three.
    statistics = trova.spectrum_trend(recordings["ramp"]["first"], quantity=1).statistics
    groups = 3 * np.arange(100)
    for offset, name in enumerate(("min", "mean", "max")):
        np.testing.assert_array_equal(statistics[name][0, 2], harmonic_value(groups + offset, 2, 0, 0, 2, step=1.0))


def test_harmonic_table_passes_the_percentile(recordings):
    result = trova.harmonic_table(recordings["ramp"]["first"], quantity=2, percentile=0.1)
    values = harmonic_value(np.arange(300), 3, 0, 0, 4, step=1.0)
    assert result.table.shape == (1, 8)
    assert abs(result.table[0, 4] - np.quantile(values, 0.1)) <= 2 * np.ptp(values) / 100


@pytest.mark.parametrize("bound", [
    lambda s: s, lambda s: datetime.datetime(1904, 1, 1) + datetime.timedelta(seconds=s),
    lambda s: np.datetime64("1904-01-01") + np.timedelta64(int(s), "s"),
    lambda s: str(np.datetime64("1904-01-01") + np.timedelta64(int(s), "s"))])
def test_window_bounds_in_every_form(recordings, bound):
    path = recordings["trend"]["first"]
    result = trova.trend(path, quantity=2, block=2, points=500,
                         start=bound(START + 30 * INTERVAL), stop=bound(START + 89 * INTERVAL))
    np.testing.assert_array_equal(result.times, [record_time(r) for r in range(30, 90)])
    np.testing.assert_array_equal(result.mean[0], trend_value(np.arange(30, 90), 2, 2, 0))


def test_read_by_name_reaches_all_thirteen_readers(recordings):
    seen = set()
    for export in trova.READERS:
        kind = "trend" if export in ("Reader_XT", "Reader_XT2", "Reader_HIST") else "flat"
        result = trova.read(export, recordings[kind]["first"])
        seen.add(result.reader)
        assert result.status == 0 and {"statistic", "value"} <= set(result.to_long().columns)
    assert seen == set(trova.READERS) and len(seen) == 13


def test_conversions_keep_the_shape_of_the_data(recordings):
    trend, flat = recordings["trend"]["first"], recordings["flat"]["first"]
    frame = trova.trend(trend, points=60).to_pandas()
    assert frame.shape == (60, 3 * 3 + 1) and str(frame.index.dtype) == "datetime64[ns]"
    assert list(frame["mean"].columns) == [0, 1, 2]
    spectrum = trova.spectrum_trend(flat, quantity=1).to_xarray()
    assert dict(spectrum["mean"].sizes) == {"phase": 3, "harmonic": 12, "time": 60}
    table = trova.harmonic_table(flat)
    assert table.to_pandas().shape == (12, 3)
    assert dict(table.to_xarray()["table"].sizes) == {"phase": 3, "harmonic": 12}
    long = table.to_long()
    assert len(long) == 3 * 12 + 2 * 3 and long["harmonic"].isna().sum() == 6
    histogram = trova.histogram(trend).to_long()
    assert len(histogram) == 300 and histogram["value"].sum() == 3 * 180


def test_recording_replaced_under_the_same_path_is_read_as_it_is_now(tmp_path):
    # The library caches a recording's files by path; the package sizes its
    # arrays from the files as they are, so the reader must read them so too.
    from conftest import write
    live = tmp_path / "live"
    for harmonics in (50, 12):
        for old in live.glob("*") if live.exists() else ():
            old.unlink()
        first = write(live, "harmonic", files="30,30", harmonics=harmonics, step=0)["first"]
        result = trova.spectrum_trend(first, quantity=1)
        assert result.statistics["mean"].shape[1] == harmonics
        np.testing.assert_array_equal(result.statistics["mean"][0, :, 0],
                                      harmonic_value(0, 2, 0, 0, np.arange(harmonics)))
