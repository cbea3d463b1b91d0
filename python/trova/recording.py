"""describe(): what a recording holds, as the readers would see it."""
from __future__ import annotations

import ctypes
import os
from dataclasses import dataclass, field

import numpy as np

from . import _library
from ._times import to_datetime64, to_seconds
from .status import RecordingNotFoundError

VARIANTS = {"auto": 0, "trend": 1, "harmonic": 2}
_VARIANT_NAMES = {1: "trend", 2: "harmonic"}
_DESCRIBE_OK, _NO_RECORDING, _NO_FILES, _BAD_ARGUMENT, _NO_MEMORY = range(5)


def encode_path(path, name="path"):
    """A recording path as the library takes it (bytes, no NUL)."""
    if not isinstance(path, (str, bytes, os.PathLike)):
        raise TypeError(f"{name} must be a str or os.PathLike, not {type(path).__name__}")
    encoded = os.fsencode(path)
    if not encoded or b"\0" in encoded:
        raise ValueError(f"{name} must be a non-empty path without NUL characters, not {path!r}")
    return encoded


class _Span:
    """first_time and last_time from first_seconds and last_seconds."""

    @property
    def first_time(self):
        return to_datetime64(self.first_seconds)

    @property
    def last_time(self):
        return to_datetime64(self.last_seconds)


@dataclass(frozen=True)
class FileInfo(_Span):
    """One member of the file table, in table order."""
    path: str
    records: int
    record_size: int
    header_size: int
    first_seconds: float
    last_seconds: float
    channel_code: int
    harmonic_count: int
    stat_count: int
    scalar_count: int
    phase_quantity_count: int
    ref_quantity: int
    power_block: bool


@dataclass(frozen=True)
class Recording(_Span):
    """A recording's file table and, for the window asked for, its record counts.

    Trend recordings fill ``channel_count``, ``stat_count``, ``scalar_count``,
    ``phase_quantity_count`` and ``ref_quantity``; harmonic recordings
    ``phase_count``, ``harmonic_count`` (of the first file),
    ``max_harmonic_count`` (over all files) and ``power_block``.
    """
    path: str
    variant: str
    files: tuple
    total_records: int
    record_size: int
    header_size: int
    first_seconds: float
    last_seconds: float
    channel_code: int
    channel_count: int
    stat_count: int
    scalar_count: int
    phase_quantity_count: int
    ref_quantity: int
    phase_count: int
    harmonic_count: int
    max_harmonic_count: int
    power_block: bool
    start_seconds: float
    stop_seconds: float
    window_records: int
    window_samples: int
    window: dict = field(repr=False)
    search: dict = field(repr=False)

    def to_pandas(self):
        """The file table as a DataFrame, one row per member."""
        import pandas as pd
        frame = pd.DataFrame([f.__dict__ for f in self.files])
        frame.insert(5, "first_time", to_datetime64(frame["first_seconds"].to_numpy()))
        frame.insert(6, "last_time", to_datetime64(frame["last_seconds"].to_numpy()))
        return frame

    def __str__(self):
        lines = [f"{self.variant} recording {self.search['pattern']}: {len(self.files)} file(s), "
                 f"{self.total_records} records of {self.record_size} bytes, "
                 f"{self.first_time} .. {self.last_time}"]
        if self.variant == "trend":
            lines.append(f"  channels {self.channel_count} (code {self.channel_code}), "
                         f"blocks {self.stat_count}, scalar quantities {self.scalar_count}, "
                         f"per-channel quantities {self.phase_quantity_count}, "
                         f"reference quantity {self.ref_quantity}")
        else:
            lines.append(f"  phases {self.phase_count} (code {self.channel_code}), harmonics "
                         f"{self.harmonic_count}, power block {'yes' if self.power_block else 'no'}")
        lines.append(f"  window: {self.window_records} records, {self.window_samples} samples")
        return "\n".join(lines)


def _text(raw):
    return os.fsdecode(bytes(raw))


def _file_info(entry):
    return FileInfo(
        path=_text(entry.path), records=entry.recordCount, record_size=entry.recordSize,
        header_size=entry.headerSize, first_seconds=entry.firstTime, last_seconds=entry.lastTime,
        channel_code=entry.channelCode, harmonic_count=entry.harmonicCount,
        stat_count=entry.statCount, scalar_count=entry.scalarCount,
        phase_quantity_count=entry.phaseQuantityCount, ref_quantity=entry.refQuantity,
        power_block=entry.powerBlockFlag != 0)


