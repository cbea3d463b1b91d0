"""Figures of reader results, made with matplotlib's object API.

Every function returns a :class:`matplotlib.figure.Figure` (no pyplot state,
so no display is needed: figures render with Agg) and saves it when
``output`` names a file; the extension picks the format (.png, .svg, .pdf).
"""
from __future__ import annotations

import numpy as np

from .results import CurveResult, HistogramResult, SpectrumTrendResult, TableResult, TrendResult


def _figure(width=8.0, height=4.5):
    from matplotlib.figure import Figure
    figure = Figure(figsize=(width, height), layout="constrained")
    return figure, figure.add_subplot()


def _finish(figure, output):
    if output is not None:
        figure.savefig(output, dpi=110)
    return figure


def _title(result, what):
    return f"{what} - {result.reader}\n{result.path}"


def _time_axis(ax):
    import matplotlib.dates as mdates
    locator = mdates.AutoDateLocator()
    ax.xaxis.set_major_locator(locator)
    ax.xaxis.set_major_formatter(mdates.ConciseDateFormatter(locator))
    ax.set_xlabel("time (UTC)")


def _check(result, kinds, name):
    if not isinstance(result, kinds):
        expected = " or ".join(k.__name__ for k in kinds)
        raise TypeError(f"{name} takes a {expected}, not {type(result).__name__}")


def _break_gaps(times, *series):
    """Inserts a gap (NaN) where points lie more than three typical steps apart,
    so that lines and bands are not drawn across a pause in the recording."""
    if len(times) < 3:
        return (times,) + series
    step = np.diff(times)
    cut = np.flatnonzero(step > 3 * np.median(step)) + 1
    if not cut.size:
        return (times,) + series
    times = np.insert(times, cut, times[cut - 1] + step[cut - 1] / 2)
    return (times,) + tuple(np.insert(s.astype(float), cut, np.nan, axis=-1) for s in series)


def trend_band(result, output=None, title=None, ylabel="value"):
    """Min-max band (shaded) and mean line per channel or phase over time; a
    decimated curve is drawn as a line."""
    _check(result, (TrendResult, CurveResult), "trend_band")
    figure, ax = _figure()
    if isinstance(result, TrendResult):
        times, low, high, mean = _break_gaps(result.times, result.min, result.max, result.mean)
        for c in range(mean.shape[0]):
            band = ax.fill_between(times, low[c], high[c], alpha=0.25, linewidth=0)
            ax.plot(times, mean[c], color=band.get_facecolor()[0][:3], linewidth=1.2,
                    label=f"{result.axis} {c} mean (band: min-max)")
    else:
        times, values = _break_gaps(result.times, result.values)
        for c in range(values.shape[0]):
            ax.plot(times, values[c], linewidth=1.0, label=f"{result.axis} {c}")
    _time_axis(ax)
    ax.set_ylabel(ylabel)
    ax.grid(True, alpha=0.3)
    ax.legend(loc="best", fontsize="small")
    ax.set_title(title or _title(result, "trend"), fontsize="medium")
    return _finish(figure, output)


def histogram(result, output=None, title=None, xlabel="value"):
    """The 100 bins of each channel or phase as overlaid bars."""
    _check(result, (HistogramResult,), "histogram")
    figure, ax = _figure()
    edges = result.edges
    for c in range(result.counts.shape[0]):
        width = result.width[c] if result.width[c] > 0 else 1.0
        ax.bar(edges[c, :-1], result.counts[c], width=width, align="edge", alpha=0.5,
               label=f"{result.axis} {c}")
    ax.set_xlabel(xlabel)
    ax.set_ylabel("records")
    ax.grid(True, alpha=0.3)
    ax.legend(loc="best", fontsize="small")
    ax.set_title(title or _title(result, "histogram"), fontsize="medium")
    return _finish(figure, output)


def _spectrum_values(result, statistic):
    if isinstance(result, TableResult):
        return result.table, f"{result.percentile:.0%} percentile"
    statistic = statistic or ("mean" if "mean" in result.statistics else "value")
    return result.statistics[statistic].mean(axis=2), f"{statistic}, averaged over time"


