"""Fleets of analysers: one reader over many recordings, in worker processes.

    import trova.fleet as fleet
    found = fleet.find_recordings("/data/site-a")          # every recording below
    result = fleet.run("harmonic_table", found, percentile=0.95, flagged=False)
    result.frame            # long form: one row per value, per recording
    result.summary          # one row per recording: status, error, seconds

The reader module keeps its state per process (one call at a time), so the
calls run in worker processes of a Dask cluster: a ``LocalCluster`` with one
single-threaded process per core unless a scheduler address (or a
``distributed.Client``) is given, in which case the same code runs on a
cluster of many machines. One recording that fails is a row with its error,
never the end of the run. Ctrl-C cancels what is still queued and returns
what is done.
"""
from __future__ import annotations

import os
import sys
import time
import warnings
from collections import defaultdict
from dataclasses import dataclass, field

from .recording import describe
from .status import RecordingNotFoundError, TrovaError, meaning

# Columns that lead every row of a fleet's long frame and summary.
RECORDING_COLUMNS = ["path", "stem", "status", "status_text", "error", "warning"]


@dataclass(frozen=True)
class FoundRecording:
    """One recording of a tree: its first member and what describe reported."""
    path: str          # the first member in table order: what the readers are given
    directory: str
    stem: str
    extension: str
    recording: object  # trova.Recording

    @property
    def members(self):
        return [f.path for f in self.recording.files]


@dataclass(frozen=True)
class SkippedFile:
    path: str
    reason: str


@dataclass
class Found:
    """What :func:`find_recordings` found: recordings and skipped files."""
    recordings: list
    skipped: list

    def __iter__(self):
        return iter(self.recordings)

    def __len__(self):
        return len(self.recordings)

    def to_pandas(self):
        import pandas as pd
        rows = [dict(path=r.path, stem=r.stem, variant=r.recording.variant,
                     files=len(r.recording.files), records=r.recording.total_records,
                     first_time=r.recording.first_time, last_time=r.recording.last_time)
                for r in self.recordings]
        return pd.DataFrame(rows, columns=["path", "stem", "variant", "files", "records",
                                           "first_time", "last_time"])


def _split_name(name):
    """(stem, extension) as the readers split a file name, or None."""
    first, last = name.find("."), name.rfind(".")
    if first < 0:
        return None
    return name[:first], name[last:]


def _own_member(name, stem, extension):
    """Whether the name matches its own pattern stem + ".*" + extension
    (case-insensitively): "meas.dat" does not, it has no middle part."""
    return len(name) >= len(stem) + 1 + len(extension)


def find_recordings(root, variant="auto"):
    """Every recording below ``root`` (a directory tree), grouped as the
    readers group files: same directory, stem and extension, letter case
    ignored. Each group is described once (``variant``: "auto", "trend" or
    "harmonic"); files that belong to no usable recording are listed in
    ``skipped`` with the reason."""
    if not os.path.isdir(root):
        raise NotADirectoryError(f"fleet root {root!r} is not a directory")
    groups = defaultdict(list)
    skipped = []
    for directory, subdirectories, names in os.walk(root, onerror=lambda error: skipped.append(
            SkippedFile(error.filename or str(root), f"cannot list the directory: "
                                                     f"{error.strerror}"))):
        # Hidden directories and files (".cache", ".written") hold no recordings.
        subdirectories[:] = sorted(d for d in subdirectories if not d.startswith("."))
        for name in sorted(n for n in names if not n.startswith(".")):
            path = os.path.join(directory, name)
            if not os.path.isfile(path):
                skipped.append(SkippedFile(path, "not a regular file"))
                continue
            split = _split_name(name)
            if split is None:
                skipped.append(SkippedFile(path, "its name has no extension, so it belongs to "
                                                 "no recording"))
            elif not _own_member(name, *split):
                skipped.append(SkippedFile(path, f"its name has no middle part: it is not a "
                                                 f"member of {split[0]}.*{split[1]}"))
            else:
                groups[(directory, split[0].lower(), split[1].lower())].append(path)

    recordings = []
    for (directory, _, _), paths in sorted(groups.items()):
        first = sorted(paths)[0]
        try:
            found = describe(first, variant=variant)
        except (RecordingNotFoundError, TrovaError) as error:
            skipped.extend(SkippedFile(p, f"no usable recording: {error}") for p in sorted(paths))
            continue
        in_table = {f.path for f in found.files}
        for path in sorted(paths):
            if path not in in_table:
                skipped.append(SkippedFile(path, f"not usable as a {found.variant} file "
                                                 f"(malformed header, no records or rejected "
                                                 f"times)"))
        stem, extension = _split_name(os.path.basename(found.files[0].path))
        recordings.append(FoundRecording(found.files[0].path, directory, stem, extension, found))
    return Found(recordings, skipped)


# ---- one task: one reader call in a worker process ----------------------------

def read_one(reader, path, arguments):
    """One reader call as a fleet task: never raises, returns a plain dict
    (the long frame of the result, or the error)."""
    from . import readers
    started = time.perf_counter()
    row = dict(path=path, stem=_split_name(os.path.basename(path))[0], status=None,
               status_text=None, error=None, warning=None, frame=None)
    try:
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            result = readers.read(reader, path, progress=False, **arguments)
        row.update(status=result.status, status_text=result.status_text,
                   frame=result.to_long())
        if caught:
            row["warning"] = "; ".join(str(w.message) for w in caught)
    except KeyboardInterrupt:
        raise
    except Exception as error:  # one failing recording is a row, not the end of the run
        row["error"] = f"{type(error).__name__}: {error}"
        if isinstance(error, RecordingNotFoundError):
            row.update(status=3, status_text=meaning(3))
    row["seconds"] = time.perf_counter() - started
    return row


