"""Progress, cancel through the callback, Ctrl-C, and the library staying usable."""
import signal
import threading

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


def test_callback_returning_false_cancels(recordings):
    # The reader sees the cancel after the file it is reading, and the
    # callback runs beside it: on a busy machine the reader may finish
    # first, so a few attempts are allowed. Every attempt must be consistent.
    path = recordings["long"]["first"]
    full = trova.trend(path, quantity=0, block=0, points=800, progress=False)
    outcomes = []
    for _ in range(6):
        result = trova.trend(path, quantity=0, block=0, points=800, progress=lambda p: False)
        outcomes.append(result.cancelled)
        assert result.status == (1 if result.cancelled else 0)
        np.testing.assert_array_equal(result.mean, full.mean[:, :result.points])
        if result.cancelled and result.points < full.points:
            break
    assert outcomes[-1] and result.points < full.points, outcomes
    assert_same(trova.trend(path, quantity=0, block=0, points=800, progress=False), full)


def test_callback_raising_cancels_and_the_error_reaches_the_caller(recordings):
    path = recordings["trend"]["first"]
    before = full_trend(path)
    with pytest.raises(ZeroDivisionError):
        trova.trend(path, quantity=2, block=2, points=500, progress=lambda percent: 1 / 0)
    assert_same(full_trend(path), before)


def test_ctrl_c_cancels_then_raises_keyboard_interrupt(recordings):
    # Repeated: the reader must have stopped before KeyboardInterrupt is
    # raised, or the next call would run beside it.
    path = recordings["trend"]["first"]
    before = full_trend(path)
    main = threading.main_thread().ident
    for _ in range(10):
        with pytest.raises(KeyboardInterrupt):
            trova.trend(path, progress=lambda percent: signal.pthread_kill(main, signal.SIGINT))
        assert_same(full_trend(path), before)


def test_a_reader_inside_the_callback_is_refused(recordings):
    path = recordings["trend"]["first"]
    with pytest.raises(trova.ReaderBusyError, match="inside a progress callback"):
        trova.trend(path, progress=lambda percent: trova.trend(path, progress=False))
    assert full_trend(path).status == 0
