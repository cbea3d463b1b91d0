"""``python3 -m trova fleet ROOT READER [--argument VALUE ...] -o FILE``

The reader's options are its keyword arguments (``--percentile 0.95``,
``--first-harmonic 2``), taken from the reader function itself, so every
reader of the package is available with the names it has in Python.
"""
from __future__ import annotations

import argparse
import inspect
import os
import sys

_NOT_OPTIONS = {"path", "progress"}


def _value(text):
    """A command-line value as Python: int, float, True/False/None or text."""
    lowered = text.lower()
    if lowered in ("true", "yes"):
        return True
    if lowered in ("false", "no"):
        return False
    if lowered == "none":
        return None
    for kind in (int, float):
        try:
            return kind(text)
        except ValueError:
            pass
    return text


def _reader_options(parser, function):
    for name, parameter in inspect.signature(function).parameters.items():
        if name in _NOT_OPTIONS or parameter.default is inspect.Parameter.empty:
            continue
        parser.add_argument("--" + name.replace("_", "-"), dest=name, type=_value,
                            default=argparse.SUPPRESS, metavar="VALUE",
                            help=f"default: {parameter.default!r}")


def add_parser(subparsers):
    from . import readers
    fleet = subparsers.add_parser(
        "fleet", help="run one reader over every recording below a directory",
        description="Runs one reader over every recording below ROOT, one call per recording "
                    "in worker processes (a local cluster, or --scheduler), and writes one "
                    "long table: the recording, its status, then the reader's values.")
    fleet.add_argument("root", help="directory tree holding the recordings")
    fleet.add_argument("-o", "--output", required=True,
                       help="output file: .csv, or .jsonl / .json for JSON lines")
    fleet.add_argument("--workers", type=int, default=None,
                       help="local worker processes (default: one per core)")
    fleet.add_argument("--scheduler", default=None,
                       help="address of a Dask scheduler (default: a local cluster)")
    fleet.add_argument("--variant", choices=["auto", "trend", "harmonic"], default="auto",
                       help="header variant of the recordings (default: auto)")
    readers_parsers = fleet.add_subparsers(dest="reader", required=True, metavar="READER")
    for name, function in readers.FAMILIES.items():
        sub = readers_parsers.add_parser(name.replace("_", "-"),
                                         help=(function.__doc__ or "").strip().split("\n")[0])
        sub.set_defaults(reader_name=name)
        _reader_options(sub, function)
    fleet.set_defaults(run=main)
    return fleet


def write(result, output):
    """CSV, or JSON lines for .jsonl/.json; times as ISO 8601 UTC, values
    with enough digits to give back the reader's float exactly."""
    frame = result.frame
    if "time" in frame.columns:
        frame["time"] = frame["time"].dt.strftime("%Y-%m-%dT%H:%M:%S.%fZ")
    if output.endswith((".jsonl", ".json")):
        frame.to_json(output, orient="records", lines=True, double_precision=15)
    else:
        frame.to_csv(output, index=False)


def main(args):
    from . import fleet
    reader_arguments = {k: v for k, v in vars(args).items()
                        if k not in {"root", "output", "workers", "scheduler", "variant",
                                     "reader", "reader_name", "run", "command"}}
    found = fleet.find_recordings(args.root, variant=args.variant)
    print(f"{len(found)} recording(s) below {args.root}, {len(found.skipped)} file(s) skipped",
          file=sys.stderr)
    for skipped in found.skipped:
        print(f"  skipped {skipped.path}: {skipped.reason}", file=sys.stderr)
    result = fleet.run(args.reader_name, found, workers=args.workers, scheduler=args.scheduler,
                       **reader_arguments)
    write(result, args.output)
    done = len(result.rows)
    print(f"{done} of {len(found)} recording(s) read in {result.seconds:.1f} s"
          f"{' (interrupted)' if result.interrupted else ''}; wrote {args.output}",
          file=sys.stderr)
    for row in result.slowest(3):
        print(f"  slowest: {row['seconds']:.2f} s  {row['path']}", file=sys.stderr)
    for row in result.failed:
        print(f"  failed: {row['path']}: {row['error']}", file=sys.stderr)
    if result.interrupted:
        return 130
    return 1 if done and len(result.failed) == done else 0
