"""configure(): the library's diagnostic log and completion pause."""
from __future__ import annotations

import os

from . import _call, _library

_UNSET = object()


def configure(log_directory=_UNSET, completion_pause_ms=_UNSET):
    """Sets the library's host options for the calls that follow.

    ``log_directory``: directory of the diagnostic log TrovaDLL.LOG, or None
    to switch it off (the default in this package). ``completion_pause_ms``:
    the pause a reader makes before it completes (0 by default here; the
    library's own default is 500). Returns the settings now in force.
    """
    settings = dict(_library._settings)
    if log_directory is not _UNSET:
        if log_directory is not None:
            if not isinstance(log_directory, (str, bytes, os.PathLike)):
                raise TypeError(f"log_directory must be a path or None, not "
                                f"{type(log_directory).__name__}")
            if not os.path.isdir(log_directory):
                raise ValueError(f"log_directory {log_directory!r} is not a directory")
            log_directory = os.fsdecode(log_directory)
        settings["log_directory"] = log_directory
    if completion_pause_ms is not _UNSET:
        if isinstance(completion_pause_ms, bool) or not isinstance(completion_pause_ms, int):
            raise TypeError("completion_pause_ms must be an int")
        if not 0 <= completion_pause_ms <= 60_000:
            raise ValueError(f"completion_pause_ms must be 0 to 60000, not {completion_pause_ms}")
        settings["completion_pause_ms"] = completion_pause_ms
    with _call._call_lock:  # never while a reader runs
        _library._settings.update(settings)
        if _library._handle is not None:
            _library._apply(_library._handle)
    return dict(_library._settings)