def spectrum(result, output=None, title=None, statistic=None, first=0, ylabel="value"):
    """Bars per harmonic position, one bar per phase: a percentile table, or
    a spectrum trend averaged over time. ``first``: first position drawn
    (1 leaves out position 0, e.g. a fundamental that dwarfs the rest)."""
    _check(result, (TableResult, SpectrumTrendResult), "spectrum")
    values, what = _spectrum_values(result, statistic)
    values = values[:, first:]
    figure, ax = _figure()
    phases, harmonics = values.shape
    width = 0.8 / phases
    positions = np.arange(first, first + harmonics)
    for p in range(phases):
        ax.bar(positions + (p - (phases - 1) / 2) * width, values[p], width=width,
               label=f"phase {p}")
    ax.set_xlabel("harmonic position")
    ax.set_ylabel(ylabel)
    ax.grid(True, axis="y", alpha=0.3)
    ax.legend(loc="best", fontsize="small")
    ax.set_title(title or _title(result, f"spectrum ({what})"), fontsize="medium")
    return _finish(figure, output)


def spectrum_over_time(result, output=None, title=None, phase=0, statistic=None, first=0,
                       log=None):
    """Heat map of one phase's spectrum: time across, harmonic position up.
    ``log``: logarithmic colour scale (default: when all values are positive
    and span more than two decades)."""
    _check(result, (SpectrumTrendResult,), "spectrum_over_time")
    import matplotlib.colors as mcolors
    import matplotlib.dates as mdates
    statistic = statistic or ("mean" if "mean" in result.statistics else "value")
    values = result.statistics[statistic][phase, first:]
    figure, ax = _figure()
    times = mdates.date2num(result.times.astype("datetime64[us]").astype(object))
    if len(times) > 1:
        step = np.diff(times)
        edges = np.concatenate([[times[0] - step[0]], times])
    else:
        edges = np.array([times[0] - 1 / 1440, times[0]]) if len(times) else np.array([0.0, 1.0])
    rows = np.arange(first, first + values.shape[0] + 1) - 0.5
    positive = values[np.isfinite(values) & (values > 0)]
    if log is None:
        log = bool(positive.size == values.size and positive.size
                   and positive.max() > 100 * positive.min())
    norm = mcolors.LogNorm(positive.min(), positive.max()) if log else None
    mesh = ax.pcolormesh(edges, rows, values, norm=norm, shading="flat", cmap="viridis")
    figure.colorbar(mesh, ax=ax, label=f"{statistic}" + (" (log scale)" if log else ""))
    ax.xaxis_date()
    _time_axis(ax)
    ax.set_ylabel("harmonic position")
    ax.set_title(title or _title(result, f"spectrum over time, phase {phase}"),
                 fontsize="medium")
    return _finish(figure, output)


def percentile_table(result, output=None, title=None, rows=None, digits=4):
    """The percentile table as a table: one row per harmonic position, one
    column per phase, then the per-phase values A and B."""
    _check(result, (TableResult,), "percentile_table")
    table = result.table[:, :rows] if rows else result.table
    phases, harmonics = table.shape
    cells = [[f"{table[p, k]:.{digits}g}" for p in range(phases)] for k in range(harmonics)]
    cells.append([f"{v:.{digits}g}" for v in result.value_a])
    cells.append([f"{v:.{digits}g}" for v in result.value_b])
    labels = [str(k) for k in range(harmonics)] + ["A", "B"]
    figure, ax = _figure(2.0 + 1.3 * phases, 0.8 + 0.22 * len(cells))
    ax.axis("off")
    shown = ax.table(cellText=cells, rowLabels=labels,
                     colLabels=[f"phase {p}" for p in range(phases)], loc="upper center",
                     cellLoc="right")
    shown.auto_set_font_size(False)
    shown.set_fontsize(8)
    ax.set_title(title or f"{result.percentile:.0%} percentile by harmonic position\n"
                 f"{result.reader}", fontsize="medium")
    return _finish(figure, output)
