"""Finding and loading libtrova.so, and the C prototypes of its exports.

The library is looked for, in this order:

1. the file named by the environment variable ``TROVA_LIBRARY``;
2. the copy carried inside the installed package (``trova/_lib/libtrova.so``);
3. a build tree beside the package's sources (``<checkout>/build/*/src/``);
4. the system's library path (``ctypes.util.find_library("trova")``).

A library that cannot be found or lacks an expected export raises
:class:`TrovaLibraryError` with one message that says where it looked.
"""
from __future__ import annotations

import ctypes
import ctypes.util
import glob
import os
import threading
from ctypes import POINTER, c_char, c_char_p, c_double, c_float, c_int, c_int32, c_int64, c_uint32

ENV_VARIABLE = "TROVA_LIBRARY"
LIBRARY_NAME = "libtrova.so"

_PACKAGE_DIR = os.path.dirname(os.path.abspath(__file__))


class TrovaLibraryError(OSError):
    """libtrova.so could not be found or loaded, or is not the library this package expects."""


# ---- structures of trova/describe.h ----------------------------------------

class TrovaFileInfo(ctypes.Structure):
    """One member of a recording's file table (``TrovaFileInfo``)."""
    _fields_ = [
        ("path", c_char * 256),
        ("channelCode", c_uint32),
        ("recordCount", c_uint32),
        ("recordSize", c_uint32),
        ("headerSize", c_uint32),
        ("firstTime", c_double),
        ("lastTime", c_double),
        ("harmonicCount", c_int32),
        ("statCount", c_uint32),
        ("scalarCount", c_uint32),
        ("phaseQuantityCount", c_uint32),
        ("refQuantity", c_uint32),
        ("powerBlockFlag", c_uint32),
    ]


class TrovaRecordingInfo(ctypes.Structure):
    """What ``TrovaDescribeRecording`` reports about a recording."""
    _fields_ = [
        ("variant", c_int32),
        ("fileCount", c_int32),
        ("matchedCount", c_int32),
        ("totalRecords", c_uint32),
        ("directory", c_char * 256),
        ("stem", c_char * 256),
        ("extension", c_char * 16),
        ("pattern", c_char * 544),
        ("recordSize", c_uint32),
        ("headerSize", c_uint32),
        ("firstTime", c_double),
        ("lastTime", c_double),
        ("channelCode", c_uint32),
        ("channelCount", c_int32),
        ("statCount", c_uint32),
        ("scalarCount", c_uint32),
        ("phaseQuantityCount", c_uint32),
        ("refQuantity", c_uint32),
        ("phaseCount", c_int32),
        ("harmonicCount", c_int32),
        ("powerBlock", c_int32),
        ("tStart", c_double),
        ("tStop", c_double),
        ("startFile", c_int32),
        ("startRecord", c_int32),
        ("endFile", c_int32),
        ("stopRecord", c_int32),
        ("startSelected", c_int32),
        ("stopSelected", c_int32),
        ("windowRecords", c_int64),
        ("windowSamples", c_int64),
    ]


# ---- prototypes --------------------------------------------------------------
# Each export: (result type, [(argument name, C type), ...]) in the order of
# include/trova/readers.h. `long` of the harmonic readers is 32-bit.
_i, _l, _d, _f, _s = c_int, c_int32, c_double, c_float, c_char_p
_pi, _pl, _pd, _pf = POINTER(c_int), POINTER(c_int32), POINTER(c_double), POINTER(c_float)

_COMMON = [("Quantity", _i), ("MinMax", _i), ("TStart", _d), ("TStop", _d)]
_HARM_XT_HEAD = _COMMON + [("Label", _s), ("PathFile", _s), ("Points", _pl)]
_HARM_XT_TAIL = [("Times", _pd), ("FlagWords", _pl), ("Harmonic", _l), ("InterleaveFactor", _pl),
                 ("ButtonText", _s), ("FirstHarmonic", _l), ("Join", _l), ("Status", _pl)]
