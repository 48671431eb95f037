import math
import tempfile
import unittest

import runs
from bench_report import pairs as P
from bench_report.run import load_run
from bench_report.text import console_summary, verdict

QUEUE = "CQorDoubleEndedArray_StableQueueSize"
POOL = "CQorPoolAllocator_NewAllThenDeleteAll"
FIND = "CQorArray_FindIf_StatefulPred<SArrayTraits<{}>>"

# Every comparison the benchmark families are built for: (library's form, counterpart, kind).
EXPECTED = [
    ("Algorithms_LowerBound_Qor<complex_type>", "Algorithms_LowerBound_std<complex_type>", P.LIBRARY_AGAINST_STANDARD),
    ("Alogrithms_Reverse_Naive<trivial_type>", "Alogrithms_Reverse_std<trivial_type>", P.LIBRARY_AGAINST_STANDARD),
    (FIND.format("CQorArray<CString>, false"), FIND.format("std::vector<CString>, true"), P.LIBRARY_AGAINST_STANDARD),
    (FIND.format("CQorArray<CString>, true"), FIND.format("std::vector<CString>, true"), P.LIBRARY_AGAINST_STANDARD),
    *[
        (f"{QUEUE}<SQor{policy}Traits>", f"{QUEUE}<SStd{standard}Traits>", P.LIBRARY_AGAINST_STANDARD)
        for policy in ("DoubleEndedArray", "ContiguousQueue", "ReverseContiguousQueue")
        for standard in ("Deque", "List", "Vector")
    ],
    (f"{QUEUE}<SQorArrayTraits>", f"{QUEUE}<SStdVectorTraits>", P.LIBRARY_AGAINST_STANDARD),
    ("StringToInteger_from_chars", "StringToInteger_atoi", P.LIBRARY_AGAINST_STANDARD),
    ("StringToInteger_FromString", "StringToInteger_atoi", P.LIBRARY_AGAINST_STANDARD),
    ("IntegerToString_to_chars", "IntegerToString_to_string", P.LIBRARY_AGAINST_STANDARD),
    ("IntegerToString_ToString", "IntegerToString_to_string", P.LIBRARY_AGAINST_STANDARD),
    ("MiscMath_QorSqrti<int32>", "MiscMath_StdSqrti<int32>", P.LIBRARY_AGAINST_STANDARD),
    (
        "MiscMath_FloorToInt<NPriv::Utility_QorFloorToInt>",
        "MiscMath_FloorToInt<NPriv::Utility_StdFloorToInt>",
        P.LIBRARY_AGAINST_STANDARD,
    ),
    (
        "SQorTypeIndex_Hash<SDummyTemplate<0>>",
        "SQorTypeIndex_HashStdTypeIndex<SDummyTemplate<0>>",
        P.LIBRARY_AGAINST_STANDARD,
    ),
    ("MiscMath_Log2Ceil<uint64>", "MiscMath_Log2Ceil_Legacy<uint64>", P.CURRENT_AGAINST_LEGACY),
    ("Matrix3x4_SimdMultiply", "Matrix3x4_ScalarMultiply", P.VECTOR_AGAINST_SCALAR),
    (
        "QorDynamicTypeLibrary_GetStatic_OneType_Optimized_Recycled<64, true>",
        "QorDynamicTypeLibrary_GetStatic_OneType_Fallback_Recycled<64, true>",
        P.FAST_AGAINST_FALLBACK,
    ),
    (
        "QorDynamicTypeLibrary_GetStatic_AllTypes_Optimized<16, false>",
        "QorDynamicTypeLibrary_GetStatic_AllTypes_Fallback<16, false>",
        P.FAST_AGAINST_FALLBACK,
    ),
    (
        f"{POOL}<CQorSynchronizedPoolAllocator<SFixedSize<8>>>",
        f"{POOL}<CQorWrappedNewDeleteAllocator<SFixedSize<8>>>",
        P.POOL_AGAINST_NEW_DELETE,
    ),
    (
        f"{POOL}<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>>",
        f"{POOL}<CQorWrappedNewDeleteAllocator<SFixedSize<8>>>",
        P.POOL_AGAINST_NEW_DELETE,
    ),
    ("LogStream", "LogPrintf", P.STREAM_AGAINST_PRINTF),
]

# Families of the program that have no counterpart: they must not pair with anything.
ALONE = [
    "CQorRobinHoodTable_Insertion<SFastMultHasher, "
    "STwoClusters<SmallCount, SmallRange / 2, 0, SmallRange / 2, LargeOffset>>",
    "QorDynamicTypeLibrary_GetStatic_AllTypes_Mixed<16, false>",
    "Matrix4x4_3x4_SimdMultiply",
    "CQorPoolAllocator_BusyLoop",
    "StringToFixedPoint_from_chars",
    "CQorMultiAny_InsertAndAccess<CQorHybridMultiAny<8, 2>>",
]


class PairingTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)

    def load(self, rows):
        return load_run(runs.write(self.directory.name, "run.json", runs.document(rows)))

    def test_every_comparison_kind_pairs_its_families_and_nothing_else(self):
        families = list(
            dict.fromkeys([name for library, counterpart, _ in EXPECTED for name in (library, counterpart)])
        )
        run = self.load([runs.entry(name + "/8", 10.0) for name in families + ALONE])
        found = [(pair.library, pair.counterpart, pair.kind) for pair in P.find_pairs(run)]
        self.assertCountEqual(found, EXPECTED)
        self.assertEqual([item.family for item in P.unpaired(run, P.find_pairs(run))], ALONE)

    def test_only_arguments_measured_in_both_forms_pair(self):
        rows = [runs.entry(f"Algorithms_UpperBound_Qor<primitive_type>/{n}", 2.0 * n) for n in (1, 2, 4)]
        rows += [runs.entry(f"Algorithms_UpperBound_std<primitive_type>/{n}", 1.0, unit="us") for n in (2, 4, 8)]
        (pair,) = P.find_pairs(self.load(rows))
        self.assertEqual([point.args for point in pair.points], [("2",), ("4",)])
        self.assertEqual([point.ratio("real") for point in pair.points], [0.004, 0.008])

    def test_thread_counts_pair_with_the_same_count_only(self):
        library = f"{POOL}<CQorUnsynchronizedPoolAllocator<SFixedSize<8>>>"
        wrapped = f"{POOL}<CQorWrappedNewDeleteAllocator<SFixedSize<8>>>"
        rows = [runs.entry(f"{library}/16/10/250/threads:1", 30.0)]
        rows += [runs.entry(f"{wrapped}/16/10/250/threads:{n}", 10.0 * n, threads=n) for n in (1, 2)]
        (pair,) = P.find_pairs(self.load(rows))
        self.assertEqual(
            [(point.args, point.ratio("real")) for point in pair.points], [(("16", "10", "250", "threads:1"), 3.0)]
        )

    def test_the_geometric_mean_sums_up_a_pair(self):
        rows = [runs.entry("LogStream/threads:1", 1.0), runs.entry("LogPrintf/threads:1", 4.0)]
        rows += [runs.entry("LogStream/threads:2", 4.0), runs.entry("LogPrintf/threads:2", 1.0)]
        rows += [runs.entry("LogStream/threads:4", 2.0), runs.entry("LogPrintf/threads:4", 1.0)]
        (pair,) = P.find_pairs(self.load(rows))
        self.assertAlmostEqual(pair.geometric_mean("real"), 2 ** (1 / 3))

    def test_a_counterpart_measured_at_zero_gives_no_ratio(self):
        (pair,) = P.find_pairs(self.load([runs.entry("LogStream", 1.0), runs.entry("LogPrintf", 0.0)]))
        self.assertEqual(pair.points[0].ratio("real"), math.inf)
        self.assertTrue(math.isnan(pair.geometric_mean("real")))
        self.assertEqual(verdict(pair.points[0].ratio("real")), "no ratio")


class SummaryTest(unittest.TestCase):
    def test_words_say_which_form_is_faster(self):
        self.assertEqual(verdict(0.5), "2.00x faster")
        self.assertEqual(verdict(1.25), "1.25x slower")
        self.assertEqual(verdict(1.02), "even")
        self.assertEqual(verdict(0.98), "even")

    def test_summary_lists_each_argument_under_its_pair_and_kind(self):
        with tempfile.TemporaryDirectory() as directory:
            rows = [runs.entry("Matrix4x4_SimdMultiply", 5.0), runs.entry("Matrix4x4_ScalarMultiply", 10.0)]
            rows += [
                runs.entry("MiscMath_Power<int32>/2/2/0/30", 3.0),
                runs.entry("MiscMath_Power_Legacy<int32>/2/2/0/30", 2.0),
            ]
            rows += [
                runs.entry("MiscMath_Power<int32>/3/7/0/11", 1.0),
                runs.entry("MiscMath_Power_Legacy<int32>/3/7/0/11", 1.0),
            ]
            run = load_run(runs.write(directory, "run.json", runs.document(rows)))
        lines = console_summary(P.find_pairs(run), "cpu").splitlines()
        self.assertIn("CPU time", lines[0])
        self.assertEqual(
            [line.split() for line in lines[1:]],
            [
                [],
                "Current against legacy".split(),
                "MiscMath_Power<int32> / MiscMath_Power_Legacy<int32> geomean 1.225 1.22x slower".split(),
                "/2/2/0/30 1.500 1.50x slower".split(),
                "/3/7/0/11 1.000 even".split(),
                [],
                "Vector against scalar matrices".split(),
                "Matrix4x4_SimdMultiply / Matrix4x4_ScalarMultiply 0.500 2.00x faster".split(),
            ],
        )


if __name__ == "__main__":
    unittest.main()
