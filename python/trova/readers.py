"""The thirteen readers as Python functions, one per reader family.

Every function takes the path of any one file of a recording and keyword
arguments; arrays are sized from :func:`trova.describe`. Quantity codes and
window rules are those of the readers (docs/python.md lists the codes).
Shared keywords: ``start``/``stop`` (None, seconds since 1904, datetime,
datetime64 or ISO string), ``progress`` (None: a bar when stderr is a
terminal; False; True; or a callable taking the percent done, returning
False to cancel).

For programs that pick readers by name, :func:`read` calls any reader by
its family or export name, and :data:`READERS` maps each export to its
family function and ``reader=`` choice.
"""
from __future__ import annotations

import math
import numbers
import warnings
from ctypes import POINTER, byref, c_double, c_float, c_int, c_int32
from dataclasses import dataclass

import numpy as np

from . import _call, _library
from ._times import to_seconds
from .recording import encode_path, table
from .results import CurveResult, HistogramResult, SpectrumTrendResult, TableResult, TrendResult
from .status import (BAD_MINMAX, BAD_QUANTITY, BUSY, CANCELLED, NO_FILES, NO_POWER_BLOCK,
                     CorrectedArgumentWarning, ReaderBusyError, RecordingNotFoundError)

LABEL = b"trova"
BUTTON = b"Cancel"
SPECTRUM_POINTS = 100   # the all-harmonics readers' fixed point count
TABLE_SEGMENT = 500     # entries per phase of a percentile table
BINS = 100


# ---- argument checks (before anything reaches the library) -------------------

def _int(name, value, low=-2**31, high=2**31 - 1):
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name} must be an int, not {type(value).__name__}")
    value = int(value)
    if not low <= value <= high:
        raise ValueError(f"{name} must be between {low} and {high}, not {value}")
    return value


def _flag(name, value):
    if not isinstance(value, (bool, np.bool_, numbers.Integral)):
        raise TypeError(f"{name} must be a bool, not {type(value).__name__}")
    return 1 if value else 0


def _ext_ref(value):
    if value is None:
        return 0.0
    if isinstance(value, str) and value == "reference":
        return -1.0
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"ext_ref must be None, 'reference' or a number, not {value!r}")
    if not (value > 0 and math.isfinite(value)):
        raise ValueError(f"ext_ref must be None, 'reference' or a positive number, not {value!r}")
    return float(value)


def _value_range(value_range):
    """(HMinMax, HMin, HMax); None ends of a range are the values found (NaN)."""
    if value_range is None:
        return 0, 0.0, 0.0
    try:
        low, high = value_range
    except (TypeError, ValueError):
        raise TypeError("value_range must be None or a pair (low, high)") from None
    ends = []
    for name, end in (("low", low), ("high", high)):
        if end is None:
            ends.append(math.nan)
        elif isinstance(end, numbers.Real) and not isinstance(end, bool):
            ends.append(float(end))
        else:
            raise TypeError(f"value_range {name} end must be a number or None, not {end!r}")
    if ends[0] > ends[1]:
        raise ValueError(f"value_range must be (low, high) with low <= high, not {value_range!r}")
    return 1, ends[0], ends[1]


def _points(points):
    return _int("points", points, 1, 10_000_000)


def _value_set(value_set):
    value_set = _int("value_set", value_set, 0, 1)
    return 0 if value_set == 1 else 1  # the export's MinMax: 0 selects value set 1


def _position(name, value, recording):
    return _int(name, value, 0, max(recording.harmonic_count - 1, 0))


def _ptr(array, ctype):
    return array.ctypes.data_as(POINTER(ctype))


# ---- one call ----------------------------------------------------------------

_last_read = None  # the description behind the library's cached table


