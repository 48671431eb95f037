"""One PNG per pair: both forms' times against the argument and their ratio, or two bars for a single point."""

import hashlib
import math
import os
import re

from .run import argument_suffix
from .text import EVEN_BAND, MEASURE_TEXT, format_ratio, verdict

# Arguments that span this factor or more are drawn on a logarithmic axis.
DECADES = 100.0

LIBRARY_COLOUR = "#1f77b4"
COUNTERPART_COLOUR = "#ff7f0e"
FASTER_COLOUR = "#2ca02c"
SLOWER_COLOUR = "#d62728"
EVEN_COLOUR = "#7f7f7f"


def _slug(text):
    return re.sub(r"[^A-Za-z0-9_]+", "-", text).strip("-")


def chart_file_name(pair, taken):
    """A file name from the two family names, shortened with a digest where they are long, unique in `taken`."""
    shared = os.path.commonprefix([pair.library, pair.counterpart])
    shared = len(shared) - len(re.search(r"[^_<, ]*$", shared).group())
    slug = f"{_slug(pair.library)}-vs-{_slug(pair.counterpart[shared:])}"
    if len(slug) > 150:
        digest = hashlib.sha1(slug.encode()).hexdigest()[:8]
        slug = f"{slug[:140].rstrip('-')}-{digest}"
    name = f"{slug}.png"
    number = 2
    while name in taken:
        name = f"{slug}-{number}.png"
        number += 1
    taken.add(name)
    return name


def _numeric(arg):
    text = arg.split(":", 1)[1] if arg.startswith("threads:") else arg
    try:
        return int(text)
    except ValueError:
        return None


def _scale_of(values):
    """Linear, or logarithmic where the values span decades; symmetric-log when they change sign."""
    magnitudes = [abs(value) for value in values if value != 0]
    if not magnitudes or max(magnitudes) / min(magnitudes) < DECADES:
        return ("linear", {})
    if min(values) > 0:
        powers_of_two = all(value & (value - 1) == 0 for value in values if isinstance(value, int))
        return ("log", {"base": 2 if powers_of_two else 10})
    return ("symlog", {"linthresh": min(magnitudes)})


def x_axis(points):
    """Where each point stands on the x axis, the axis label, its scale, and tick labels for a categorical axis.

    A numeric axis is used when exactly one argument varies between the points; otherwise every argument set
    is one place on the axis, in the run's order.
    """
    args = [point.args for point in points]
    if len({len(item) for item in args}) == 1:
        varying = [index for index in range(len(args[0])) if len({item[index] for item in args}) > 1]
        if len(varying) == 1:
            index = varying[0]
            values = [_numeric(item[index]) for item in args]
            if None not in values:
                if args[0][index].startswith("threads:"):
                    label = "threads"
                else:
                    label = "argument" if len(args[0]) == 1 else f"argument {index + 1} of {len(args[0])}"
                return values, label, _scale_of(values), None
    return list(range(len(points))), "arguments", ("linear", {}), [argument_suffix(item) or "-" for item in args]


def _time_unit(values):
    largest = max(values)
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if largest >= scale:
            return unit, scale
    return "ns", 1.0


def _ratio_colour(ratio):
    if ratio < 1 - EVEN_BAND:
        return FASTER_COLOUR
    if ratio > 1 + EVEN_BAND:
        return SLOWER_COLOUR
    return EVEN_COLOUR


def _plain_numbers(axis):
    from matplotlib.ticker import FuncFormatter, NullFormatter

    axis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g}"))
    axis.set_minor_formatter(NullFormatter())


