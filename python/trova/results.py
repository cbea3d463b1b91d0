"""Result objects of the readers: numpy arrays shaped as the data.

Every result has ``reader`` (the export), ``path``, ``status``,
``status_text``, ``cancelled``, ``arguments`` (the keyword arguments of the
call), ``recording`` (:func:`trova.describe` of the whole recording) and three
conversions: ``to_pandas()``, ``to_xarray()`` and ``to_long()``. The long
form is the same for every result: one row per value, with the result's
dimensions as columns (some of ``time``, ``channel``/``phase``,
``harmonic``, ``bin``) followed by ``statistic`` and ``value``.
"""
from __future__ import annotations

from dataclasses import dataclass, field

import numpy as np

from ._times import to_datetime64
from .status import meaning


@dataclass
class Result:
    reader: str
    path: str
    status: int
    cancelled: bool
    arguments: dict
    recording: object = field(repr=False)

    @property
    def status_text(self):
        return meaning(self.status)

    def _xarray(self):
        try:
            import xarray
        except ImportError:  # pragma: no cover - depends on the machine
            raise ImportError("to_xarray() needs xarray (Debian: python3-xarray)") from None
        return xarray

    def _attrs(self):
        return {"reader": self.reader, "path": self.path, "status": self.status,
                "cancelled": int(self.cancelled)}


@dataclass
class _TimeSeries(Result):
    """Shared by the trend results: a time axis, flags and a channel or phase axis."""
    seconds: np.ndarray = field(default=None, repr=False)
    flags: np.ndarray = field(default=None, repr=False)
    interleave_factor: int = 0
    axis: str = "channel"

    @property
    def times(self):
        """Point times as datetime64[ns] (record times count from 1904-01-01)."""
        return to_datetime64(self.seconds)

    @property
    def points(self):
        return len(self.seconds)

    def _series(self):
        """{statistic: array (channel, point)}."""
        raise NotImplementedError

    def to_pandas(self):
        """DataFrame with a time index; columns (statistic, channel/phase) and ``flags``."""
        import pandas as pd
        series = self._series()
        columns = {(stat, c): values[c] for stat, values in series.items()
                   for c in range(values.shape[0])}
        frame = pd.DataFrame(columns, index=pd.DatetimeIndex(self.times, name="time"))
        frame.columns = pd.MultiIndex.from_tuples(frame.columns, names=["statistic", self.axis])
        frame[("flags", "")] = self.flags
        return frame

    def to_xarray(self):
        xr = self._xarray()
        return xr.Dataset(
            {stat: ((self.axis, "time"), values) for stat, values in self._series().items()}
            | {"flags": (("time",), self.flags)},
            coords={"time": self.times}, attrs=self._attrs())

    def to_long(self):
        import pandas as pd
        parts = []
        for stat, values in self._series().items():
            channels, points = values.shape
            parts.append(pd.DataFrame({
                "time": np.tile(self.times, channels),
                self.axis: np.repeat(np.arange(channels), points),
                "statistic": stat, "value": values.ravel()}))
        return pd.concat(parts, ignore_index=True)


@dataclass
class TrendResult(_TimeSeries):
    """Minimum, maximum and mean per group of records: arrays (channel or phase, point)."""
    min: np.ndarray = field(default=None, repr=False)
    max: np.ndarray = field(default=None, repr=False)
    mean: np.ndarray = field(default=None, repr=False)

    def _series(self):
        return {"min": self.min, "max": self.max, "mean": self.mean}


@dataclass
class CurveResult(_TimeSeries):
    """A decimated curve: the extremes of every bin, array (channel or phase, point)."""
    values: np.ndarray = field(default=None, repr=False)

    def _series(self):
        return {"value": self.values}