class _Call:
    """The describe, the C call and the status of one reader call."""

    def __init__(self, export, path, start, stop, variant, arguments):
        self.export = export
        self.encoded = encode_path(path)
        self.start, self.stop = to_seconds(start, "start"), to_seconds(stop, "stop")
        self.recording = table(path, variant)
        self.arguments = arguments
        self.function = getattr(_library.library(), export)

    def run(self, arguments, progress, total=100):
        # The arrays are sized from a description of the files as they are
        # now. The library keeps the table of the last recording it read by
        # path alone; unless that was this very description's recording, it
        # may predate a change of the files (or be of the other variant).
        global _last_read
        if self.recording is not _last_read:
            _library.library().TrovaForgetRecording()
        _last_read = self.recording
        result, self.cancel_requested = _call.run(self.function, arguments, progress, total,
                                                  self.export)
        return result

    def finish(self, status, corrections):
        """Raises or warns for `status`; returns the result's common fields."""
        if status == NO_FILES:
            raise RecordingNotFoundError(self.recording.path, f"{self.export} could not open the "
                                         f"path or found no usable file", self.recording.search)
        if status == BUSY:
            raise ReaderBusyError(f"{self.export}: another reader call was running")
        if status in corrections:
            argument, text = corrections[status]
            warnings.warn(CorrectedArgumentWarning(f"{self.export}: {text}", status, argument),
                          stacklevel=4)
        return dict(reader=self.export, path=self.recording.path, status=status,
                    cancelled=status == CANCELLED or (self.cancel_requested and status != 0),
                    arguments=self.arguments, recording=self.recording)


def _times(times, points, count):
    return times[:count] + times[points:points + count]


# ---- trend recordings ----------------------------------------------------------

def _trend_setup(export, path, quantity, block, start, stop, ext_ref, arguments):
    call = _Call(export, path, start, stop, "trend", arguments)
    rec = call.recording
    quantity, block = _int("quantity", quantity), _int("block", block)
    corrections = {
        BAD_MINMAX: ("block", f"block={block} is out of range for this recording (blocks 0 to "
                              f"{rec.stat_count - 1}); block 0 was read instead"),
        BAD_QUANTITY: ("quantity", f"quantity={quantity} is out of range for this recording "
                                   f"(0 to {rec.scalar_count + rec.phase_quantity_count - 1}); "
                                   f"quantity 0 was read instead"),
    }
    return call, quantity, block, _ext_ref(ext_ref), corrections


def _trend_channels(rec, quantity, status):
    read = 0 if status == BAD_QUANTITY else quantity
    return max(rec.channel_count, 1) if read >= rec.scalar_count else 1


def _series_result(common, values, rows, times, points, count, flags, factor, axis):
    """A TrendResult from min/max/mean arrays, a CurveResult from one array."""
    series = dict(seconds=_times(times, points, count), flags=flags[:count],
                  interleave_factor=factor, axis=axis)
    if len(values) == 1:
        return CurveResult(**common, **series, values=values[0, :rows, :count])
    return TrendResult(**common, **series, min=values[0, :rows, :count],
                       max=values[1, :rows, :count], mean=values[2, :rows, :count])


def _trend_series(export, path, quantity, block, points, start, stop, ext_ref, progress):
    args = dict(quantity=quantity, block=block, points=points, start=start, stop=stop,
                ext_ref=ext_ref)
    call, quantity, block, ext, corrections = _trend_setup(export, path, quantity, block,
                                                           start, stop, ext_ref, args)
    n = _points(points)
    channels = max(call.recording.channel_count, 1)
    values = np.zeros((3 if export == "Reader_XT" else 1, channels, n), np.float32)
    times, flags = np.zeros(2 * n), np.zeros(n, np.int32)
    count_in, factor, status = c_int(n), c_int(0), c_int(0)
    count = call.run((quantity, block, call.start, call.stop, ext, LABEL, call.encoded,
                      byref(count_in), *[_ptr(v, c_float) for v in values],
                      _ptr(times, c_double), _ptr(flags, c_int), byref(factor), BUTTON,
                      byref(status)), progress)
    common = call.finish(status.value, corrections)
    return _series_result(common, values, _trend_channels(call.recording, quantity, status.value),
                          times, n, count, flags, factor.value, "channel")


def trend(path, quantity=2, block=2, points=500, start=None, stop=None, ext_ref=None,
          progress=None):
    """Reader_XT: min/max/mean of ``quantity`` in statistic ``block`` per group
    of records, at most ``points`` points per channel. ``ext_ref``: None,
    'reference' (divide by the recording's reference quantity) or a number to
    divide by. Returns a :class:`TrendResult` (channel, point)."""
    return _trend_series("Reader_XT", path, quantity, block, points, start, stop, ext_ref,
                         progress)


def decimated_trend(path, quantity=2, block=2, points=500, start=None, stop=None, ext_ref=None,
                    progress=None):
    """Reader_XT2: ``quantity`` decimated for drawing (every bin's minimum and
    maximum), at most ``points`` values per channel. Returns a
    :class:`CurveResult` (channel, point)."""
    return _trend_series("Reader_XT2", path, quantity, block, points, start, stop, ext_ref,
                         progress)


