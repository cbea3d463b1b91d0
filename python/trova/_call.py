"""Running one reader call: one call at a time, progress, cancel and Ctrl-C.

The blocking C call runs on a helper thread while the calling thread waits
for it, so that Ctrl-C (SIGINT) reaches Python during the call: it asks the
library to cancel (the dialog's button), waits for the reader to stop and
then raises KeyboardInterrupt. The library stays usable.
"""
from __future__ import annotations

import signal
import sys
import threading

from . import _library
from .status import ReaderBusyError

_call_lock = threading.Lock()
_reader_thread = None  # ident of the helper thread while a call runs


class _Progress:
    """Turns the library's accumulated progress into a tqdm bar or a callback.

    ``progress``: None (a bar when stderr is a terminal), True (a bar),
    False (nothing) or a callable taking the percent done (0 to 100); a
    callable that returns False or raises cancels the call.
    """

    def __init__(self, progress, total, label):
        if progress is not None and not isinstance(progress, bool) and not callable(progress):
            raise TypeError(f"progress must be None, True, False or a callable, not "
                            f"{type(progress).__name__}")
        self.total = total
        self.callback = progress if callable(progress) else None
        self.error = None
        self.cancel_requested = False
        self.bar = None
        if progress is True or (progress is None and sys.stderr is not None
                                and sys.stderr.isatty()):
            from tqdm import tqdm
            self.bar = tqdm(total=100, desc=label, unit="%", leave=False,
                            bar_format="{desc}: {percentage:3.0f}%|{bar}| {elapsed}")

    def __call__(self, accumulated, _context):
        percent = min(100.0, 100.0 * accumulated / self.total)
        if self.bar is not None:
            self.bar.update(percent - self.bar.n)
        if self.callback is None or self.cancel_requested:
            return
        try:
            keep_going = self.callback(percent)
        except BaseException as error:  # re-raised on the calling thread
            self.error = error
            keep_going = False
        if keep_going is False:
            self.cancel()

    def cancel(self):
        self.cancel_requested = True
        _library.library().TrovaRequestCancel()

    def close(self):
        if self.bar is not None:
            self.bar.close()


def _wait(worker, done, reporter):
    """Starts `worker` and waits until it has set `done`; True when Ctrl-C came.

    In the main thread, with Python's own SIGINT handler in place, Ctrl-C is
    taken by a temporary handler that only asks the library to cancel:
    nothing may end the wait while the reader still runs.
    """
    interrupted = []

    def on_interrupt(signum, frame):
        if not interrupted:
            interrupted.append(True)
            reporter.cancel()

    ours = (threading.current_thread() is threading.main_thread()
            and signal.getsignal(signal.SIGINT) is signal.default_int_handler)
    if ours:
        signal.signal(signal.SIGINT, on_interrupt)
    try:
        worker.start()
        while not done.wait(0.25):
            pass
    finally:
        if ours:
            signal.signal(signal.SIGINT, signal.default_int_handler)
    return bool(interrupted)


def run(function, arguments, progress=None, total=100, label="trova"):
    """Calls ``function(*arguments)`` as described above.

    Returns (the function's result, whether a cancel was requested).
    """
    if threading.get_ident() == _reader_thread:
        raise ReaderBusyError("a reader cannot be called from inside a progress callback")
    reporter = _Progress(progress, total, label)
    lib = _library.library()
    with _call_lock:
        callback = _library.PROGRESS_CALLBACK(reporter)
        lib.TrovaSetProgressCallback(callback, None)
        outcome = {}
        # Waited on instead of Thread.join, which, interrupted by Ctrl-C,
        # can mark a thread as finished while it still runs.
        done = threading.Event()

        def work():
            global _reader_thread
            _reader_thread = threading.get_ident()
            try:
                outcome["result"] = function(*arguments)
            except BaseException as error:  # pragma: no cover - ctypes raises only on misuse
                outcome["error"] = error
            finally:
                _reader_thread = None
                done.set()

        worker = threading.Thread(target=work, name="trova-reader", daemon=True)
        try:
            interrupted = _wait(worker, done, reporter)
        finally:
            lib.TrovaSetProgressCallback(_library.PROGRESS_CALLBACK(), None)
            reporter.close()
    if interrupted:
        raise KeyboardInterrupt
    if "error" in outcome:
        raise outcome["error"]
    if reporter.error is not None:
        raise reporter.error
    return outcome["result"], reporter.cancel_requested