_ALL_TAIL = [("Times", _pd), ("FlagWords", _pl), ("InterleaveFactor", _pl), ("ButtonText", _s),
             ("FirstHarmonic", _l), ("Join", _l), ("Status", _pl), ("HarmCount", _pl)]
_HIST_HEAD = _COMMON + [("Label", _s), ("PathFile", _s), ("HStart", _pd), ("HWidth", _pd),
                        ("HCounts", _pl), ("Harmonic", _l), ("ButtonText", _s),
                        ("FirstHarmonic", _l), ("Join", _l), ("Status", _pl)]
_TABLE_HEAD = [("Quantity", _l), ("MinMax", _l), ("TStart", _d), ("TStop", _d), ("Label", _s),
               ("PathFile", _s), ("ButtonText", _s), ("FirstHarmonic", _l), ("HarmTable", _pf),
               ("ValueATable", _pf), ("ValueBTable", _pf), ("Percentil", _f), ("Join", _l),
               ("Status", _pl), ("HarmCount", _pl)]
_FLAG_COUNTERS = [("Flagged", _l), ("FFlaggedPoints", _pl), ("FTotalPoints", _pl)]
_RANGE = [("HMinMax", _l), ("HMin", _d), ("HMax", _d), ("HRangePoints", _pl),
          ("HTotalPoints", _pl)]

READER_PROTOTYPES = {
    "Reader_XT": _COMMON + [
        ("ExtRef", _f), ("Label", _s), ("PathFile", _s), ("Points", _pi), ("MinValues", _pf),
        ("MaxValues", _pf), ("MeanValues", _pf), ("Times", _pd), ("FlagWords", _pi),
        ("InterleaveFactor", _pi), ("ButtonText", _s), ("Status", _pi)],
    "Reader_XT2": _COMMON + [
        ("ExtRef", _f), ("Label", _s), ("PathFile", _s), ("Points", _pi), ("Values", _pf),
        ("Times", _pd), ("FlagWords", _pi), ("InterleaveFactor", _pi), ("ButtonText", _s),
        ("Status", _pi)],
    "Reader_HIST": _COMMON + [
        ("ExtRef", _f), ("Label", _s), ("PathFile", _s), ("HStart", _pd), ("HWidth", _pd),
        ("HCounts", _pl), ("ButtonText", _s), ("Status", _pl)] + _RANGE + _FLAG_COUNTERS,
    "Reader_FFT_XT1": _HARM_XT_HEAD + [("MinValues", _pf), ("MaxValues", _pf),
                                       ("MeanValues", _pf)] + _HARM_XT_TAIL,
    "Reader_FFT_XT2": _HARM_XT_HEAD + [("MinValues", _pf), ("MaxValues", _pf),
                                       ("MeanValues", _pf)] + _HARM_XT_TAIL,
    "Reader_FFT_XT3": _HARM_XT_HEAD + [
        ("Values", _pf), ("Times", _pd), ("FlagWords", _pl), ("Harmonic", _l),
        ("InterleaveFactor", _pl), ("ButtonText", _s), ("FirstHarmonic", _l), ("Join", _l),
        ("Status", _pl)],
    "Reader_FFT_ALL_Harmonics_XT1": _COMMON + [("Label", _s), ("PathFile", _s)] + [
        (f"{kind}Values{p}", _pf) for p in range(4) for kind in ("Min", "Max", "Mean")] + _ALL_TAIL,
    "Reader_FFT_ALL_Harmonics_XT2": _COMMON + [("Label", _s), ("PathFile", _s)] + [
        (f"{kind}Values{p}", _pf) for p in range(4) for kind in ("Min", "Max", "Mean")] + _ALL_TAIL,
    "Reader_FFT_ALL_Harmonics_XT3": _COMMON + [("Label", _s), ("PathFile", _s)] + [
        (f"Values{p}", _pf) for p in range(4)] + _ALL_TAIL,
    "Reader_FFT_HIST1": _HIST_HEAD,
    "Reader_FFT_HIST2": _HIST_HEAD + _RANGE + _FLAG_COUNTERS,
    "Reader_FFT_Table1": _TABLE_HEAD,
    "Reader_FFT_Table2": _TABLE_HEAD + _FLAG_COUNTERS,
}