def histogram(path, quantity=2, block=2, start=None, stop=None, ext_ref=None, value_range=None,
              flagged=True, progress=None):
    """Reader_HIST: 100 bins per channel over the values found, or over
    ``value_range=(low, high)`` (bins 0 and 99 then take the values outside;
    a None end is the value found). ``flagged``: histogram flagged records
    too. Returns a :class:`HistogramResult`."""
    args = dict(quantity=quantity, block=block, start=start, stop=stop, ext_ref=ext_ref,
                value_range=value_range, flagged=flagged)
    call, quantity, block, ext, corrections = _trend_setup("Reader_HIST", path, quantity, block,
                                                           start, stop, ext_ref, args)
    fixed, low, high = _value_range(value_range)
    flagged = _flag("flagged", flagged)
    channels = max(call.recording.channel_count, 1)
    out = _HistogramArrays(channels, _signed_byte(call.recording.channel_code))
    status = c_int32(0)
    call.run((quantity, block, call.start, call.stop, ext, LABEL, call.encoded,
              *out.starts_widths_counts(), BUTTON, byref(status), fixed, low, high,
              *out.range_total(), flagged, *out.records()), progress, total=200)
    common = call.finish(status.value, corrections)
    return out.result(common, _trend_channels(call.recording, quantity, status.value), "channel")


def _signed_byte(code):
    """A header byte widened as the library widens it (0xFFFFFFFF is -1)."""
    return code - 2**32 if code >= 2**31 else code


class _HistogramArrays:
    def __init__(self, channels, reported=0):
        # Reader_HIST writes a start and a width for every channel the header
        # counts (up to 127), though it bins at most five.
        reported = max(channels, reported)
        self.start, self.width = np.zeros(reported), np.zeros(reported)
        self.counts = np.zeros((channels, BINS), np.int32)
        self.range_points = np.zeros(channels, np.int32)
        self.total_points = np.zeros(channels, np.int32)
        self.flagged, self.total = c_int32(0), c_int32(0)
        self.counted = False

    def starts_widths_counts(self):
        return _ptr(self.start, c_double), _ptr(self.width, c_double), _ptr(self.counts, c_int32)

    def range_total(self):
        self.counted = True
        return _ptr(self.range_points, c_int32), _ptr(self.total_points, c_int32)

    def records(self):
        return byref(self.flagged), byref(self.total)

    def result(self, common, channels, axis):
        counted = self.counted
        return HistogramResult(
            **common, counts=self.counts[:channels], start=self.start[:channels],
            width=self.width[:channels],
            range_points=self.range_points[:channels] if counted else None,
            total_points=self.total_points[:channels] if counted else None,
            flagged_records=self.flagged.value if counted else None,
            total_records=self.total.value if counted else None, axis=axis)


# ---- harmonic recordings -------------------------------------------------------

@dataclass(frozen=True)
class _Codes:
    """A harmonic reader's quantity codes, as far as the warnings need them."""
    highest: int
    code1: str                 # what code 1 reads
    exchange: dict             # codes exchanged when value set 1 is asked for
    power: tuple = ()          # codes refused without power block
    scalar_code1: bool = True  # code 1 fills phase 0 only


_SWAP = {6: 2, 7: 3, 2: 6, 3: 7}
_ONE_WAY = {9: 1, 10: 2}
_EXPORTS = {
    "Reader_FFT_XT1": _Codes(13, "the scalar quantity", _SWAP),
    "Reader_FFT_XT2": _Codes(13, "the scalar quantity", _SWAP, tuple(range(8, 14))),
    "Reader_FFT_XT3": _Codes(17, "the scalar quantity", _SWAP, tuple(range(8, 14))),
    "Reader_FFT_ALL_Harmonics_XT1": _Codes(10, "the voltage harmonics", _ONE_WAY, (), False),
    "Reader_FFT_ALL_Harmonics_XT2": _Codes(10, "the voltage harmonics", _ONE_WAY,
                                           tuple(range(3, 9)), False),
    "Reader_FFT_ALL_Harmonics_XT3": _Codes(10, "the voltage harmonics", _ONE_WAY,
                                           tuple(range(3, 9)), False),
    "Reader_FFT_HIST1": _Codes(13, "the scalar quantity", _SWAP),
    "Reader_FFT_HIST2": _Codes(13, "the scalar quantity", _SWAP, tuple(range(8, 14))),
    "Reader_FFT_Table1": _Codes(10, "the voltage harmonics", {9: 1, 10: 2, 1: 9, 2: 10}, (),
                                False),
    "Reader_FFT_Table2": _Codes(10, "the voltage harmonics", _ONE_WAY, tuple(range(3, 9)), False),
}