def _search(info):
    return {"directory": _text(info.directory), "stem": _text(info.stem),
            "extension": _text(info.extension), "pattern": _text(info.pattern),
            "matched": info.matchedCount}


def describe(path, start=None, stop=None, variant="auto"):
    """Describe the recording that ``path`` (any one of its files) belongs to.

    ``start`` and ``stop`` give the window whose record counts are reported
    (as the readers take them: None, seconds since 1904, datetime,
    datetime64 or ISO string). ``variant`` is "auto", "trend" or "harmonic".
    A pure query: the readers' cached file table is left alone and no log
    line is written. Raises :class:`RecordingNotFoundError` when the path
    names no recording.
    """
    encoded = encode_path(path)
    if variant not in VARIANTS:
        raise ValueError(f"variant must be one of {', '.join(VARIANTS)}, not {variant!r}")
    t_start, t_stop = to_seconds(start, "start"), to_seconds(stop, "stop")
    lib = _library.library()
    info = _library.TrovaRecordingInfo()
    capacity = 64
    while True:
        files = (_library.TrovaFileInfo * capacity)()
        code = lib.TrovaDescribeRecording(encoded, VARIANTS[variant], t_start, t_stop,
                                          ctypes.byref(info), files, capacity)
        if code != _DESCRIBE_OK or info.fileCount <= capacity:
            break
        capacity = info.fileCount
    if code == _NO_RECORDING:
        raise RecordingNotFoundError(
            os.fsdecode(encoded), "the path names no recording file (it needs a directory, a "
            "name with an extension, and at most 255 bytes)", _search(info))
    if code == _NO_FILES:
        wanted = "" if variant == "auto" else f" {variant}"
        raise RecordingNotFoundError(os.fsdecode(encoded),
                                     f"no usable{wanted} recording file was found", _search(info))
    if code != _DESCRIBE_OK:
        raise MemoryError(f"TrovaDescribeRecording failed with code {code} for {path!r}")
    members = tuple(_file_info(files[i]) for i in range(info.fileCount))
    return Recording(
        path=os.fsdecode(encoded), variant=_VARIANT_NAMES[info.variant], files=members,
        total_records=info.totalRecords, record_size=info.recordSize,
        header_size=info.headerSize, first_seconds=info.firstTime, last_seconds=info.lastTime,
        channel_code=info.channelCode, channel_count=info.channelCount,
        stat_count=info.statCount, scalar_count=info.scalarCount,
        phase_quantity_count=info.phaseQuantityCount, ref_quantity=info.refQuantity,
        phase_count=info.phaseCount, harmonic_count=info.harmonicCount,
        max_harmonic_count=max([f.harmonic_count for f in members] + [0]),
        power_block=bool(info.powerBlock), start_seconds=t_start, stop_seconds=t_stop,
        window_records=int(info.windowRecords), window_samples=int(info.windowSamples),
        window={"start_file": info.startFile, "start_record": info.startRecord,
                "end_file": info.endFile, "stop_record": info.stopRecord,
                "start_selected": bool(info.startSelected),
                "stop_selected": bool(info.stopSelected)},
        search=_search(info))


# ---- the readers' view: one description per recording, reused ---------------
# Building a description reads every member, which costs about as much as
# reading the recording once; the readers only need the table's shape
# (channels, phases, harmonic counts), so it is kept while the directory
# and every member are unchanged (the directory's mtime changes when a
# member appears or goes; a member's size and mtime when it is rewritten).

_TABLES_KEPT = 32
_tables = {}


def _signature(recording):
    try:
        marks = [os.stat(recording.search["directory"] or ".").st_mtime_ns]
        for member in recording.files:
            status = os.stat(member.path)
            marks.append((status.st_ino, status.st_size, status.st_mtime_ns))
    except OSError:
        return None
    return tuple(marks)


def table(path, variant):
    """describe(path, variant=variant) of the whole recording, reused while
    its files are unchanged."""
    key = (encode_path(path), variant)
    kept = _tables.get(key)
    if kept is not None and kept[1] is not None and _signature(kept[0]) == kept[1]:
        return kept[0]
    recording = describe(path, variant=variant)
    if len(_tables) >= _TABLES_KEPT:
        _tables.pop(next(iter(_tables)))
    _tables[key] = (recording, _signature(recording))
    return recording
