import tempfile
import unittest

import runs
from bench_report.run import ReportError, load_run


class LoadRunTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)

    def load(self, content):
        return load_run(runs.write(self.directory.name, "run.json", content))

    def test_times_are_nanoseconds_and_repetitions_give_their_median(self):
        rows = runs.repeated("A/1", [3.0, 1.0, 200.0], unit="us")
        rows.append(runs.aggregate("A/1", "mean", 68.0, unit="us"))
        rows.append(runs.entry("B", 2.5, cpu=1.5, unit="ms"))
        run = self.load(runs.document(rows))
        self.assertEqual(list(run.measurements), ["A/1", "B"])
        self.assertEqual(run.measurements["A/1"].repetitions, 3)
        self.assertEqual(run.measurements["A/1"].time("real"), 3000.0)
        self.assertEqual(run.measurements["B"].time("real"), 2.5e6)
        self.assertEqual(run.measurements["B"].time("cpu"), 1.5e6)

    def test_a_run_of_aggregates_only_is_read_through_its_medians(self):
        rows = [runs.aggregate("A/1", name, value) for name, value in (("mean", 9.0), ("median", 7.0))]
        run = self.load(runs.document(rows))
        self.assertEqual(run.measurements["A/1"].time("real"), 7.0)
        self.assertEqual(run.measurements["A/1"].args, ("1",))

    def test_benchmarks_that_failed_are_listed_apart(self):
        failed = {"name": "C/1", "run_name": "C/1", "error_occurred": True, "error_message": "out of memory"}
        run = self.load(runs.document([runs.entry("A", 1.0), failed]))
        self.assertEqual(list(run.measurements), ["A"])
        self.assertEqual(run.failed, [("C/1", "out of memory")])

    def test_what_is_not_a_run_is_refused_with_the_reason(self):
        good = runs.entry("A", 1.0)
        cases = {
            "not JSON": ('{"context": {}, "benchmarks": [', "invalid JSON at line 1 column 32"),
            "a list": ("[]", 'no "benchmarks" list'),
            "no context": ({"benchmarks": []}, 'no "context" object'),
            "a row without name": (runs.document([good, {"real_time": 1}]), 'benchmark 1 has no "name"'),
            "a row without time": (
                runs.document([{k: v for k, v in good.items() if k != "real_time"}]),
                'benchmark 0 has no number "real_time"',
            ),
            "an unknown unit": (runs.document([dict(good, time_unit="fortnights")]), 'no known "time_unit"'),
        }
        for case, (content, reason) in cases.items():
            with self.subTest(case):
                with self.assertRaises(ReportError) as raised:
                    self.load(content)
                self.assertTrue(raised.exception.reason.startswith("not a Google Benchmark run: "))
                self.assertTrue(raised.exception.reason.endswith(reason), raised.exception.reason)

    def test_a_missing_file_is_named(self):
        with self.assertRaises(ReportError) as raised:
            load_run(self.directory.name + "/absent.json")
        self.assertEqual(
            str(raised.exception), self.directory.name + "/absent.json: cannot read: No such file or directory"
        )


if __name__ == "__main__":
    unittest.main()
