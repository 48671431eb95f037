import io
import os
import tempfile
import unittest
from unittest import mock

import runs
from bench_report import charts, cli

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"


def bound_rows():
    rows = []
    for n in (1, 8, 64, 512):
        rows.append(runs.entry(f"Algorithms_LowerBound_Qor<primitive_type>/{n}", 2.0 + n / 64))
        rows.append(runs.entry(f"Algorithms_LowerBound_std<primitive_type>/{n}", 3.0 + n / 32))
    rows += [runs.entry("Matrix3x3_SimdMultiply", 4.0), runs.entry("Matrix3x3_ScalarMultiply", 9.0)]
    rows.append(runs.entry("CQorPoolAllocator_BusyLoop/10", 20.0))
    return rows


class ReportTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.directory = temporary.name

    def main(self, *argv):
        out, err = io.StringIO(), io.StringIO()
        status = cli.main(list(argv), out, err)
        return status, out.getvalue(), err.getvalue()

    def test_report_writes_markdown_and_a_chart_per_pair_beside_the_run(self):
        path = runs.write(self.directory, "2026-01-02_030405_abc1234.json", runs.document(bound_rows()))
        status, out, err = self.main(path)
        self.assertEqual((status, err), (0, ""))
        folder = os.path.join(self.directory, "2026-01-02_030405_abc1234")
        self.assertEqual(out, f"report: wrote {folder}/report.md and 2 charts\n")
        pngs = sorted(name for name in os.listdir(folder) if name.endswith(".png"))
        self.assertEqual(len(pngs), 2)
        for name in pngs:
            with open(os.path.join(folder, name), "rb") as file:
                self.assertEqual(file.read(8), PNG_SIGNATURE)
        with open(os.path.join(folder, "report.md"), encoding="utf-8") as file:
            report = file.read()
        self.assertIn("commit abc1234, build_type Release", report)
        self.assertIn(
            "### `Algorithms_LowerBound_Qor<primitive_type>` / `Algorithms_LowerBound_std<primitive_type>`", report
        )
        self.assertIn("| `/512` | 10.0 ns | 19.0 ns | 0.526 | 1.90x faster |", report)
        self.assertIn(
            "| Vector against scalar matrices | `Matrix3x3_SimdMultiply` / `Matrix3x3_ScalarMultiply` | 1 | 0.444 "
            "| 2.25x faster |",
            report,
        )
        self.assertIn("| `(no arguments)` | 4.00 ns | 9.00 ns | 0.444 | 2.25x faster |", report)
        self.assertIn("| `CQorPoolAllocator_BusyLoop/10` | 20.0 ns |", report)
        for name in pngs:
            self.assertIn(f"]({name})", report)
        self.assertEqual(
            sorted(os.listdir(self.directory)), ["2026-01-02_030405_abc1234", "2026-01-02_030405_abc1234.json"]
        )

    def test_a_new_report_replaces_the_earlier_one_whole(self):
        path = runs.write(self.directory, "run.json", runs.document(bound_rows()))
        folder = os.path.join(self.directory, "out")
        os.mkdir(folder)
        for name in ("report.md", "stale.png"):
            runs.write(folder, name, "earlier")
        self.assertEqual(self.main(path, "--output", folder)[0], 0)
        self.assertNotIn("stale.png", os.listdir(folder))
        self.assertEqual(sorted(os.listdir(self.directory)), ["out", "run.json"])

    def test_summary_prints_the_ratios_and_writes_nothing(self):
        path = runs.write(self.directory, "run.json", runs.document(bound_rows()))
        status, out, _ = self.main("--summary", path)
        self.assertEqual(status, 0)
        self.assertIn("Matrix3x3_SimdMultiply / Matrix3x3_ScalarMultiply  0.444  2.25x faster", out)
        self.assertEqual(os.listdir(self.directory), ["run.json"])

    def assert_refused(self, argv, message):
        """Exit status 2, one line naming the file and the reason, and nothing new in the folder."""
        before = sorted(os.listdir(self.directory))
        status, out, err = self.main(*argv)
        self.assertEqual((status, out), (2, ""))
        self.assertEqual(err, f"report: {message}\n")
        self.assertEqual(sorted(os.listdir(self.directory)), before)

    def test_a_file_that_is_not_a_run_is_refused(self):
        path = runs.write(self.directory, "notes.json", '{"name": "not a run"}')
        self.assert_refused([path], f'{path}: not a Google Benchmark run: no "benchmarks" list')
        truncated = runs.write(self.directory, "cut.json", '{"context": {}, "benchmarks": [{"name"')
        self.assert_refused([truncated], f"{truncated}: not a Google Benchmark run: invalid JSON at line 1 column 39")

    def test_a_run_without_known_pairs_is_refused(self):
        rows = [
            runs.entry("CQorPoolAllocator_BusyLoop/10", 20.0),
            runs.entry("Algorithms_LowerBound_Qor<primitive_type>/1", 1.0),
        ]
        path = runs.write(self.directory, "alone.json", runs.document(rows))
        self.assert_refused([path], f"{path}: no known pairs among its 2 benchmarks")
        self.assert_refused(["--summary", path], f"{path}: no known pairs among its 2 benchmarks")

    def test_a_folder_that_is_no_report_is_not_overwritten(self):
        path = runs.write(self.directory, "run.json", runs.document(bound_rows()))
        folder = os.path.join(self.directory, "run")
        os.mkdir(folder)
        runs.write(folder, "mine.txt", "keep")
        self.assert_refused([path], f"{folder}: exists and is not a report folder: choose another with --output")
        self.assertEqual(os.listdir(folder), ["mine.txt"])

    def test_a_failure_while_writing_leaves_nothing_and_keeps_the_earlier_report(self):
        path = runs.write(self.directory, "run.json", runs.document(bound_rows()))
        self.assertEqual(self.main(path)[0], 0)
        folder = os.path.join(self.directory, "run")
        earlier = sorted(os.listdir(folder))
        drawn = []
        draw = charts.write_chart

        def fail_on_second(pair, measure, target):
            if drawn:
                raise OSError(28, "No space left on device", target)
            drawn.append(target)
            draw(pair, measure, target)

        with mock.patch.object(charts, "write_chart", fail_on_second):
            status, _, err = self.main(path)
        self.assertEqual(status, 2)
        self.assertEqual(err, f"report: {folder}: cannot write: No space left on device\n")
        self.assertEqual(sorted(os.listdir(self.directory)), ["run", "run.json"])
        self.assertEqual(sorted(os.listdir(folder)), earlier)


