"""The Python layer's cost over the C call it makes, on a 256 MiB recording.

    build/venv/bin/python bench/python_overhead.py [DIRECTORY]

Writes (once) a 256 MiB trend recording and a 256 MiB harmonic recording
with trova-writerec, then times, alternately and several times each, the
export called through trova.raw with arrays made beforehand (the C call)
and the package's function (describe, arrays, helper thread, result
object). Prints the median of each and the overhead in percent, and, less
exposed to a busy machine, the package's time beside the time of the C
call inside the same package call. The first package call on a recording
also describes it (each member's header and first and last record); that
is printed apart.
"""
import ctypes
import os
import statistics
import subprocess
import sys
import time

import numpy as np

import trova
import trova._call
from trova import raw
from trova import recording as _recording

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WRITER = os.environ.get("TROVA_WRITEREC",
                        os.path.join(ROOT, "build/python/tools/recwriter/trova-writerec"))
MIB = 1 << 20
REPEATS = 9


def recording(directory, kind, record_size, **keys):
    first = os.path.join(directory, kind, "meas.001.dat")
    if not os.path.exists(first):
        per_file = 256 * MIB // record_size // 8
        arguments = [WRITER, os.path.join(directory, kind), kind,
                     "files=" + ",".join([str(per_file)] * 8), "step=0.001"]
        subprocess.run(arguments + [f"{k}={v}" for k, v in keys.items()], check=True,
                       stdout=subprocess.DEVNULL)
    size = sum(os.path.getsize(os.path.join(directory, kind, f))
               for f in os.listdir(os.path.join(directory, kind)))
    return first, size


def c_trend(path, points=1000):
    values = np.zeros((3, 3, points), np.float32)
    times, flags = np.zeros(2 * points), np.zeros(points, np.int32)
    n, factor, status = ctypes.c_int(points), ctypes.c_int(), ctypes.c_int()
    f = ctypes.POINTER(ctypes.c_float)
    args = (2, 2, -1.0, -1.0, 0.0, b"", path.encode(), ctypes.byref(n),
            values[0].ctypes.data_as(f), values[1].ctypes.data_as(f),
            values[2].ctypes.data_as(f), times.ctypes.data_as(ctypes.POINTER(ctypes.c_double)),
            flags.ctypes.data_as(ctypes.POINTER(ctypes.c_int)), ctypes.byref(factor), b"",
            ctypes.byref(status))
    return lambda: raw.Reader_XT(*args)


def c_table(path):
    table, a, b = np.zeros(1500, np.float32), np.zeros(3, np.float32), np.zeros(3, np.float32)
    status, count, flagged, total = (ctypes.c_int32() for _ in range(4))
    f = ctypes.POINTER(ctypes.c_float)
    args = (1, 1, -1.0, -1.0, b"", path.encode(), b"", 0, table.ctypes.data_as(f),
            a.ctypes.data_as(f), b.ctypes.data_as(f), 0.95, 0, ctypes.byref(status),
            ctypes.byref(count), 1, ctypes.byref(flagged), ctypes.byref(total))
    return lambda: raw.Reader_FFT_Table2(*args)


_inner = []
_run = trova._call.run


def _timed_run(function, arguments, *rest, **options):
    def c_call(*a):
        start = time.perf_counter()
        try:
            return function(*a)
        finally:
            _inner.append(time.perf_counter() - start)
    return _run(c_call, arguments, *rest, **options)


trova._call.run = _timed_run


def timed(function):
    start = time.perf_counter()
    function()
    return time.perf_counter() - start


def measure(name, size, direct, package):
    direct()  # files into the page cache, the readers' table built
    _recording._tables.clear()
    first = timed(package)
    c_times, py_times, own, own_ms = [], [], [], []
    for _ in range(REPEATS):
        c_times.append(timed(direct))
        _inner.clear()
        py_times.append(timed(package))
        own.append((py_times[-1] - _inner[0]) / _inner[0])
        own_ms.append((py_times[-1] - _inner[0]) * 1000)
    c, py = statistics.median(c_times), statistics.median(py_times)
    print(f"{name} on {size / MIB:.0f} MiB, median of {REPEATS}:\n"
          f"  C call {c * 1000:.1f} ms, package {py * 1000:.1f} ms: {100 * (py - c) / c:+.1f} %\n"
          f"  package over its own C call: median {100 * statistics.median(own):+.2f} % "
          f"({statistics.median(own_ms):.2f} ms), max {100 * max(own):+.2f} %\n"
          f"  first call (describes the recording too): {first * 1000:.1f} ms")


def main():
    directory = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, "build/bench-python")
    trova.configure(log_directory=None, completion_pause_ms=0)
    trend_path, trend_size = recording(directory, "trend", 192)
    harm_path, harm_size = recording(directory, "harmonic", 4356, harmonics=50)
    measure("trend (Reader_XT, 1000 points)", trend_size, c_trend(trend_path),
            lambda: trova.trend(trend_path, points=1000, progress=False))
    measure("harmonic_table (Reader_FFT_Table2)", harm_size, c_table(harm_path),
            lambda: trova.harmonic_table(harm_path, progress=False))


if __name__ == "__main__":
    main()