_FAMILIES = {
    "harmonic_trend": {"angles": "Reader_FFT_XT1", "powers": "Reader_FFT_XT2",
                       "decimated": "Reader_FFT_XT3"},
    "spectrum_trend": {"angles": "Reader_FFT_ALL_Harmonics_XT1",
                       "powers": "Reader_FFT_ALL_Harmonics_XT2",
                       "decimated": "Reader_FFT_ALL_Harmonics_XT3"},
    "harmonic_histogram": {"angles": "Reader_FFT_HIST1", "powers": "Reader_FFT_HIST2"},
    "harmonic_table": {"angles": "Reader_FFT_Table1", "powers": "Reader_FFT_Table2"},
}


def _export(family, reader):
    choices = _FAMILIES[family]
    if reader in choices.values():
        return reader
    if reader not in choices:
        raise ValueError(f"reader must be one of {', '.join(choices)} (or "
                         f"{', '.join(choices.values())}), not {reader!r}")
    return choices[reader]


def _harmonic_setup(family, reader, path, quantity, value_set, start, stop, arguments):
    export = _export(family, reader)
    codes = _EXPORTS[export]
    quantity = _int("quantity", quantity, 1, 2**31 - 1)
    minmax = _value_set(value_set)
    call = _Call(export, path, start, stop, "harmonic", arguments)
    mapped = codes.exchange.get(quantity, quantity) if minmax == 0 else quantity
    corrections = {
        BAD_MINMAX: ("value_set", f"value_set=1 with quantity={quantity} asks for code {mapped}, "
                                  f"which has no value set 1; value set 0 was read instead"),
        BAD_QUANTITY: ("quantity", f"quantity={quantity} is above {codes.highest}; code 1 "
                                   f"({codes.code1}, value set 0) was read instead"),
        NO_POWER_BLOCK: ("quantity", f"quantity={quantity} needs the power block, which this "
                                     f"recording lacks; code 1 ({codes.code1}) was read instead"),
    }
    return call, codes, quantity, minmax, corrections


def _harmonic_phases(call, codes, quantity, status):
    code1 = quantity == 1 or status in (BAD_QUANTITY, NO_POWER_BLOCK)
    return 1 if codes.scalar_code1 and code1 else max(call.recording.phase_count, 1)


def _only(export, allowed, **given):
    for name, value in given.items():
        if value is not None and export not in allowed:
            raise ValueError(f"{name} is not an argument of {export} (only of "
                             f"{' and '.join(sorted(allowed))})")


def harmonic_trend(path, quantity=2, harmonic=0, value_set=0, points=500, start=None, stop=None,
                   first_harmonic=0, join=False, reader="powers", progress=None):
    """The trend of one harmonic quantity at position ``harmonic``.

    ``reader``: "angles" (Reader_FFT_XT1, powers from angles), "powers"
    (Reader_FFT_XT2, stored powers) or "decimated" (Reader_FFT_XT3, stored
    powers, a decimated curve, codes 14 to 17 for THD). ``value_set`` 0 or 1
    (the export's MinMax is 1 or 0). Returns a :class:`TrendResult`
    (phase, point), or a :class:`CurveResult` for "decimated"."""
    args = dict(quantity=quantity, harmonic=harmonic, value_set=value_set, points=points,
                start=start, stop=stop, first_harmonic=first_harmonic, join=join, reader=reader)
    call, codes, quantity, minmax, corrections = _harmonic_setup(
        "harmonic_trend", reader, path, quantity, value_set, start, stop, args)
    n = _points(points)
    harmonic = _position("harmonic", harmonic, call.recording)
    first = _position("first_harmonic", first_harmonic, call.recording)
    join = _flag("join", join)
    phases = max(call.recording.phase_count, 1)
    decimated = call.export == "Reader_FFT_XT3"
    values = np.zeros((1 if decimated else 3, phases, n), np.float32)
    times, flags = np.zeros(2 * n), np.zeros(n, np.int32)
    count_in, factor, status = c_int32(n), c_int32(0), c_int32(0)
    outputs = [_ptr(v, c_float) for v in values]
    arguments = (quantity, minmax, call.start, call.stop, LABEL, call.encoded, byref(count_in),
                 *outputs, _ptr(times, c_double), _ptr(flags, c_int32), harmonic, byref(factor),
                 BUTTON, first, join, byref(status))
    returned = call.run(arguments, progress)
    # Reader_FFT_XT1 returns the index of its last point, the others the count.
    count = max(returned + 1, 0) if call.export == "Reader_FFT_XT1" else returned
    common = call.finish(status.value, corrections)
    return _series_result(common, values, _harmonic_phases(call, codes, quantity, status.value),
                          times, n, count, flags, factor.value, "phase")