PROGRESS_CALLBACK = ctypes.CFUNCTYPE(None, c_int, ctypes.c_void_p)

HOST_PROTOTYPES = {
    "TrovaSetProgressCallback": (None, [PROGRESS_CALLBACK, ctypes.c_void_p]),
    "TrovaRequestCancel": (None, []),
    "TrovaSetCompletionPause": (None, [c_int]),
    "TrovaSetLogDirectory": (None, [c_char_p]),
    "TrovaForgetRecording": (None, []),
    "TrovaDescribeRecording": (c_int, [c_char_p, c_int, c_double, c_double,
                                       POINTER(TrovaRecordingInfo), POINTER(TrovaFileInfo), c_int]),
}


# ---- locating ------------------------------------------------------------------

def candidate_paths():
    """The places looked at, in order, as (description, path or None)."""
    places = []
    override = os.environ.get(ENV_VARIABLE)
    if override:
        places.append((f"${ENV_VARIABLE}", override))
    places.append(("the package", os.path.join(_PACKAGE_DIR, "_lib", LIBRARY_NAME)))
    checkout = os.path.dirname(os.path.dirname(_PACKAGE_DIR))
    built = sorted(glob.glob(os.path.join(checkout, "build", "*", "src", LIBRARY_NAME)),
                   key=lambda p: os.path.getmtime(p), reverse=True)
    places.extend(("the build tree", path) for path in built)
    places.append(("the system", ctypes.util.find_library("trova")))
    return places


def _bind(handle):
    for name, arguments in READER_PROTOTYPES.items():
        function = getattr(handle, name)
        function.restype = c_int
        function.argtypes = [ctype for _, ctype in arguments]
    for name, (restype, argtypes) in HOST_PROTOTYPES.items():
        function = getattr(handle, name)
        function.restype = restype
        function.argtypes = argtypes


def _open(where, path):
    try:
        handle = ctypes.CDLL(path)
    except OSError as error:
        raise TrovaLibraryError(f"cannot load {path} (from {where}): {error}") from None
    missing = [name for name in list(READER_PROTOTYPES) + list(HOST_PROTOTYPES)
               if not hasattr(handle, name)]
    if missing:
        raise TrovaLibraryError(
            f"{path} (from {where}) is not the trova library this package expects: "
            f"it lacks {', '.join(missing)}")
    _bind(handle)
    handle._trova_path = path
    return handle


def _load():
    override = os.environ.get(ENV_VARIABLE)
    if override and not os.path.exists(override):
        raise TrovaLibraryError(f"{ENV_VARIABLE} names {override}, which does not exist")
    tried = []
    for where, path in candidate_paths():
        if path is None or (where != "the system" and not os.path.exists(path)):
            tried.append(f"{where}: {path or 'not found'}")
            continue
        return _open(where, path)
    raise TrovaLibraryError(
        "libtrova.so not found; looked at " + "; ".join(tried) +
        f". Install the package with scripts/install-python.sh or set {ENV_VARIABLE} to the "
        "library's path.")


_handle = None
_handle_lock = threading.Lock()
_settings = {"log_directory": None, "completion_pause_ms": 0}


def library():
    """The loaded library (loaded on first use, with the pause 0 and the log off)."""
    global _handle
    if _handle is None:
        with _handle_lock:
            if _handle is None:
                handle = _load()
                _apply(handle)
                _handle = handle
    return _handle


def _apply(handle):
    directory = _settings["log_directory"]
    handle.TrovaSetLogDirectory(os.fsencode(directory) if directory else None)
    handle.TrovaSetCompletionPause(int(_settings["completion_pause_ms"]))


def library_path():
    """Path of the library in use."""
    return library()._trova_path
