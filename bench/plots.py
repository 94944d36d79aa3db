"""plots.py RESULTS FOLDER - draws what scripts/bench measured of growth, as SVG."""

import pathlib
import sys

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot

from report import medians

# Read on a light and on a dark page.
INK = "#777777"
COLOURS = "#1f77b4", "#d9730d", "#2a9d4a", "#9467bd"
pyplot.rcParams.update({
    "svg.hashsalt": "qldapx",
    "font.size": 9,
    "axes.spines.top": False,
    "axes.spines.right": False,
    "axes.edgecolor": INK,
    "axes.labelcolor": INK,
    "axes.titlecolor": INK,
    "text.color": INK,
    "xtick.color": INK,
    "ytick.color": INK,
    "legend.frameon": False,
    "axes.prop_cycle": matplotlib.cycler(color=COLOURS),
})


def series(values, prefix):
    """What is called prefix-N, as two lists: N, values; by N."""
    found = {
        int(name.rpartition("-")[2]): value
        for name, value in values.items()
        if name.startswith(f"{prefix}-")
    }
    sizes = sorted(found)
    return sizes, [found[size] for size in sizes]


def logarithmic(axes, title, x, y):
    axes.set(title=title, xlabel=x, ylabel=y, xscale="log", yscale="log")
    axes.grid(color=INK, alpha=0.25, linewidth=0.5)
    axes.legend()


def schema_costs(results, kind):
    """The medians of each size: size -> name -> microseconds."""
    return {
        int(path.stem.rpartition("-")[2]): medians(path)
        for path in results.glob(f"{kind}-*0.txt")
    }


def draw_schema(results, folder):
    figure, (fetch, edit) = pyplot.subplots(1, 2, figsize=(9, 3.6), layout="constrained")
    for axes, kind, lines in (
        (fetch, "fetch", {"library": "ldap_schema_fetch", "hand": "by hand on libldap"}),
        (edit, "edit", {"add": "add", "modify": "modify", "delete": "delete",
                        "move": "moving so many pointers"}),
    ):
        costs = sorted(schema_costs(results, kind).items())
        for name, label in lines.items():
            axes.plot([size for size, _ in costs], [cost[name] for _, cost in costs],
                      marker="o", markersize=3, label=label)
    logarithmic(fetch, "A fetch", "attribute types", "microseconds of the processor")
    logarithmic(edit, "An edit", "elements", "microseconds of the processor")
    save(figure, folder / "schema.svg")


def draw_bulk(results, folder):
    values = medians(results / "lburp-growth.txt")
    figure, panels = pyplot.subplots(1, 2, figsize=(9, 3.6), layout="constrained", sharey=True)
    for axes, prefix, what in zip(
        panels, ("batch", "window"),
        ("adds a request, 4 requests under way", "requests under way, 100 adds each"),
    ):
        sizes, speed = series(values, prefix)
        axes.plot(sizes, speed, marker="o", markersize=3, label="bulk update")
        axes.axhline(values["pipelined"], linestyle="--", color=COLOURS[1], label="ldap_add_ext")
        logarithmic(axes, f"Size of the {prefix}", what, "adds a second")
        axes.set_xticks(sizes, [str(size) for size in sizes])
        axes.minorticks_off()
    save(figure, folder / "bulk.svg")


def save(figure, path):
    figure.savefig(path, transparent=True, metadata={"Date": None})


def main(results, folder):
    folder.mkdir(exist_ok=True)
    draw_schema(results, folder)
    draw_bulk(results, folder)


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
