import io
import tempfile
import unittest

import runs
from bench_report import pairs as P
from bench_report.cli import main
from bench_report.run import load_run

PEER_CONTEXT = dict(runs.CONTEXT, executable="./build/release/qor_core_peer_benchmarks")


class PeerPairingTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)

    def load(self, rows, context=PEER_CONTEXT):
        return load_run(runs.write(self.directory.name, "run.json", runs.document(rows, context)))

    def test_names_split_into_family_form_and_types(self):
        rows = [
            ("HashSet_LookupHit_QorFastMult<uint64>", ("HashSet_LookupHit", "QorFastMult", "<uint64>")),
            (
                "HashSet_LookupMissShuffled_HomeEntryFastMultHasher<uint32>",
                ("HashSet_LookupMissShuffled", "HomeEntryFastMultHasher", "<uint32>"),
            ),
            ("Allocate_Mimalloc", ("Allocate", "Mimalloc", "")),
            ("Lexer_Text_Qor<CTextLexer, std::pair<int, int>>", ("Lexer_Text", "Qor", "<CTextLexer, std::pair<int, int>>")),
            ("NoFormHere", None),
            ("Family_<int>", None),
        ]
        for name, expected in rows:
            self.assertEqual(P.split_peer_family(name), expected, name)

    def test_library_forms_are_qor_and_its_variants_only(self):
        rows = [("Qor", True), ("QorFastMult", True), ("Qorx", False), ("Std", False), ("Abseil", False)]
        rows += [("HomeEntryStandardHasher", False)]  # a physical reference is a counterpart
        for form, expected in rows:
            self.assertEqual(P.is_library_form(form), expected, form)

    def test_each_library_form_pairs_with_every_counterpart_of_its_family_types_and_arguments(self):
        family = "HashSet_LookupHit"
        rows = [runs.entry(f"{family}_{form}<uint32>/{n}", time * n) for form, time in
                (("QorStandard", 1.0), ("QorFastMult", 2.0), ("Abseil", 4.0), ("Std", 8.0)) for n in (1000, 100000)]
        # Other types, other families and arguments measured by one side only stay apart.
        rows += [runs.entry(f"{family}_Abseil<uint64>/1000", 1.0), runs.entry("HashSet_Erase_Std<uint32>/1000", 1.0)]
        rows += [runs.entry(f"{family}_Std<uint32>/7", 1.0)]
        found = [
            (pair.library, pair.counterpart, pair.kind, [(p.args, p.ratio("real")) for p in pair.points])
            for pair in P.pairs_of(self.load(rows))
        ]
        points = lambda ratio: [(("1000",), ratio), (("100000",), ratio)]  # noqa: E731
        self.assertEqual(
            found,
            [
                (f"{family}_QorStandard<uint32>", f"{family}_Abseil<uint32>", P.LIBRARY_AGAINST_PEERS, points(0.25)),
                (f"{family}_QorStandard<uint32>", f"{family}_Std<uint32>", P.LIBRARY_AGAINST_PEERS, points(0.125)),
                (f"{family}_QorFastMult<uint32>", f"{family}_Abseil<uint32>", P.LIBRARY_AGAINST_PEERS, points(0.5)),
                (f"{family}_QorFastMult<uint32>", f"{family}_Std<uint32>", P.LIBRARY_AGAINST_PEERS, points(0.25)),
            ],
        )

    def test_only_a_run_of_the_peer_program_pairs_by_the_peer_rule(self):
        rows = [runs.entry("Text_ToChars_Qor/8", 1.0), runs.entry("Text_ToChars_Fmt/8", 2.0)]
        self.assertTrue(P.is_peer_run(self.load(rows)))
        self.assertEqual(len(P.pairs_of(self.load(rows))), 1)
        main_run = self.load(rows, dict(runs.CONTEXT, executable="/x/qor_core_benchmarks"))
        self.assertFalse(P.is_peer_run(main_run))
        self.assertEqual(P.pairs_of(main_run), [])

    def test_the_summary_shows_the_library_against_each_peer(self):
        rows = [runs.entry("Log_File_Qor/threads:1", 3.0), runs.entry("Log_File_Spdlog/threads:1", 6.0)]
        path = runs.write(self.directory.name, "peers.json", runs.document(rows, PEER_CONTEXT))
        out = io.StringIO()
        self.assertEqual(main(["--summary", path], out=out, err=io.StringIO()), 0)
        self.assertIn(P.LIBRARY_AGAINST_PEERS, out.getvalue())
        self.assertIn("Log_File_Qor / Log_File_Spdlog", out.getvalue())
        self.assertIn("2.00x faster", out.getvalue())


if __name__ == "__main__":
    unittest.main()
