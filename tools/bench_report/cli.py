"""The report program: `report RUN.json` writes the report of a run, `report OLD.json NEW.json` compares two."""

import argparse
import os
import shutil
import sys
import tempfile

from .compare import compare_runs, format_comparison
from .pairs import pairs_of, unpaired
from .run import MEASURES, ReportError, load_run
from .text import console_summary, markdown_report

REPORT_FILE = "report.md"

DESCRIPTION = """\
With one run: writes report.md and one PNG chart per pair of families into a folder beside the run (the run's
file name without .json), or prints the ratio summary alone with --summary. With two runs: compares them
benchmark by benchmark and marks the changes beyond the noise of their repetitions.
Runs are the JSON files of Google Benchmark (--benchmark_out); ./scripts/bench saves them under results/."""


def _parser():
    parser = argparse.ArgumentParser(
        prog="report", description=DESCRIPTION, formatter_class=argparse.RawDescriptionHelpFormatter
    )
    parser.add_argument("runs", nargs="+", metavar="RUN.json", help="one run to report, or an old and a new run")
    parser.add_argument("--summary", action="store_true", help="print the ratio summary of one run, write nothing")
    parser.add_argument("-o", "--output", metavar="DIR", help="the folder for report.md and the charts")
    parser.add_argument(
        "--time", choices=sorted(MEASURES), default="real", help="wall time (real, the default) or CPU time"
    )
    parser.add_argument("--alpha", type=float, default=0.05, help="significance level of the comparison")
    return parser


def default_output(run_path):
    stem, extension = os.path.splitext(run_path)
    return stem if extension else run_path + ".report"


def write_report(run, pairs, directory, measure):
    """Writes the report into a fresh folder and puts it in place whole, replacing an earlier report there.

    Returns the number of charts. On any failure nothing new stays behind and an earlier report is untouched.
    """
    from . import charts

    directory = os.path.abspath(directory)
    if os.path.lexists(directory) and not os.path.isfile(os.path.join(directory, REPORT_FILE)):
        raise ReportError(directory, "exists and is not a report folder: choose another with --output")
    parent, base = os.path.split(directory)
    os.makedirs(parent, exist_ok=True)
    staging = tempfile.mkdtemp(prefix=f".{base}.", dir=parent)
    try:
        taken = set()
        chart_names = {}
        for index, pair in enumerate(pairs):
            name = charts.chart_file_name(pair, taken)
            charts.write_chart(pair, measure, os.path.join(staging, name))
            chart_names[index] = name
        text = markdown_report(run, pairs, unpaired(run, pairs), chart_names, measure)
        with open(os.path.join(staging, REPORT_FILE), "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(staging, 0o755)
        if os.path.lexists(directory):
            retired = tempfile.mkdtemp(prefix=f".{base}.old.", dir=parent)
            os.rename(directory, retired)
            try:
                os.rename(staging, directory)
            except OSError:
                os.rename(retired, directory)
                raise
            shutil.rmtree(retired, ignore_errors=True)
        else:
            os.rename(staging, directory)
    except BaseException:
        shutil.rmtree(staging, ignore_errors=True)
        raise
    return len(chart_names)


def _report_one(options, out):
    path = options.runs[0]
    run = load_run(path)
    pairs = pairs_of(run)
    if not pairs:
        raise ReportError(path, f"no known pairs among its {len(run.measurements)} benchmarks")
    if options.summary:
        out.write(console_summary(pairs, options.time))
        return
    directory = options.output or default_output(path)
    try:
        count = write_report(run, pairs, directory, options.time)
    except ImportError as error:
        raise ReportError(path, f"cannot draw the charts ({error}): run ./scripts/setup") from None
    except OSError as error:
        raise ReportError(directory, f"cannot write: {error.strerror}") from None
    out.write(f"report: wrote {os.path.join(directory, REPORT_FILE)} and {count} charts\n")


def main(argv=None, out=None, err=None):
    out = out or sys.stdout
    err = err or sys.stderr
    parser = _parser()
    options = parser.parse_args(argv)
    if len(options.runs) > 2:
        parser.error("give one run to report, or two runs to compare")
    if not 0 < options.alpha < 1:
        parser.error("--alpha is a probability between 0 and 1")
    if len(options.runs) == 2 and (options.summary or options.output):
        parser.error("--summary and --output apply to the report of one run")
    try:
        if len(options.runs) == 1:
            _report_one(options, out)
        else:
            old_run, new_run = (load_run(path) for path in options.runs)
            out.write(format_comparison(compare_runs(old_run, new_run, options.time), options.time, options.alpha))
    except ReportError as error:
        err.write(f"report: {error}\n")
        return 2
    return 0
