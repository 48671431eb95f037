"""Two runs benchmark by benchmark, with changes beyond the noise of the repetitions marked.

The statistics are those of Google Benchmark's own compare.py (Debian's libbenchmark-tools): a two-sided
Mann-Whitney U test over the repetitions of each benchmark in the two runs.
"""

import math
import sys
from dataclasses import dataclass

from .run import MEASURES, ReportError
from .text import MEASURE_TEXT, format_ratio, format_time

GBENCH_PATH = "/usr/share/benchmark"


def _gbench_report():
    if GBENCH_PATH not in sys.path:
        sys.path.append(GBENCH_PATH)
    try:
        from gbench import report
    except ImportError as error:
        raise ReportError(GBENCH_PATH, f"Google Benchmark's compare tools are missing ({error}): run ./scripts/setup")
    return report


@dataclass
class Change:
    name: str
    old: float  # nanoseconds, median over repetitions
    new: float
    p_value: object  # float, or None where the repetitions are too few to test

    @property
    def ratio(self):
        return self.new / self.old if self.old > 0 else math.inf

    def mark(self, alpha):
        """One of faster, slower, within noise; empty where the repetitions are too few to test."""
        if self.p_value is None:
            return ""
        if self.p_value >= alpha:
            return "within noise"
        return "faster" if self.ratio < 1 else "slower"

    def verdict(self, alpha):
        mark = self.mark(alpha)
        if mark == "faster":
            return f"{1 / self.ratio:.2f}x faster"
        if mark == "slower":
            return f"{self.ratio:.2f}x slower"
        return mark


@dataclass
class Comparison:
    old_run: object
    new_run: object
    changes: list
    only_old: list  # names
    only_new: list
    optimal_repetitions: int


def _as_gbench_document(measurements):
    """The measurements as gbench reads a run: one row per repetition, all in nanoseconds."""
    rows = []
    for measurement in measurements:
        for repetition in range(measurement.repetitions):
            row = {"name": measurement.name, "run_type": "iteration", "time_unit": "ns"}
            for measure, key in MEASURES.items():
                row[key] = measurement.times[measure][repetition]
            rows.append(row)
    return {"benchmarks": rows}


def compare_runs(old_run, new_run, measure):
    common = [name for name in old_run.measurements if name in new_run.measurements]
    if not common:
        raise ReportError(new_run.path, f"no benchmarks in common with {old_run.path}")
    report = _gbench_report()
    old = [old_run.measurements[name] for name in common]
    new = [new_run.measurements[name] for name in common]
    differences = report.get_difference_report(_as_gbench_document(old), _as_gbench_document(new), utest=True)
    p_key = "time_pvalue" if measure == "real" else "cpu_pvalue"
    p_values = {item["name"]: item["utest"][p_key] for item in differences if item["utest"]}
    changes = [
        Change(
            name, old_run.measurements[name].time(measure), new_run.measurements[name].time(measure), p_values.get(name)
        )
        for name in common
    ]
    return Comparison(
        old_run,
        new_run,
        changes,
        [name for name in old_run.measurements if name not in new_run.measurements],
        [name for name in new_run.measurements if name not in old_run.measurements],
        report.UTEST_OPTIMAL_REPETITIONS,
    )


def format_comparison(comparison, measure, alpha):
    old_run, new_run = comparison.old_run, comparison.new_run
    lines = [
        f"Old: {old_run.path} ({old_run.describe()})",
        f"New: {new_run.path} ({new_run.describe()})",
        f"By {MEASURE_TEXT[measure]}, median over repetitions. A change is marked where a Mann-Whitney U test "
        f"over the repetitions gives p < {alpha:g}.",
        "",
        f"{'New/Old':>8}  {'Verdict':<14}  {'Old':>9}  {'New':>9}  {'p':>7}  Benchmark",
    ]
    counts = {"faster": 0, "slower": 0, "within noise": 0, "": 0}
    for change in comparison.changes:
        counts[change.mark(alpha)] += 1
        p_text = f"{change.p_value:.4f}" if change.p_value is not None else "-"
        lines.append(
            f"{format_ratio(change.ratio):>8}  {change.verdict(alpha):<14}  {format_time(change.old):>9}  "
            f"{format_time(change.new):>9}  {p_text:>7}  {change.name}"
        )
    lines.append("")
    lines.append(
        f"{counts['faster']} faster, {counts['slower']} slower, {counts['within noise']} within noise, "
        f"{counts['']} unmarked."
    )
    fewest = min(
        min(old_run.measurements[c.name].repetitions, new_run.measurements[c.name].repetitions)
        for c in comparison.changes
    )
    if fewest < comparison.optimal_repetitions:
        lines.append(
            f"Some benchmarks have {fewest} repetition(s): run both with --benchmark_repetitions="
            f"{comparison.optimal_repetitions} or more to tell changes from noise."
        )
    for label, names in (("Only in the old run", comparison.only_old), ("Only in the new run", comparison.only_new)):
        if names:
            lines.append(f"{label}: {', '.join(names)}")
    return "\n".join(lines) + "\n"
