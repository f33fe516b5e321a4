"""Pictures of the results."""

import matplotlib

from matplotlib import pyplot


def plot(results, directory):
    """Draws the time per file against the number of files, and cold times against jobs."""
    matplotlib.use("svg")
    # Text stays text, and the same results give the same file.
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "jorv"})
    curves = {}
    for row in results["comparisons"]:
        if row["curve"] and "wall" in row:
            picture = "cold" if row["work"].startswith("caches dropped") else "files"
            curves.setdefault(picture, {}).setdefault(row["curve"], []).append(
                (row["x"], row["wall"]["subject"], row["per"]))
    labels = {"files": ("files of the share", "time per file, µs", 1e6),
              "cold": ("jobs or threads", "time, caches dropped, s", 1)}
    directory.mkdir(parents=True, exist_ok=True)
    for picture, named in curves.items():
        x_label, y_label, scale = labels[picture]
        figure, axes = pyplot.subplots(figsize=(7, 4))
        for name, points in sorted(named.items()):
            points.sort(key=lambda point: point[0])
            unit = [scale / (per if picture == "files" else 1) for _, _, per in points]
            middle = [wall["median"] * u for (_, wall, _), u in zip(points, unit)]
            spread = [[m - wall["best"] * u for (_, wall, _), u, m in zip(points, unit, middle)],
                      [wall["worst"] * u - m for (_, wall, _), u, m in zip(points, unit, middle)]]
            axes.errorbar([x for x, _, _ in points], middle, yerr=spread, marker="o", capsize=3,
                          label=name)
        axes.set(xscale="log", xlabel=x_label, ylabel=y_label)
        axes.set_xticks(sorted({x for points in named.values() for x, _, _ in points}))
        axes.xaxis.set_major_formatter(lambda x, _: f"{x:,.0f}")
        axes.minorticks_off()
        axes.set_ylim(bottom=0)
        axes.grid(alpha=0.3)
        axes.legend(fontsize="small")
        figure.tight_layout()
        figure.savefig(directory / f"{picture}.svg", metadata={"Date": None})
