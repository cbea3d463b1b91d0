"""Completion codes of the readers, and the exceptions and warnings they become.

===  ==========================  ===========================================
code name                        in Python
===  ==========================  ===========================================
0    ``READER_OK``               the result
1    ``READER_CANCELLED``        the partial result, ``result.cancelled``
2    ``READER_BAD_MINMAX``       :class:`CorrectedArgumentWarning`
3    ``READER_NO_FILES``         :class:`RecordingNotFoundError`
4    ``READER_BAD_QUANTITY``     :class:`CorrectedArgumentWarning`
5    ``READER_NO_POWER_BLOCK``   :class:`CorrectedArgumentWarning`
6    ``READER_BUSY``             :class:`ReaderBusyError`
===  ==========================  ===========================================
"""
from __future__ import annotations

OK = 0
CANCELLED = 1
BAD_MINMAX = 2
NO_FILES = 3
BAD_QUANTITY = 4
NO_POWER_BLOCK = 5
BUSY = 6

MEANINGS = {
    OK: "finished normally",
    CANCELLED: "cancelled; the result is partial",
    BAD_MINMAX: "the value selector (MinMax) was out of range and a default was used instead",
    NO_FILES: "the path names no recording with a usable file",
    BAD_QUANTITY: "the quantity was out of range and a default was used instead",
    NO_POWER_BLOCK: "a power quantity was asked of a recording without power block and a default "
                    "was used instead",
    BUSY: "another reader call was running",
}


def meaning(code):
    """What a completion code means."""
    return MEANINGS.get(code, f"unknown completion code {code}")


class TrovaError(Exception):
    """Base class of the errors of this package."""


class RecordingNotFoundError(TrovaError, FileNotFoundError):
    """Status 3: the path names no recording (or none of its files is usable).

    Attributes: ``path`` and, from the search, ``directory``, ``stem``,
    ``extension``, ``pattern`` and ``matched`` (files the pattern matched).
    """

    def __init__(self, path, reason, search=None):
        self.path = path
        self.search = dict(search or {})
        self.directory = self.search.get("directory")
        self.stem = self.search.get("stem")
        self.extension = self.search.get("extension")
        self.pattern = self.search.get("pattern")
        self.matched = self.search.get("matched")
        text = f"no recording at {path!r}: {reason}"
        if self.pattern:
            text += (f" (looked for {self.pattern!r}: directory {self.directory!r}, stem "
                     f"{self.stem!r}, extension {self.extension!r}; {self.matched} file(s) matched)")
        super().__init__(text)


class ReaderBusyError(TrovaError):
    """Status 6, or a reader called from inside a progress callback."""


class TrovaWarning(UserWarning):
    """Base class of the warnings of this package."""


class CorrectedArgumentWarning(TrovaWarning):
    """Status 2, 4 or 5: an argument was corrected and something else was read.

    Attributes: ``status``, ``argument`` (the keyword that was corrected).
    """

    def __init__(self, message, status, argument):
        super().__init__(message)
        self.status = status
        self.argument = argument
