import io
import tempfile
import unittest

import runs
from bench_report import cli
from bench_report.compare import compare_runs
from bench_report.run import load_run

BASE = [100.0, 101.0, 99.0, 102.0, 98.0, 100.0, 103.0, 97.0, 100.5]


class CompareTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.directory = temporary.name

    def write(self, file_name, rows):
        return runs.write(self.directory, file_name, runs.document(rows))

    def two_runs(self):
        old = runs.repeated("Slower/1", BASE) + runs.repeated("Faster/1", BASE) + runs.repeated("Same/1", BASE)
        old += [runs.entry("Once/1", 10.0), runs.entry("Dropped", 1.0)]
        new = runs.repeated("Slower/1", [time * 1.2 for time in BASE])
        new += runs.repeated("Faster/1", [time / 100000 for time in BASE], unit="us")
        new += runs.repeated("Same/1", list(reversed(BASE)))
        new += [runs.entry("Once/1", 5.0), runs.entry("Added", 1.0)]
        return self.write("old.json", old), self.write("new.json", new)

    def test_changes_beyond_the_noise_of_repetitions_are_marked(self):
        old, new = self.two_runs()
        comparison = compare_runs(load_run(old), load_run(new), "real")
        marks = {change.name: (round(change.ratio, 3), change.mark(0.05)) for change in comparison.changes}
        self.assertEqual(
            marks,
            {
                "Slower/1": (1.2, "slower"),
                "Faster/1": (0.01, "faster"),
                "Same/1": (1.0, "within noise"),
                "Once/1": (0.5, ""),
            },
        )
        self.assertLess(comparison.changes[0].p_value, 0.001)
        self.assertGreater(comparison.changes[2].p_value, 0.5)
        self.assertEqual((comparison.only_old, comparison.only_new), (["Dropped"], ["Added"]))

    def test_the_comparison_reads_benchmark_by_benchmark(self):
        old, new = self.two_runs()
        out, err = io.StringIO(), io.StringIO()
        self.assertEqual(cli.main([old, new], out, err), 0)
        lines = out.getvalue().splitlines()
        self.assertEqual(
            lines[0],
            f"Old: {old} (2026-01-02T03:04:05+00:00, commit abc1234, build_type Release, "
            "machine testhost (x86_64; test processor; 2 logical processors))",
        )
        rows = {line.split()[-1]: line.split()[:-1] for line in lines[5:9]}
        self.assertEqual(rows["Slower/1"][:3], ["1.200", "1.20x", "slower"])
        self.assertEqual(rows["Faster/1"][:3], ["0.010", "100.00x", "faster"])
        self.assertEqual(rows["Same/1"][:3], ["1.000", "within", "noise"])
        self.assertEqual(rows["Once/1"], ["0.500", "10.0", "ns", "5.00", "ns", "-"])
        self.assertIn("1 faster, 1 slower, 1 within noise, 1 unmarked.", lines)
        self.assertIn(
            "Some benchmarks have 1 repetition(s): run both with --benchmark_repetitions=9 or more "
            "to tell changes from noise.",
            lines,
        )
        self.assertIn("Only in the old run: Dropped", lines)
        self.assertIn("Only in the new run: Added", lines)

    def test_runs_without_a_common_benchmark_are_refused(self):
        old = self.write("old.json", [runs.entry("A", 1.0)])
        new = self.write("new.json", [runs.entry("B", 1.0)])
        out, err = io.StringIO(), io.StringIO()
        self.assertEqual(cli.main([old, new], out, err), 2)
        self.assertEqual(err.getvalue(), f"report: {new}: no benchmarks in common with {old}\n")

    def test_either_file_is_named_when_it_is_not_a_run(self):
        good = self.write("good.json", [runs.entry("A", 1.0)])
        bad = runs.write(self.directory, "bad.json", "not json")
        for argv in ([bad, good], [good, bad]):
            out, err = io.StringIO(), io.StringIO()
            self.assertEqual(cli.main(argv, out, err), 2)
            self.assertEqual(
                err.getvalue(), f"report: {bad}: not a Google Benchmark run: invalid JSON at line 1 column 1\n"
            )
            self.assertEqual(out.getvalue(), "")


if __name__ == "__main__":
    unittest.main()
