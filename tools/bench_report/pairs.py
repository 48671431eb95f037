"""The comparisons the benchmark families are built for, and finding them in a run.

A rule matches the whole family name of the library's form (template arguments included, as registered) and
names its counterparts. Two benchmarks pair when both families are in the run with the same arguments.
"""

import math
import re
from dataclasses import dataclass

LIBRARY_AGAINST_STANDARD = "Library against standard"
CURRENT_AGAINST_LEGACY = "Current against legacy"
VECTOR_AGAINST_SCALAR = "Vector against scalar matrices"
FAST_AGAINST_FALLBACK = "Fast against fallback type look-ups"
POOL_AGAINST_NEW_DELETE = "Pools against wrapped new/delete"
STREAM_AGAINST_PRINTF = "LogStream against LogPrintf"
LIBRARY_AGAINST_PEERS = "Library against peers"

PEER_PROGRAM = "qor_core_peer_benchmarks"


@dataclass(frozen=True)
class Rule:
    kind: str
    pattern: re.Pattern
    counterparts: tuple  # templates for Match.expand

    def counterparts_of(self, family):
        match = self.pattern.fullmatch(family)
        return [match.expand(template) for template in self.counterparts] if match else []


def _rule(kind, pattern, *counterparts):
    return Rule(kind, re.compile(pattern), counterparts)


_QUEUE = "CQorDoubleEndedArray_StableQueueSize"

RULES = (
    _rule(LIBRARY_AGAINST_STANDARD, r"(?P<a>[^<]+)_Qor(?P<t><.*>)?", r"\g<a>_std\g<t>"),
    _rule(LIBRARY_AGAINST_STANDARD, r"Alogrithms_Reverse_Naive(?P<t><.*>)", r"Alogrithms_Reverse_std\g<t>"),
    # The array searched by its own Find and by the standard algorithm, each against the vector.
    _rule(
        LIBRARY_AGAINST_STANDARD,
        r"(?P<f>CQorArray_\w+)<SArrayTraits<CQorArray<(?P<e>.+)>, (?:false|true)>>",
        r"\g<f><SArrayTraits<std::vector<\g<e>>, true>>",
    ),
    _rule(
        LIBRARY_AGAINST_STANDARD,
        _QUEUE + r"<SQor(?:DoubleEndedArray|ContiguousQueue|ReverseContiguousQueue)Traits>",
        _QUEUE + "<SStdDequeTraits>",
        _QUEUE + "<SStdListTraits>",
        _QUEUE + "<SStdVectorTraits>",
    ),
    _rule(LIBRARY_AGAINST_STANDARD, _QUEUE + "<SQorArrayTraits>", _QUEUE + "<SStdVectorTraits>"),
    _rule(LIBRARY_AGAINST_STANDARD, r"StringToInteger_(?:from_chars|FromString)", "StringToInteger_atoi"),
    _rule(LIBRARY_AGAINST_STANDARD, r"IntegerToString_(?:to_chars|ToString)", "IntegerToString_to_string"),
    _rule(LIBRARY_AGAINST_STANDARD, r"MiscMath_QorSqrti(?P<t><.*>)", r"MiscMath_StdSqrti\g<t>"),
    _rule(
        LIBRARY_AGAINST_STANDARD,
        r"MiscMath_FloorToInt<NPriv::Utility_QorFloorToInt>",
        "MiscMath_FloorToInt<NPriv::Utility_StdFloorToInt>",
    ),
    _rule(LIBRARY_AGAINST_STANDARD, r"SQorTypeIndex_Hash(?P<t><.*>)", r"SQorTypeIndex_HashStdTypeIndex\g<t>"),
    _rule(CURRENT_AGAINST_LEGACY, r"(?P<a>[^<]+)(?P<t><.*>)?", r"\g<a>_Legacy\g<t>"),
    _rule(VECTOR_AGAINST_SCALAR, r"(?P<a>Matrix\w+)_SimdMultiply", r"\g<a>_ScalarMultiply"),
    _rule(
        FAST_AGAINST_FALLBACK,
        r"(?P<a>QorDynamicTypeLibrary_GetStatic_\w+?)_Optimized(?P<r>_Recycled)?(?P<t><.*>)",
        r"\g<a>_Fallback\g<r>\g<t>",
    ),
    _rule(
        POOL_AGAINST_NEW_DELETE,
        r"(?P<a>CQorPoolAllocator_\w+)<CQor(?:Synchronized|Unsynchronized)PoolAllocator<(?P<e>.+)>>",
        r"\g<a><CQorWrappedNewDeleteAllocator<\g<e>>>",
    ),
    _rule(STREAM_AGAINST_PRINTF, r"LogStream", "LogPrintf"),
)


