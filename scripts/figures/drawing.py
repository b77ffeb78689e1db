"""What the scripts share that draw what `talvora-host plot` does not: tables, means over
lines, responses."""

import matplotlib

from host import FIGURES

matplotlib.use("svg")
from matplotlib import pyplot

matplotlib.rcParams["svg.hashsalt"] = "talvora"
matplotlib.rcParams["svg.fonttype"] = "none"
# Half a point: what is left out cannot be seen.
matplotlib.rcParams["path.simplify_threshold"] = 0.5


def save(figure, name):
    FIGURES.mkdir(parents=True, exist_ok=True)
    figure.savefig(FIGURES / f"{name}.svg", metadata={"Date": None})
    pyplot.close(figure)