def spectrum_trend(path, quantity=1, value_set=0, start=None, stop=None, first_harmonic=0,
                   join=False, reader="powers", progress=None):
    """The trend of a whole spectrum: every phase and harmonic position, at
    most 100 points. ``reader`` as for :func:`harmonic_trend` (all-harmonics
    readers). Returns a :class:`SpectrumTrendResult` (phase, harmonic, point)."""
    args = dict(quantity=quantity, value_set=value_set, start=start, stop=stop,
                first_harmonic=first_harmonic, join=join, reader=reader)
    call, codes, quantity, minmax, corrections = _harmonic_setup(
        "spectrum_trend", reader, path, quantity, value_set, start, stop, args)
    first = _position("first_harmonic", first_harmonic, call.recording)
    join = _flag("join", join)
    decimated = call.export == "Reader_FFT_ALL_Harmonics_XT3"
    stats = ("value",) if decimated else ("min", "max", "mean")
    rows = max(call.recording.max_harmonic_count, 1)
    values = np.zeros((4, len(stats), rows, SPECTRUM_POINTS), np.float32)
    times, flags = np.zeros(2 * SPECTRUM_POINTS), np.zeros(SPECTRUM_POINTS, np.int32)
    factor, status, harm_count = c_int32(0), c_int32(0), c_int32(0)
    outputs = [_ptr(values[p, s], c_float) for p in range(4) for s in range(len(stats))]
    returned = call.run((quantity, minmax, call.start, call.stop, LABEL, call.encoded, *outputs,
                         _ptr(times, c_double), _ptr(flags, c_int32), byref(factor), BUTTON,
                         first, join, byref(status), byref(harm_count)), progress)
    count = (max(returned + 1, 0) if call.export == "Reader_FFT_ALL_Harmonics_XT1"
             else returned)
    common = call.finish(status.value, corrections)
    phases, h = max(call.recording.phase_count, 1), min(harm_count.value, rows)
    return SpectrumTrendResult(
        **common, seconds=_times(times, SPECTRUM_POINTS, count), flags=flags[:count],
        interleave_factor=factor.value, harmonic_count=harm_count.value,
        statistics={stat: values[:phases, s, :h, :count] for s, stat in enumerate(stats)})


def harmonic_histogram(path, quantity=2, harmonic=0, value_set=0, start=None, stop=None,
                       first_harmonic=0, join=False, value_range=None, flagged=None,
                       reader="powers", progress=None):
    """100 bins per phase of one harmonic quantity at position ``harmonic``.

    ``reader``: "angles" (Reader_FFT_HIST1) or "powers" (Reader_FFT_HIST2,
    which also takes ``value_range`` and ``flagged``, default True).
    Returns a :class:`HistogramResult` (phase, bin)."""
    args = dict(quantity=quantity, harmonic=harmonic, value_set=value_set, start=start,
                stop=stop, first_harmonic=first_harmonic, join=join, value_range=value_range,
                flagged=flagged, reader=reader)
    export = _export("harmonic_histogram", reader)
    _only(export, {"Reader_FFT_HIST2"}, value_range=value_range, flagged=flagged)
    call, codes, quantity, minmax, corrections = _harmonic_setup(
        "harmonic_histogram", reader, path, quantity, value_set, start, stop, args)
    harmonic = _position("harmonic", harmonic, call.recording)
    first = _position("first_harmonic", first_harmonic, call.recording)
    join = _flag("join", join)
    out = _HistogramArrays(max(call.recording.phase_count, 1))
    status = c_int32(0)
    arguments = (quantity, minmax, call.start, call.stop, LABEL, call.encoded,
                 *out.starts_widths_counts(), harmonic, BUTTON, first, join, byref(status))
    if export == "Reader_FFT_HIST2":
        fixed, low, high = _value_range(value_range)
        arguments += (fixed, low, high, *out.range_total(),
                      _flag("flagged", True if flagged is None else flagged), *out.records())
    call.run(arguments, progress)
    common = call.finish(status.value, corrections)
    return out.result(common, _harmonic_phases(call, codes, quantity, status.value), "phase")


