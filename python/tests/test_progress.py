"""Progress, cancel through the callback, Ctrl-C, and the library staying usable."""
import signal
import threading

import numpy as np
import pytest

import trova


# Three files of equal length: 33 % each; the histogram reads them twice.
@pytest.mark.parametrize("read, step", [(trova.trend, 33.0), (trova.histogram, 16.5)])
def test_progress_callback_sees_the_percent_done(recordings, read, step):
    seen = []
    assert read(recordings["trend"]["first"], progress=seen.append).status == 0
    assert seen == [step * k for k in range(1, len(seen) + 1)] and seen[-1] == 99.0


def test_callback_returning_false_cancels(recordings):
    # The reader sees the cancel after the file it is reading, and the
    # callback runs beside it: on a busy machine the reader may finish
    # first, so a few attempts are allowed. Every attempt must be consistent.
    path = recordings["long"]["first"]
    full = trova.trend(path, quantity=0, block=0, points=800, progress=False)
    for _ in range(6):
        result = trova.trend(path, quantity=0, block=0, points=800, progress=lambda p: False)
        assert result.status == (1 if result.cancelled else 0)
        np.testing.assert_array_equal(result.mean, full.mean[:, :result.points])
        if result.cancelled and result.points < full.points:
            break
    assert result.cancelled and result.points < full.points


main = threading.main_thread().ident


# A callback that raises, calls a reader or sends Ctrl-C: the call stops, the
# error reaches the caller, and the next call gets the whole result. Ctrl-C
# is repeated: the reader must have stopped before KeyboardInterrupt is
# raised, or the next call would run beside it.
@pytest.mark.parametrize("callback, error, says, repeat", [
    (lambda path: lambda percent: 1 / 0, ZeroDivisionError, "division", 1),
    (lambda path: lambda percent: trova.trend(path, progress=False), trova.ReaderBusyError,
     "inside a progress callback", 1),
    (lambda path: lambda percent: signal.pthread_kill(main, signal.SIGINT), KeyboardInterrupt,
     "", 10),
])
def test_a_failing_callback_stops_the_call_and_leaves_the_library_usable(recordings, callback,
                                                                         error, says, repeat):
    path = recordings["trend"]["first"]
    before = trova.trend(path, points=500, progress=False)
    for _ in range(repeat):
        with pytest.raises(error, match=says):
            trova.trend(path, points=500, progress=callback(path))
        after = trova.trend(path, points=500, progress=False)
        np.testing.assert_array_equal(after.mean, before.mean)
        np.testing.assert_array_equal(after.seconds, before.seconds)
