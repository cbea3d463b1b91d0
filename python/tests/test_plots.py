"""Plots produce images with the expected axes; the command line; finding the library."""
import _ctypes
import os
import subprocess
import sys

import pytest

import trova
from trova import plot


def figures(recordings):
    trend, flat = recordings["trend"]["first"], recordings["flat"]["first"]
    spectrum = trova.spectrum_trend(flat, quantity=2)
    table = trova.harmonic_table(flat)
    return [
        (plot.trend_band, trova.trend(trend, points=50), "time (UTC)", "value"),
        (plot.trend_band, trova.harmonic_trend(flat, reader="decimated"), "time (UTC)", "value"),
        (plot.histogram, trova.histogram(trend), "value", "records"),
        (plot.spectrum, table, "harmonic position", "value"),
        (plot.spectrum, spectrum, "harmonic position", "value"),
        (plot.spectrum_over_time, spectrum, "time (UTC)", "harmonic position"),
        (plot.percentile_table, table, "", ""),
    ]


def test_every_plot_saves_its_axes_and_refuses_the_wrong_result(recordings, tmp_path):
    for i, (draw, result, xlabel, ylabel) in enumerate(figures(recordings)):
        png = tmp_path / f"{i}.png"  # the format by the extension: the command line's SVG below
        axes = draw(result, output=png).axes[0]
        assert (axes.get_xlabel(), axes.get_ylabel()) == (xlabel, ylabel), draw.__name__
        assert png.read_bytes()[:8] == b"\x89PNG\r\n\x1a\n" and png.stat().st_size > 5000
        if draw is plot.trend_band:
            assert axes.lines and len(axes.get_legend().texts) == 3  # one per channel or phase
    with pytest.raises(TypeError, match="spectrum_over_time takes a SpectrumTrendResult"):
        plot.spectrum_over_time(trova.trend(recordings["trend"]["first"]))


def run_module(*arguments, env=None):
    return subprocess.run([sys.executable, "-m", "trova", *arguments], capture_output=True,
                          text=True, env=env, timeout=60)


def test_command_line_plots_and_describes(recordings, tmp_path):
    output = tmp_path / "table.svg"
    done = run_module("plot", "table", recordings["flat"]["first"], "-o", str(output))
    assert done.returncode == 0 and b"<svg" in output.read_bytes()[:1000], done.stderr
    done = run_module("describe", recordings["trend"]["first"])
    assert done.returncode == 0 and "3 file(s), 180 records" in done.stdout
    done = run_module("plot", "trend", "/nowhere/x.1.dat", "-o", str(output))
    assert done.returncode == 1 and "no recording at '/nowhere/x.1.dat'" in done.stderr


@pytest.mark.parametrize("library, message", [
    ("/nowhere/libtrova.so", "TROVA_LIBRARY names /nowhere/libtrova.so, which does not exist"),
    (_ctypes.__file__, "is not the trova library this package expects: it lacks Reader_XT"),
])
def test_a_wrong_library_gives_one_clear_message(recordings, library, message):
    env = dict(os.environ, TROVA_LIBRARY=library)
    done = run_module("describe", recordings["trend"]["first"], env=env)
    assert done.returncode == 1 and message in done.stderr and "Traceback" not in done.stderr


@pytest.mark.skipif(os.environ.get("TROVA_EXPECT_INSTALLED") != "1",
                    reason="only for the installed package")
def test_the_installed_package_carries_its_library():
    package = os.path.dirname(trova.__file__)
    assert "site-packages" in package and "TROVA_LIBRARY" not in os.environ
    assert trova.library_path() == os.path.join(package, "_lib", "libtrova.so")
