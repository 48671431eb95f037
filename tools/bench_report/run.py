"""Reading a Google Benchmark JSON run into measurements keyed by benchmark name."""

import json
import statistics
from dataclasses import dataclass, field

NANOSECONDS_PER_UNIT = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}

# Wall time is what the console's "Time" column shows; CPU time hides waiting on a lock.
MEASURES = {"real": "real_time", "cpu": "cpu_time"}


class ReportError(Exception):
    """Input that can't be reported on. The message is the reason, written for the user."""

    def __init__(self, path, reason):
        super().__init__(f"{path}: {reason}")
        self.path = path
        self.reason = reason


def split_name(name):
    """Splits "Family<A, B / 2>/16/10/threads:2" into the family and its argument texts.

    Template arguments may hold " / " (the hash table's "SmallRange / 2"), so only slashes outside angle
    brackets separate arguments.
    """
    parts = []
    depth = 0
    start = 0
    for index, char in enumerate(name):
        if char == "<":
            depth += 1
        elif char == ">":
            depth -= 1
        elif char == "/" and depth == 0:
            parts.append(name[start:index])
            start = index + 1
    parts.append(name[start:])
    return parts[0], tuple(parts[1:])


def argument_suffix(args):
    return "".join("/" + arg for arg in args)


@dataclass
class Measurement:
    """One benchmark instance (family and arguments), with its time of every repetition in nanoseconds."""

    name: str
    family: str
    args: tuple
    threads: int = 1
    times: dict = field(default_factory=lambda: {measure: [] for measure in MEASURES})

    def time(self, measure):
        """The median over the repetitions: one slow repetition doesn't move it."""
        return statistics.median(self.times[measure])

    @property
    def repetitions(self):
        return len(self.times["real"])


@dataclass
class Run:
    path: str
    context: dict
    measurements: dict  # name -> Measurement, in the order of the run
    failed: list  # (name, error message) of benchmarks that reported an error

    def describe(self):
        """The run's identity as its context tells it: date, commit, build type and machine."""
        context = self.context
        fields = [context.get("date", "")]
        for key in ("commit", "build_type", "machine"):
            if key in context:
                fields.append(f"{key} {context[key]}")
        if "machine" not in context and "host_name" in context:
            fields.append(f"host {context['host_name']}")
        return ", ".join(text for text in fields if text)


def _number(entry, key, path, index):
    value = entry.get(key)
    if isinstance(value, bool) or not isinstance(value, (int, float)):
        raise ReportError(path, f'not a Google Benchmark run: benchmark {index} has no number "{key}"')
    return float(value)


def _times(entry, path, index):
    unit = entry.get("time_unit")
    if unit not in NANOSECONDS_PER_UNIT:
        raise ReportError(path, f'not a Google Benchmark run: benchmark {index} has no known "time_unit"')
    scale = NANOSECONDS_PER_UNIT[unit]
    return {measure: _number(entry, key, path, index) * scale for measure, key in MEASURES.items()}


def _read_json(path):
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file)
    except OSError as error:
        raise ReportError(path, f"cannot read: {error.strerror}") from None
    except UnicodeDecodeError:
        raise ReportError(path, "not a Google Benchmark run: not UTF-8 text") from None
    except json.JSONDecodeError as error:
        raise ReportError(
            path, f"not a Google Benchmark run: invalid JSON at line {error.lineno} column {error.colno}"
        ) from None


def load_run(path):
    """Reads a run written by --benchmark_out (or --benchmark_format=json).

    Repetitions of one benchmark are gathered under its run name. A run saved with aggregates only has no
    repetition rows; its median stands in for them.
    """
    document = _read_json(path)
    if not isinstance(document, dict) or not isinstance(document.get("benchmarks"), list):
        raise ReportError(path, 'not a Google Benchmark run: no "benchmarks" list')
    if not isinstance(document.get("context"), dict):
        raise ReportError(path, 'not a Google Benchmark run: no "context" object')

    measurements = {}
    medians = {}
    failed = []
    for index, entry in enumerate(document["benchmarks"]):
        if not isinstance(entry, dict) or not isinstance(entry.get("name"), str):
            raise ReportError(path, f'not a Google Benchmark run: benchmark {index} has no "name"')
        run_name = entry.get("run_name", entry["name"])
        if entry.get("error_occurred"):
            failed.append((run_name, str(entry.get("error_message", ""))))
            continue
        run_type = entry.get("run_type", "iteration")
        if run_type == "aggregate":
            if entry.get("aggregate_name") == "median":
                medians[run_name] = (entry, index)
            continue
        if run_type != "iteration":
            continue
        _add(measurements, run_name, entry, _times(entry, path, index))

    for run_name, (entry, index) in medians.items():
        if run_name not in measurements:
            _add(measurements, run_name, entry, _times(entry, path, index))
    return Run(path=path, context=document["context"], measurements=measurements, failed=failed)


def _add(measurements, run_name, entry, times):
    measurement = measurements.get(run_name)
    if measurement is None:
        family, args = split_name(run_name)
        threads = entry.get("threads", 1)
        measurement = Measurement(run_name, family, args, threads if isinstance(threads, int) else 1)
        measurements[run_name] = measurement
    for measure, value in times.items():
        measurement.times[measure].append(value)