@dataclass
class HistogramResult(Result):
    """100 bins per channel or phase: ``counts`` (channel, 100), ``start`` and
    ``width`` per channel, ``edges`` (channel, 101). The histograms with
    fixed ranges and flagged records also give ``range_points`` and
    ``total_points`` per channel and ``flagged_records`` / ``total_records``
    of the window (None where the reader has none)."""
    counts: np.ndarray = field(default=None, repr=False)
    start: np.ndarray = field(default=None, repr=False)
    width: np.ndarray = field(default=None, repr=False)
    range_points: np.ndarray = field(default=None, repr=False)
    total_points: np.ndarray = field(default=None, repr=False)
    flagged_records: int = None
    total_records: int = None
    axis: str = "channel"

    @property
    def edges(self):
        return self.start[:, None] + self.width[:, None] * np.arange(101)

    def to_pandas(self):
        """DataFrame indexed by (channel or phase, bin) with lower, upper and count."""
        import pandas as pd
        channels = self.counts.shape[0]
        edges = self.edges
        index = pd.MultiIndex.from_product([range(channels), range(100)], names=[self.axis, "bin"])
        return pd.DataFrame({"lower": edges[:, :-1].ravel(), "upper": edges[:, 1:].ravel(),
                             "count": self.counts.ravel()}, index=index)

    def to_xarray(self):
        xr = self._xarray()
        return xr.Dataset({"count": ((self.axis, "bin"), self.counts),
                           "start": ((self.axis,), self.start),
                           "width": ((self.axis,), self.width)}, attrs=self._attrs())

    def to_long(self):
        frame = self.to_pandas().reset_index()
        frame = frame.rename(columns={"count": "value"})
        frame.insert(len(frame.columns) - 1, "statistic", "count")
        return frame


@dataclass
class SpectrumTrendResult(_TimeSeries):
    """A whole spectrum over time: arrays (phase, harmonic, point) per statistic
    (``min``/``max``/``mean``, or ``value`` for the decimated reader)."""
    statistics: dict = field(default=None, repr=False)
    harmonic_count: int = 0
    axis: str = "phase"

    def __getattr__(self, name):
        statistics = self.__dict__.get("statistics") or {}
        if name in statistics:
            return statistics[name]
        raise AttributeError(name)

    def to_pandas(self, statistic=None):
        """DataFrame with a time index and one column per (phase, harmonic)."""
        import pandas as pd
        statistic = statistic or ("mean" if "mean" in self.statistics else "value")
        values = self.statistics[statistic]
        phases, harmonics, _ = values.shape
        frame = pd.DataFrame(values.reshape(phases * harmonics, -1).T,
                             index=pd.DatetimeIndex(self.times, name="time"))
        frame.columns = pd.MultiIndex.from_product([range(phases), range(harmonics)],
                                                   names=["phase", "harmonic"])
        return frame

    def to_xarray(self):
        xr = self._xarray()
        return xr.Dataset(
            {stat: (("phase", "harmonic", "time"), values)
             for stat, values in self.statistics.items()} | {"flags": (("time",), self.flags)},
            coords={"time": self.times}, attrs=self._attrs())

    def to_long(self):
        import pandas as pd
        parts = []
        for stat, values in self.statistics.items():
            phases, harmonics, points = values.shape
            parts.append(pd.DataFrame({
                "time": np.tile(self.times, phases * harmonics),
                "phase": np.repeat(np.arange(phases), harmonics * points),
                "harmonic": np.tile(np.repeat(np.arange(harmonics), points), phases),
                "statistic": stat, "value": values.ravel()}))
        return pd.concat(parts, ignore_index=True)


@dataclass
class TableResult(Result):
    """Percentile table: ``table`` (phase, harmonic), ``value_a`` and
    ``value_b`` (phase,); ``flagged_records`` / ``total_records`` of the
    window for the reader that counts them (else None)."""
    percentile: float = 0.0
    table: np.ndarray = field(default=None, repr=False)
    value_a: np.ndarray = field(default=None, repr=False)
    value_b: np.ndarray = field(default=None, repr=False)
    flagged_records: int = None
    total_records: int = None

    def to_pandas(self):
        """DataFrame indexed by harmonic position, one column per phase."""
        import pandas as pd
        frame = pd.DataFrame(self.table.T, columns=pd.Index(range(self.table.shape[0]),
                                                            name="phase"))
        frame.index.name = "harmonic"
        return frame

    def to_xarray(self):
        xr = self._xarray()
        return xr.Dataset({"table": (("phase", "harmonic"), self.table),
                           "value_a": (("phase",), self.value_a),
                           "value_b": (("phase",), self.value_b)},
                          attrs=self._attrs() | {"percentile": self.percentile})

    def to_long(self):
        import pandas as pd
        phases, harmonics = self.table.shape
        table = pd.DataFrame({"phase": np.repeat(np.arange(phases), harmonics),
                              "harmonic": pd.array(np.tile(np.arange(harmonics), phases),
                                                   dtype="Int64"),
                              "statistic": "percentile", "value": self.table.ravel()})
        # the per-phase values A and B belong to no harmonic position
        pairs = [pd.DataFrame({"phase": np.arange(phases),
                               "harmonic": pd.array([pd.NA] * phases, dtype="Int64"),
                               "statistic": name, "value": values})
                 for name, values in (("value_a", self.value_a), ("value_b", self.value_b))]
        return pd.concat([table] + pairs, ignore_index=True)
