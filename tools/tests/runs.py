"""Small Google Benchmark runs made for the tests, in the JSON form of --benchmark_out."""

import json
import os

CONTEXT = {
    "date": "2026-01-02T03:04:05+00:00",
    "host_name": "testhost",
    "num_cpus": 2,
    "library_build_type": "debug",
    "build_type": "Release",
    "commit": "abc1234",
    "machine": "testhost (x86_64; test processor; 2 logical processors)",
}


def entry(name, real, cpu=None, unit="ns", repetition=0, repetitions=1, threads=1):
    return {
        "name": name,
        "family_index": 0,
        "per_family_instance_index": 0,
        "run_name": name,
        "run_type": "iteration",
        "repetitions": repetitions,
        "repetition_index": repetition,
        "threads": threads,
        "iterations": 1000,
        "real_time": real,
        "cpu_time": real if cpu is None else cpu,
        "time_unit": unit,
    }


def aggregate(name, aggregate_name, real, unit="ns"):
    row = entry(f"{name}_{aggregate_name}", real, unit=unit)
    row.update(run_name=name, run_type="aggregate", aggregate_name=aggregate_name, aggregate_unit="time")
    return row


def repeated(name, times, unit="ns"):
    """One row per repetition, as --benchmark_repetitions writes them."""
    return [entry(name, time, unit=unit, repetition=index, repetitions=len(times)) for index, time in enumerate(times)]


def document(rows, context=CONTEXT):
    return {"context": dict(context), "benchmarks": list(rows)}


def write(directory, file_name, content):
    """Writes a run (a dict) as JSON, or any other text as it is, and returns the path."""
    path = os.path.join(directory, file_name)
    with open(path, "w", encoding="utf-8") as file:
        file.write(content if isinstance(content, str) else json.dumps(content))
    return path
