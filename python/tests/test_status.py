"""Completion codes become exceptions and warnings; bad arguments never reach the library."""
import os

import pytest

import trova


# The rows are those of what was read instead (the values are pinned by the
# library's own suites).
@pytest.mark.parametrize("kind, call, status, argument, rows", [
    ("trend", lambda p: trova.trend(p, quantity=2, block=5), 2, "block", 3),
    ("ramp", lambda p: trova.harmonic_trend(p, quantity=9, reader="powers"), 5, "quantity", 1),
    ("flat", lambda p: trova.harmonic_trend(p, quantity=8, value_set=1, reader="powers"), 2,
     "value_set", 3),
    ("flat", lambda p: trova.harmonic_table(p, quantity=11), 4, "quantity", 3),
])
def test_corrected_arguments_warn_and_say_what_was_read(recordings, kind, call, status,
                                                        argument, rows):
    with pytest.warns(trova.CorrectedArgumentWarning) as caught:
        result = call(recordings[kind]["first"])
    warning = caught[0].message
    assert (warning.status, warning.argument, result.status) == (status, argument, status)
    assert f"{argument}=" in str(warning) and "instead" in str(warning)
    assert not result.cancelled
    assert len(result.table if hasattr(result, "table") else result.mean) == rows


def test_no_recording_raises_naming_the_search(tmp_path, recordings):
    missing = tmp_path / "nothing.001.dat"
    with pytest.raises(trova.RecordingNotFoundError) as caught:
        trova.trend(missing)
    error = caught.value
    assert isinstance(error, FileNotFoundError) and isinstance(error, trova.TrovaError)
    assert error.pattern == str(tmp_path / "nothing.*.dat") and error.matched == 0
    assert str(missing) in str(error) and "0 file(s) matched" in str(error)
    # A member that does not exist (the reader's status 3), a recording of the other variant.
    directory = os.path.dirname(recordings["trend"]["first"])
    with pytest.raises(trova.RecordingNotFoundError, match="Reader_XT could not open") as caught:
        trova.trend(os.path.join(directory, "meas.999.dat"))
    assert caught.value.matched == 3  # a recording of the other variant: test_fleet


@pytest.mark.parametrize("call, error, names", [
    (lambda p: trova.trend(p, points=0), ValueError, "points"),
    (lambda p: trova.trend(p, quantity="2"), TypeError, "quantity"),
    (lambda p: trova.trend(p, ext_ref=-0.5), ValueError, "ext_ref"),
    (lambda p: trova.trend(p, start="yesterday"), ValueError, "start"),
    (lambda p: trova.trend(p, stop=[1]), TypeError, "stop"),
    (lambda p: trova.trend(42), TypeError, "path"),
    (lambda p: trova.histogram(p, value_range=(5, 1)), ValueError, "value_range"),
    (lambda p: trova.harmonic_table(p, percentile=95), ValueError, "percentile"),
    (lambda p: trova.harmonic_table(p, reader="angles", flagged=False), ValueError, "flagged"),
    (lambda p: trova.harmonic_trend(p, harmonic=12), ValueError, "harmonic"),
    (lambda p: trova.harmonic_trend(p, quantity=0), ValueError, "quantity"),
    (lambda p: trova.harmonic_trend(p, value_set=2), ValueError, "value_set"),
    (lambda p: trova.spectrum_trend(p, reader="fast"), ValueError, "reader"),
    (lambda p: trova.read("Reader_Nothing", p), ValueError, "unknown reader"),
])
def test_bad_arguments_raise_naming_the_argument(recordings, call, error, names):
    harmonic = any(n.startswith(("harmonic", "spectrum")) for n in call.__code__.co_names)
    with pytest.raises(error, match=names):
        call(recordings["flat" if harmonic else "trend"]["first"])