@dataclass
class Point:
    """One argument set measured in both forms."""

    args: tuple
    library: object  # Measurement
    counterpart: object  # Measurement

    def ratio(self, measure):
        """The library's time over its counterpart's: below 1 the library's form is faster."""
        counterpart = self.counterpart.time(measure)
        return self.library.time(measure) / counterpart if counterpart > 0 else math.inf


@dataclass
class Pair:
    kind: str
    library: str  # family names
    counterpart: str
    points: list

    def geometric_mean(self, measure):
        ratios = [point.ratio(measure) for point in self.points]
        if any(not math.isfinite(ratio) or ratio <= 0 for ratio in ratios):
            return math.nan
        return math.exp(sum(math.log(ratio) for ratio in ratios) / len(ratios))


def find_pairs(run, rules=RULES):
    """Every pair of families in the run that a rule names, with their common arguments.

    Pairs come in the order of the rules, then of the library's family in the run.
    """
    families = {}
    for measurement in run.measurements.values():
        families.setdefault(measurement.family, {})[measurement.args] = measurement
    pairs = []
    seen = set()
    for rule in rules:
        for family, by_args in families.items():
            for counterpart in rule.counterparts_of(family):
                if counterpart == family or counterpart not in families or (family, counterpart) in seen:
                    continue
                others = families[counterpart]
                points = [
                    Point(args, measurement, others[args]) for args, measurement in by_args.items() if args in others
                ]
                if points:
                    seen.add((family, counterpart))
                    pairs.append(Pair(rule.kind, family, counterpart, points))
    return pairs


def unpaired(run, pairs):
    """The run's measurements that take part in no pair."""
    paired = {id(point.library) for pair in pairs for point in pair.points}
    paired |= {id(point.counterpart) for pair in pairs for point in pair.points}
    return [measurement for measurement in run.measurements.values() if id(measurement) not in paired]


# The peer program's names: <Family>_<Form>[<Types>], the form the last word of the name before the types.
_PEER_NAME = re.compile(r"(?P<family>.+)_(?P<form>[A-Za-z]\w*)(?P<types><.*>)?")


def split_peer_family(family):
    """("Family", "Form", "<Types>") of a peer program family name, or None where the pattern does not hold."""
    match = _PEER_NAME.fullmatch(family)
    if not match or "_" in match["form"]:
        return None
    return match["family"], match["form"], match["types"] or ""


def is_library_form(form):
    """The library's forms are Qor and Qor<Variant>; every other form is a counterpart."""
    return form == "Qor" or (form.startswith("Qor") and form[3:4].isupper())


def is_peer_run(run):
    """A run of the peer program, as its context names the executable."""
    executable = str(run.context.get("executable", ""))
    return executable.replace("\\", "/").rsplit("/", 1)[-1] == PEER_PROGRAM


def find_peer_pairs(run):
    """The peer program's pairing: each library form against every counterpart of the same family and types,
    over their common arguments. Pairs come in the order of the library's family in the run, then of the
    counterpart's."""
    families = {}
    for measurement in run.measurements.values():
        families.setdefault(measurement.family, {})[measurement.args] = measurement
    groups = {}
    for family in families:
        parts = split_peer_family(family)
        if parts:
            name, form, types = parts
            groups.setdefault((name, types), []).append((form, family))
    pairs = []
    for family, by_args in families.items():
        parts = split_peer_family(family)
        if not parts or not is_library_form(parts[1]):
            continue
        for form, counterpart in groups[(parts[0], parts[2])]:
            if is_library_form(form):
                continue
            others = families[counterpart]
            points = [Point(args, measurement, others[args]) for args, measurement in by_args.items() if args in others]
            if points:
                pairs.append(Pair(LIBRARY_AGAINST_PEERS, family, counterpart, points))
    return pairs


def pairs_of(run):
    """The pairs of a run of either program."""
    return find_peer_pairs(run) if is_peer_run(run) else find_pairs(run)