def harmonic_table(path, quantity=1, value_set=0, percentile=0.95, start=None, stop=None,
                   first_harmonic=0, join=False, flagged=None, reader="powers", progress=None):
    """The ``percentile`` (0 to 1) of a harmonic quantity per phase and
    harmonic position, and of the per-phase values A and B.

    ``reader``: "angles" (Reader_FFT_Table1) or "powers" (Reader_FFT_Table2,
    which also takes ``flagged``, default True, and counts the flagged
    records). Returns a :class:`TableResult` (phase, harmonic)."""
    args = dict(quantity=quantity, value_set=value_set, percentile=percentile, start=start,
                stop=stop, first_harmonic=first_harmonic, join=join, flagged=flagged,
                reader=reader)
    export = _export("harmonic_table", reader)
    _only(export, {"Reader_FFT_Table2"}, flagged=flagged)
    if isinstance(percentile, bool) or not isinstance(percentile, numbers.Real):
        raise TypeError(f"percentile must be a number, not {type(percentile).__name__}")
    if not 0.0 <= percentile <= 1.0:
        raise ValueError(f"percentile must be a fraction from 0 to 1 (0.95 for 95 %), not "
                         f"{percentile!r}")
    call, codes, quantity, minmax, corrections = _harmonic_setup(
        "harmonic_table", reader, path, quantity, value_set, start, stop, args)
    first = _position("first_harmonic", first_harmonic, call.recording)
    join = _flag("join", join)
    phases = max(call.recording.phase_count, 1)
    rows = max(call.recording.max_harmonic_count, TABLE_SEGMENT)
    table = np.zeros(TABLE_SEGMENT * (phases - 1) + rows, np.float32)
    value_a, value_b = np.zeros(phases, np.float32), np.zeros(phases, np.float32)
    status, harm_count = c_int32(0), c_int32(0)
    flagged_records, total_records = c_int32(0), c_int32(0)
    arguments = (quantity, minmax, call.start, call.stop, LABEL, call.encoded, BUTTON, first,
                 _ptr(table, c_float), _ptr(value_a, c_float), _ptr(value_b, c_float),
                 float(percentile), join, byref(status), byref(harm_count))
    counted = export == "Reader_FFT_Table2"
    if counted:
        arguments += (_flag("flagged", True if flagged is None else flagged),
                      byref(flagged_records), byref(total_records))
    call.run(arguments, progress)
    common = call.finish(status.value, corrections)
    h = harm_count.value
    rows_out = np.stack([table[p * TABLE_SEGMENT:p * TABLE_SEGMENT + h] for p in range(phases)])
    return TableResult(**common, percentile=float(percentile), table=rows_out, value_a=value_a,
                       value_b=value_b,
                       flagged_records=flagged_records.value if counted else None,
                       total_records=total_records.value if counted else None)


# ---- by name -------------------------------------------------------------------

FAMILIES = {f.__name__: f for f in (trend, decimated_trend, histogram, harmonic_trend,
                                     spectrum_trend, harmonic_histogram, harmonic_table)}

#: export name -> (family function, its ``reader=`` choice or None)
READERS = {"Reader_XT": (trend, None), "Reader_XT2": (decimated_trend, None),
           "Reader_HIST": (histogram, None)}
READERS.update({export: (FAMILIES[family], choice)
                for family, choices in _FAMILIES.items() for choice, export in choices.items()})


def read(name, path, **arguments):
    """Calls a reader by family name ("trend", "harmonic_table", ...) or by
    export name ("Reader_FFT_Table2", ...) with keyword arguments."""
    if name in FAMILIES:
        return FAMILIES[name](path, **arguments)
    if name in READERS:
        function, choice = READERS[name]
        if choice is not None:
            arguments = dict(arguments, reader=choice)
        return function(path, **arguments)
    raise ValueError(f"unknown reader {name!r}: one of {', '.join(FAMILIES)} or "
                     f"{', '.join(READERS)}")
