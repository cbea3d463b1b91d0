"""python3 -m trova: describe a recording or draw one of the plots.

    python3 -m trova describe PATH
    python3 -m trova plot trend PATH [--quantity 2 --block 2 --points 500] -o trend.png
    python3 -m trova plot histogram PATH [--quantity 2] -o hist.svg
    python3 -m trova plot spectrum PATH [--quantity 1 --first 1] -o spectrum.png
    python3 -m trova plot spectrum-time PATH [--phase 0] -o heat.png
    python3 -m trova plot table PATH [--percentile 0.95] -o table.png
    python3 -m trova fleet ROOT harmonic-table --percentile 0.95 --flagged 0 -o table.csv

trend and histogram read a trend recording with the trend readers and a
harmonic recording with the harmonic ones (position --harmonic).
"""
from __future__ import annotations

import argparse
import sys

PLOTS = ("trend", "histogram", "spectrum", "spectrum-time", "table")


def _parser():
    parser = argparse.ArgumentParser(prog="python3 -m trova", description=__doc__.split("\n")[0])
    commands = parser.add_subparsers(dest="command", required=True)
    describe = commands.add_parser("describe", help="what a recording holds")
    describe.add_argument("path")
    plot = commands.add_parser("plot", help="draw a plot into a PNG or SVG file")
    plot.add_argument("kind", choices=PLOTS)
    plot.add_argument("path", help="any one file of the recording")
    plot.add_argument("-o", "--output", required=True, help="file to write (.png, .svg, .pdf)")
    plot.add_argument("--quantity", type=int, help="quantity index or code")
    plot.add_argument("--block", type=int, default=2, help="statistic block (trend recordings)")
    plot.add_argument("--harmonic", type=int, default=0, help="harmonic position")
    plot.add_argument("--value-set", type=int, default=0, choices=(0, 1))
    plot.add_argument("--points", type=int, default=500)
    plot.add_argument("--start", help="window start: ISO time or seconds since 1904")
    plot.add_argument("--stop", help="window stop: ISO time or seconds since 1904")
    plot.add_argument("--percentile", type=float, default=0.95)
    plot.add_argument("--reader", help="angles, powers or decimated (harmonic readers)")
    plot.add_argument("--phase", type=int, default=0, help="phase of the spectrum heat map")
    plot.add_argument("--first", type=int, default=0, help="first harmonic position drawn")
    plot.add_argument("--title")
    from ._fleet_cli import add_parser as add_fleet_parser
    add_fleet_parser(commands)
    return parser


def _bound(text):
    if text is None:
        return None
    try:
        return float(text)
    except ValueError:
        return text


def _read(args, trova):
    window = dict(start=_bound(args.start), stop=_bound(args.stop))
    if args.reader:
        window["reader"] = args.reader
    harmonic = trova.describe(args.path).variant == "harmonic"
    if args.kind in ("trend", "histogram") and not harmonic:
        window.pop("reader", None)
        quantity = 2 if args.quantity is None else args.quantity
        if args.kind == "trend":
            return trova.trend(args.path, quantity=quantity, block=args.block,
                               points=args.points, **window)
        return trova.histogram(args.path, quantity=quantity, block=args.block, **window)
    common = dict(value_set=args.value_set, **window)
    if args.kind == "trend":
        return trova.harmonic_trend(args.path, quantity=args.quantity or 2,
                                    harmonic=args.harmonic, points=args.points, **common)
    if args.kind == "histogram":
        return trova.harmonic_histogram(args.path, quantity=args.quantity or 2,
                                        harmonic=args.harmonic, **common)
    if args.kind == "table":
        return trova.harmonic_table(args.path, quantity=args.quantity or 1,
                                    percentile=args.percentile, **common)
    return trova.spectrum_trend(args.path, quantity=args.quantity or 1, **common)


def main(argv=None):
    args = _parser().parse_args(argv)
    import trova
    if args.command == "fleet":
        return args.run(args)
    try:
        if args.command == "describe":
            print(trova.describe(args.path))
            return 0
        from trova import plot
        result = _read(args, trova)
        draw = {"trend": plot.trend_band, "histogram": plot.histogram,
                "spectrum": lambda r, **k: plot.spectrum(r, first=args.first, **k),
                "spectrum-time": lambda r, **k: plot.spectrum_over_time(
                    r, phase=args.phase, first=args.first, **k),
                "table": plot.percentile_table}[args.kind]
        draw(result, output=args.output, title=args.title)
    except (trova.TrovaError, trova.TrovaLibraryError, ValueError, TypeError) as error:
        print(f"python3 -m trova: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("python3 -m trova: interrupted; the reader was cancelled", file=sys.stderr)
        return 130
    print(args.output)
    return 0


if __name__ == "__main__":
    sys.exit(main())