def _draw_times(axes, pair, measure, xs, order):
    library = [point.library.time(measure) for point in pair.points]
    counterpart = [point.counterpart.time(measure) for point in pair.points]
    unit, scale = _time_unit(library + counterpart)
    for values, name, colour, marker in (
        (library, pair.library, LIBRARY_COLOUR, "o"),
        (counterpart, pair.counterpart, COUNTERPART_COLOUR, "s"),
    ):
        axes.plot(xs, [values[index] / scale for index in order], marker=marker, color=colour, label=name)
    positive = [value for value in library + counterpart if value > 0]
    if positive and max(positive) / min(positive) >= DECADES:
        axes.set_yscale("log")
        _plain_numbers(axes.yaxis)
    else:
        axes.set_ylim(bottom=0)
    axes.set_ylabel(f"{MEASURE_TEXT[measure]} ({unit})")
    axes.legend(loc="best", fontsize=8)
    axes.grid(True, which="major", alpha=0.3)


def _draw_ratios(axes, pair, measure, xs, order):
    ratios = [pair.points[index].ratio(measure) for index in order]
    axes.plot(xs, ratios, color=EVEN_COLOUR, linewidth=1, zorder=1)
    axes.scatter(xs, ratios, c=[_ratio_colour(ratio) for ratio in ratios], zorder=2)
    axes.axhline(1.0, color="black", linewidth=0.8)
    finite = [ratio for ratio in ratios if math.isfinite(ratio) and ratio > 0]
    if finite and max(finite) / min(finite) >= 10:
        axes.set_yscale("log")
    _plain_numbers(axes.yaxis)
    axes.set_ylabel("first / second")
    axes.set_title("below 1: the first form is faster", fontsize=8, loc="right")
    axes.grid(True, which="major", alpha=0.3)


def _draw_single(plt, pair, measure):
    """A pair measured at one argument set: two bars, and the ratio in words."""
    point = pair.points[0]
    times = [point.library.time(measure), point.counterpart.time(measure)]
    unit, scale = _time_unit(times)
    figure, axes = plt.subplots(figsize=(10, 3.2))
    ratio = point.ratio(measure)
    title = f"{pair.kind}: ratio {format_ratio(ratio)}, {verdict(ratio)}"
    figure.suptitle(title, fontsize=12, fontweight="bold")
    names = [pair.library + argument_suffix(point.args), pair.counterpart + argument_suffix(point.args)]
    axes.barh([1, 0], [time / scale for time in times], color=[LIBRARY_COLOUR, COUNTERPART_COLOUR], height=0.6)
    axes.set_yticks([1, 0])
    axes.set_yticklabels(names, fontsize=8)
    axes.set_xlabel(f"{MEASURE_TEXT[measure]} ({unit})")
    axes.grid(True, axis="x", alpha=0.3)
    return figure


def _draw_series(plt, pair, measure):
    """Both forms' times against the argument, and their ratio beneath."""
    figure, (times_axes, ratio_axes) = plt.subplots(
        2, 1, figsize=(10, 6.5), sharex=True, gridspec_kw={"height_ratios": [3, 1.4]}
    )
    figure.suptitle(pair.kind, fontsize=12, fontweight="bold")
    x, x_label, (x_scale, x_options), ticks = x_axis(pair.points)
    order = sorted(range(len(x)), key=lambda index: x[index])
    xs = [x[index] for index in order]
    _draw_times(times_axes, pair, measure, xs, order)
    _draw_ratios(ratio_axes, pair, measure, xs, order)

    ratio_axes.set_xscale(x_scale, **x_options)
    ratio_axes.set_xlabel(x_label)
    if ticks is not None:
        ratio_axes.set_xticks(xs)
        slanted = len(xs) > 4
        ratio_axes.set_xticklabels(
            [ticks[index] for index in order],
            rotation=45 if slanted else 0,
            ha="right" if slanted else "center",
            fontsize=8,
        )
    elif len(xs) <= 12:
        ratio_axes.set_xticks(xs)
        _plain_numbers(ratio_axes.xaxis)
    return figure


def write_chart(pair, measure, path):
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure = (_draw_single if len(pair.points) == 1 else _draw_series)(plt, pair, measure)
    figure.tight_layout()
    figure.savefig(path, dpi=80)
    plt.close(figure)
