"""Running one reader call: one call at a time, progress, cancel and Ctrl-C.

The C call runs on the calling thread (the library calls the progress
callback there too). Ctrl-C cannot interrupt a C call, so in the main
thread the call is bracketed by ``signal.set_wakeup_fd`` and a SIGINT
handler that only takes note: Python's C-level signal handler writes the
signal's number to a pipe, a watcher thread reads it and asks the library
to cancel (the dialog's button), and when the reader has stopped the call
raises KeyboardInterrupt. The library stays usable.
"""
from __future__ import annotations

import os
import signal
import sys
import threading

from . import _library
from .status import ReaderBusyError

_call_lock = threading.Lock()
_owner = None  # ident of the thread inside a call


class _Watcher:
    """Reads the signal wakeup pipe; a SIGINT during a call cancels it.

    Other bytes go on to the wakeup fd that was set before, if any. A zero
    byte is the caller's marker: once it is read, every earlier byte has
    been dealt with (so no late cancel reaches the next call).
    """

    def __init__(self):
        self.read_end, self.write_end = os.pipe()
        os.set_blocking(self.write_end, False)
        self.active = False
        self.forward = -1
        self.drained = threading.Event()
        threading.Thread(target=self._watch, name="trova-sigint", daemon=True).start()

    def _watch(self):
        while True:
            data = os.read(self.read_end, 512)
            if self.active and signal.SIGINT in data:
                _library.library().TrovaRequestCancel()
            signals = data.replace(b"\0", b"")
            if signals and self.forward >= 0:
                try:
                    os.write(self.forward, signals)
                except OSError:
                    pass
            if 0 in data:
                self.drained.set()

    def drain(self):
        self.drained.clear()
        os.write(self.write_end, b"\0")
        self.drained.wait(5.0)


_watcher = None


def _watching():
    """The watcher, in the main thread while Python's own SIGINT handler is
    in place; else None (Ctrl-C is then not this package's to handle)."""
    global _watcher
    if threading.current_thread() is not threading.main_thread():
        return None
    if signal.getsignal(signal.SIGINT) is not signal.default_int_handler:
        return None
    if _watcher is None:
        _watcher = _Watcher()
    return _watcher


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


def run(function, arguments, progress=None, total=100, label="trova"):
    """Calls ``function(*arguments)`` as described above.

    Returns (the function's result, whether a cancel was requested).
    """
    global _owner
    if _call_lock.locked() and _owner == threading.get_ident():
        raise ReaderBusyError("a reader cannot be called from inside a progress callback")
    reporter = _Progress(progress, total, label)
    lib = _library.library()
    interrupted = []
    with _call_lock:
        _owner = threading.get_ident()
        watcher = _watching()
        callback = _library.PROGRESS_CALLBACK(reporter)  # kept alive for the call
        lib.TrovaSetProgressCallback(callback, None)
        try:
            if watcher is not None:
                signal.signal(signal.SIGINT, lambda signum, frame: interrupted.append(signum))
                watcher.forward = signal.set_wakeup_fd(watcher.write_end,
                                                       warn_on_full_buffer=False)
                watcher.active = True
            result = function(*arguments)
        finally:
            _owner = None
            if watcher is not None:
                watcher.active = False
                signal.set_wakeup_fd(watcher.forward)
                signal.signal(signal.SIGINT, signal.default_int_handler)
            lib.TrovaSetProgressCallback(_library.PROGRESS_CALLBACK(), None)
            reporter.close()
        if interrupted:
            watcher.drain()
    if interrupted:
        raise KeyboardInterrupt
    if reporter.error is not None:
        raise reporter.error
    return result, reporter.cancel_requested
