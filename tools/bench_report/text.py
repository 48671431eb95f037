"""The ratio summary for the console and the Markdown report of one run."""

import math
from itertools import groupby

from .run import argument_suffix

# A single run differs from itself by a few percent; inside this band two forms are called even.
EVEN_BAND = 0.03

MEASURE_TEXT = {"real": "wall time per iteration", "cpu": "CPU time per iteration"}


def format_time(nanoseconds):
    """Three significant digits in the largest unit that keeps the number at 1 or more."""
    value, unit = nanoseconds, "ns"
    for name, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds * 1.0005 >= scale:
            value, unit = nanoseconds / scale, name
            break
    # Counted after rounding, so that 9.996 shows as 10.0 and not 10.00.
    decimals = max(0, 2 - math.floor(math.log10(value * 1.0005))) if value > 0 else 0
    return f"{value:.{decimals}f} {unit}"


def verdict(ratio):
    """The word for a ratio of the first form's time over the second's, with the factor."""
    if not math.isfinite(ratio) or ratio <= 0:
        return "no ratio"
    if ratio < 1 - EVEN_BAND:
        return f"{1 / ratio:.2f}x faster"
    if ratio > 1 + EVEN_BAND:
        return f"{ratio:.2f}x slower"
    return "even"


def format_ratio(ratio):
    return f"{ratio:.3f}" if math.isfinite(ratio) else "-"


def _args_label(args):
    return argument_suffix(args) or "(no arguments)"


def console_summary(pairs, measure):
    """One block per comparison kind; in it a line per argument of each pair, under the pair's mean."""
    lines = [f"Ratios of each form to its counterpart, by {MEASURE_TEXT[measure]}: below 1 is faster"]
    for kind, kind_pairs in groupby(pairs, key=lambda pair: pair.kind):
        lines.append("")
        lines.append(kind)
        for pair in kind_pairs:
            mean = pair.geometric_mean(measure)
            head = f"  {pair.library} / {pair.counterpart}"
            if len(pair.points) == 1 and not pair.points[0].args:
                ratio = pair.points[0].ratio(measure)
                lines.append(f"{head}  {format_ratio(ratio)}  {verdict(ratio)}")
                continue
            lines.append(f"{head}  geomean {format_ratio(mean)}  {verdict(mean)}")
            width = max(len(_args_label(point.args)) for point in pair.points)
            for point in pair.points:
                ratio = point.ratio(measure)
                lines.append(f"      {_args_label(point.args):<{width}}  {format_ratio(ratio):>7}  {verdict(ratio)}")
    return "\n".join(lines) + "\n"


def _cell(text):
    return text.replace("|", "\\|")


def markdown_report(run, pairs, left_alone, charts, measure):
    """The report of one run: its context, a table and a chart per pair, and what has no counterpart.

    `charts` maps a pair's index in `pairs` to the chart's file name beside the report.
    """
    title = run.path.rsplit("/", 1)[-1]
    lines = [f"# Benchmark report: {title}", ""]
    identity = run.describe()
    if identity:
        lines += [f"Run: {_cell(identity)}.", ""]
    lines += [
        f"Times are the {MEASURE_TEXT[measure]}, the median over repetitions. A ratio is the time of the first "
        "form (the library's, the current, the vector or the fast one) over that of its counterpart, the second: "
        f"below 1 the first form is faster. Within {EVEN_BAND:.0%} of 1 the two are called even.",
        "",
    ]
    lines += [
        "## At a glance",
        "",
        "| Comparison | First / second | Points | Geometric mean | |",
        "|---|---|---:|---:|---|",
    ]
    for pair in pairs:
        mean = pair.geometric_mean(measure)
        lines.append(
            f"| {pair.kind} | `{_cell(pair.library)}` / `{_cell(pair.counterpart)}` | {len(pair.points)} "
            f"| {format_ratio(mean)} | {verdict(mean)} |"
        )
    lines.append("")
    for kind, kind_pairs in groupby(enumerate(pairs), key=lambda item: item[1].kind):
        lines += [f"## {kind}", ""]
        for index, pair in kind_pairs:
            mean = pair.geometric_mean(measure)
            lines += [f"### `{pair.library}` / `{pair.counterpart}`", ""]
            if len(pair.points) > 1:
                lines += [f"Geometric mean of the ratios: {format_ratio(mean)}, {verdict(mean)}.", ""]
            lines += ["| Arguments | First | Second | Ratio | |", "|---|---:|---:|---:|---|"]
            for point in pair.points:
                ratio = point.ratio(measure)
                lines.append(
                    f"| `{_cell(_args_label(point.args))}` | {format_time(point.library.time(measure))} "
                    f"| {format_time(point.counterpart.time(measure))} | {format_ratio(ratio)} | {verdict(ratio)} |"
                )
            lines.append("")
            if index in charts:
                lines += [f"![chart of the pair]({charts[index]})", ""]
    if left_alone:
        lines += ["## Without a counterpart", "", "| Benchmark | Time |", "|---|---:|"]
        lines += [f"| `{_cell(item.name)}` | {format_time(item.time(measure))} |" for item in left_alone]
        lines.append("")
    if run.failed:
        lines += ["## Failed", "", "| Benchmark | Error |", "|---|---|"]
        lines += [f"| `{_cell(name)}` | {_cell(message)} |" for name, message in run.failed]
        lines.append("")
    return "\n".join(lines)