class ChartAxisTest(unittest.TestCase):
    class Point:
        def __init__(self, *args):
            self.args = args

    def test_one_varying_argument_spanning_decades_is_a_logarithmic_axis(self):
        points = [self.Point(str(n)) for n in (1, 2, 4, 512)]
        self.assertEqual(charts.x_axis(points), ([1, 2, 4, 512], "argument", ("log", {"base": 2}), None))
        points = [self.Point("16", str(n), "threads:1") for n in (10, 100, 1000)]
        self.assertEqual(charts.x_axis(points)[1:3], ("argument 2 of 3", ("log", {"base": 10})))
        points = [self.Point(str(n)) for n in (-2147483648, -8, 0, 8, 2147483647)]
        self.assertEqual(charts.x_axis(points)[2], ("symlog", {"linthresh": 8}))

    def test_threads_alone_are_a_linear_axis(self):
        points = [self.Point(f"threads:{n}") for n in (1, 2, 4)]
        self.assertEqual(charts.x_axis(points), ([1, 2, 4], "threads", ("linear", {}), None))

    def test_arguments_that_vary_together_are_places_in_run_order(self):
        points = [self.Point("10", "1"), self.Point("100", "10"), self.Point("1000", "100")]
        self.assertEqual(
            charts.x_axis(points), ([0, 1, 2], "arguments", ("linear", {}), ["/10/1", "/100/10", "/1000/100"])
        )


if __name__ == "__main__":
    unittest.main()
