"""The library's exports with exactly their C arguments, for hosts that size
their own arrays.

Each reader is a ctypes function with its prototype of
include/trova/readers.h (``int`` and ``long`` 32-bit, pointers as
``ctypes.POINTER``), e.g.::

    from trova import raw
    status = ctypes.c_int32()
    raw.Reader_FFT_Table2(1, 1, -1.0, -1.0, b"", path, b"", 0, table, a, b, 0.95, 0,
                          ctypes.byref(status), ctypes.byref(harm_count), 1,
                          ctypes.byref(flagged), ctypes.byref(total))

:data:`SIGNATURES` names every argument. The host calls
(``TrovaSetProgressCallback``, ``TrovaRequestCancel``,
``TrovaSetCompletionPause``, ``TrovaSetLogDirectory``) and
``TrovaDescribeRecording`` with its structures are here too. Calls made
here bypass the package's one-call-at-a-time lock, progress and Ctrl-C
handling.
"""
from __future__ import annotations

from . import _library
from ._library import (HOST_PROTOTYPES, PROGRESS_CALLBACK, READER_PROTOTYPES, TrovaFileInfo,
                       TrovaRecordingInfo)

#: export name -> [(argument name, ctypes type), ...]
SIGNATURES = {name: list(arguments) for name, arguments in READER_PROTOTYPES.items()}

EXPORTS = tuple(READER_PROTOTYPES) + tuple(HOST_PROTOTYPES)

__all__ = list(EXPORTS) + ["SIGNATURES", "EXPORTS", "PROGRESS_CALLBACK", "TrovaFileInfo",
                           "TrovaRecordingInfo"]


def __getattr__(name):
    if name in EXPORTS:
        return getattr(_library.library(), name)
    raise AttributeError(f"module 'trova.raw' has no attribute {name!r}")


def __dir__():
    return sorted(__all__)