def read_batch(reader, paths, arguments):
    """Several recordings in one task: a task's own cost (scheduling, the
    trip of its result) is paid once for the batch."""
    return [read_one(reader, path, arguments) for path in paths]


@dataclass
class FleetResult:
    """The rows of a fleet run.

    ``frame``: long form, one row per value: the recording columns (path,
    stem, status, status_text, error, warning) then the reader's own
    dimensions, ``statistic`` and ``value``. A failed recording keeps one
    row with its error and no values. ``summary``: one row per recording
    with its status, error and seconds. ``interrupted``: Ctrl-C stopped the
    run; ``pending`` the paths that were not read then."""
    reader: str
    arguments: dict
    rows: list = field(repr=False)
    pending: list = field(default_factory=list)
    interrupted: bool = False
    seconds: float = 0.0

    @property
    def summary(self):
        import pandas as pd
        columns = RECORDING_COLUMNS + ["seconds", "values"]
        return pd.DataFrame([{**{k: r[k] for k in RECORDING_COLUMNS}, "seconds": r["seconds"],
                              "values": 0 if r["frame"] is None else len(r["frame"])}
                             for r in self.rows], columns=columns)

    @property
    def frame(self):
        import pandas as pd
        parts, integers = [], set()
        for r in self.rows:
            part = r["frame"] if r["frame"] is not None else pd.DataFrame(index=[0])
            integers.update(c for c in part.columns if pd.api.types.is_integer_dtype(part[c]))
            part = part.copy()
            for position, column in enumerate(RECORDING_COLUMNS):
                part.insert(position, column, r[column])
            parts.append(part)
        if not parts:
            return pd.DataFrame(columns=RECORDING_COLUMNS)
        frame = pd.concat(parts, ignore_index=True)
        # A failed recording's row has no values: keep integer dimensions
        # (phase, harmonic, bin) integers, with <NA> there.
        for column in integers | {"status"}:
            frame[column] = frame[column].astype("Int64")
        return frame

    @property
    def failed(self):
        return [r for r in self.rows if r["error"] is not None]

    def slowest(self, count=5):
        return sorted(self.rows, key=lambda r: r["seconds"], reverse=True)[:count]


def _paths(recordings):
    if isinstance(recordings, (str, os.PathLike)):
        recordings = find_recordings(recordings)
    return [r.path if isinstance(r, FoundRecording) else os.fspath(r) for r in recordings]


def _client(client, scheduler, workers):
    """(client, owned): the given client, one for the scheduler address, or
    a local cluster of single-threaded worker processes."""
    if client is not None:
        return client, False
    from distributed import Client, LocalCluster
    if scheduler is not None:
        return Client(scheduler), True
    cluster = LocalCluster(n_workers=workers or os.cpu_count() or 1, threads_per_worker=1,
                           processes=True, dashboard_address=None)
    return Client(cluster), True


def _close(client):
    cluster = client.cluster
    try:
        client.close()
        if cluster is not None:
            cluster.close()
    except KeyboardInterrupt:  # a second Ctrl-C while closing: leave the rest to the exit
        pass


def _bar(total, progress):
    if progress is False or (progress is None and not (sys.stderr and sys.stderr.isatty())):
        return None
    from tqdm import tqdm
    return tqdm(total=total, desc="recordings", unit="rec")


def _batches(paths, workers, batch_size):
    """Consecutive runs of paths, about eight per worker unless sized."""
    if batch_size is None:
        batch_size = max(1, min(16, len(paths) // (8 * max(workers, 1))))
    return [paths[i:i + batch_size] for i in range(0, len(paths), batch_size)]


def run(reader, recordings, *, client=None, scheduler=None, workers=None, batch_size=None,
        progress=None, **arguments):
    """Calls ``reader`` (a family name such as "harmonic_table", or an
    export name such as "Reader_FFT_Table2") with ``arguments`` on every
    recording, each call in a worker process.

    ``recordings``: a directory tree, the result of :func:`find_recordings`,
    or paths. ``client``: a ``distributed.Client`` to use; ``scheduler``: the
    address of a cluster's scheduler; otherwise a local cluster of
    ``workers`` processes (default: one per core) starts and stops here.
    ``batch_size``: recordings per task (default: about eight tasks per
    worker, at most 16 recordings each). ``progress``: a bar of recordings
    done when stderr is a terminal (None), always (True) or never (False)."""
    from . import readers
    if reader not in readers.FAMILIES and reader not in readers.READERS:
        raise ValueError(f"unknown reader {reader!r}: one of {', '.join(readers.FAMILIES)} or "
                         f"{', '.join(readers.READERS)}")
    paths = _paths(recordings)
    started = time.perf_counter()
    result = FleetResult(reader, dict(arguments), rows=[])
    if not paths:
        return result
    from distributed import as_completed
    client, owned = _client(client, scheduler, workers)
    bar = _bar(len(paths), progress)
    try:
        batches = _batches(paths, len(client.scheduler_info()["workers"]), batch_size)
        futures = [client.submit(read_batch, reader, batch, arguments, pure=False)
                   for batch in batches]
        order = {future.key: i for i, future in enumerate(futures)}
        done = {}
        try:
            for future in as_completed(futures):
                done[order[future.key]] = future.result()
                if bar is not None:
                    bar.update(len(done[order[future.key]]))
        except KeyboardInterrupt:
            result.interrupted = True
            client.cancel([f for f in futures if order[f.key] not in done])
        result.rows = [row for i in sorted(done) for row in done[i]]
        result.pending = [path for i, batch in enumerate(batches) if i not in done
                          for path in batch]
    finally:
        if bar is not None:
            bar.close()
        if owned:
            _close(client)
    result.seconds = time.perf_counter() - started
    return result
