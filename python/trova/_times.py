"""Record times: seconds counted from 1904-01-01 00:00:00 UTC."""
from __future__ import annotations

import datetime as _dt
import numbers

import numpy as np

EPOCH = np.datetime64("1904-01-01T00:00:00", "ns")
_EPOCH_DATETIME = _dt.datetime(1904, 1, 1, tzinfo=_dt.timezone.utc)


def to_datetime64(seconds):
    """Seconds since 1904 (array or scalar) as datetime64[ns], exact to the nanosecond."""
    seconds = np.asarray(seconds, dtype=np.float64)
    whole = np.floor(seconds)
    nanos = np.rint((seconds - whole) * 1e9).astype(np.int64)
    return EPOCH + (whole.astype(np.int64) * 1_000_000_000 + nanos).astype("timedelta64[ns]")


def to_seconds(value, name):
    """A window bound as the readers take it: seconds since 1904, negative = open.

    Accepts None (open), a number of seconds since 1904, a ``datetime`` (naive
    ones are taken as UTC), a ``numpy.datetime64`` or an ISO 8601 string.
    """
    if value is None:
        return -1.0
    if isinstance(value, bool):
        raise TypeError(f"{name} must be None, seconds since 1904, a datetime, a datetime64 or an "
                        f"ISO string, not a bool")
    if isinstance(value, numbers.Real):
        seconds = float(value)
        if not np.isfinite(seconds):
            raise ValueError(f"{name} must be finite, not {value!r}")
        return seconds
    if isinstance(value, str):
        try:
            value = np.datetime64(value.strip().replace(" ", "T").rstrip("Z"), "ns")
        except ValueError:
            raise ValueError(f"{name}={value!r} is not an ISO 8601 date and time "
                             f"(e.g. '2024-01-01T12:00:00')") from None
    if isinstance(value, _dt.datetime):
        if value.tzinfo is None:
            value = value.replace(tzinfo=_dt.timezone.utc)
        return (value - _EPOCH_DATETIME).total_seconds()
    if isinstance(value, _dt.date):
        return to_seconds(_dt.datetime(value.year, value.month, value.day), name)
    if isinstance(value, np.datetime64):
        if np.isnat(value):
            raise ValueError(f"{name} is NaT")
        nanos = int((value.astype("datetime64[ns]") - EPOCH) // np.timedelta64(1, "ns"))
        return nanos // 1_000_000_000 + (nanos % 1_000_000_000) / 1e9
    raise TypeError(f"{name} must be None, seconds since 1904, a datetime, a datetime64 or an "
                    f"ISO string, not {type(value).__name__}")
