"""trova: power-quality analyser recordings as numpy arrays and pandas frames.

    import trova
    rec = trova.describe("/data/meas.001.dat")
    result = trova.trend("/data/meas.001.dat", quantity=2, block=2, points=500)
    result.to_pandas()

One function per reader family (:func:`trend`, :func:`decimated_trend`,
:func:`histogram`, :func:`harmonic_trend`, :func:`spectrum_trend`,
:func:`harmonic_histogram`, :func:`harmonic_table`), :func:`read` to call
any of the thirteen readers by name, :mod:`trova.raw` for the exports with
their C arguments, :mod:`trova.plot` for figures. See docs/python.md.
"""
from ._library import TrovaLibraryError, library_path
from ._config import configure
from .readers import (FAMILIES, READERS, decimated_trend, harmonic_histogram, harmonic_table,
                      harmonic_trend, histogram, read, spectrum_trend, trend)
from .recording import FileInfo, Recording, describe
from .results import (CurveResult, HistogramResult, Result, SpectrumTrendResult, TableResult,
                      TrendResult)
from .status import (CorrectedArgumentWarning, ReaderBusyError, RecordingNotFoundError,
                     TrovaError, TrovaWarning)

__version__ = "0.1.0"

__all__ = [
    "describe", "trend", "decimated_trend", "histogram", "harmonic_trend", "spectrum_trend",
    "harmonic_histogram", "harmonic_table", "read", "READERS", "FAMILIES", "configure",
    "library_path", "Recording", "FileInfo", "Result", "TrendResult", "CurveResult",
    "HistogramResult", "SpectrumTrendResult", "TableResult", "TrovaError",
    "RecordingNotFoundError", "ReaderBusyError", "TrovaWarning", "CorrectedArgumentWarning",
    "TrovaLibraryError",
]
