"""Progress, cancel through the callback, Ctrl-C, and the library staying usable."""
import _thread

import numpy as np
import pytest

import trova


def full_trend(path):
    return trova.trend(path, quantity=2, block=2, points=500, progress=False)


def assert_same(a, b):
    np.testing.assert_array_equal(a.mean, b.mean)
    np.testing.assert_array_equal(a.seconds, b.seconds)


def test_progress_callback_sees_the_call_rise_to_100(recordings):
    seen = []
    result = trova.trend(recordings["trend"]["first"], progress=seen.append)
    assert result.status == 0 and seen == sorted(seen) and 0 < seen[0] and seen[-1] <= 100
    assert len(seen) >= 2  # three files: at least one message per file but the last


def test_callback_returning_false_cancels_at_the_next_file(recordings):
    path = recordings["trend"]["first"]
    before = full_trend(path)
    result = trova.trend(path, quantity=2, block=2, points=500, progress=lambda percent: False)
    assert result.cancelled and result.status == 1
    # The first file's progress message comes after its cancel poll, so the
    # reader stops after the second of the three files.
    assert result.points == 120
    np.testing.assert_array_equal(result.mean, before.mean[:, :120])
    assert_same(full_trend(path), before)


def test_callback_raising_cancels_and_the_error_reaches_the_caller(recordings):
    path = recordings["trend"]["first"]
    before = full_trend(path)
    with pytest.raises(ZeroDivisionError):
        trova.trend(path, quantity=2, block=2, points=500, progress=lambda percent: 1 / 0)
    assert_same(full_trend(path), before)


def test_ctrl_c_cancels_then_raises_keyboard_interrupt(recordings):
    path = recordings["trend"]["first"]
    before = full_trend(path)
    with pytest.raises(KeyboardInterrupt):
        trova.trend(path, progress=lambda percent: _thread.interrupt_main())
    assert_same(full_trend(path), before)


def test_a_reader_inside_the_callback_is_refused(recordings):
    path = recordings["trend"]["first"]
    with pytest.raises(trova.ReaderBusyError, match="inside a progress callback"):
        trova.trend(path, progress=lambda percent: trova.trend(path, progress=False))
    assert full_trend(path).status == 0
