# SPDX-License-Identifier: Apache-2.0
"""Draws what ddssim says. usage: pictures.py DDSSIM DIRECTORY"""
import json
import math
import subprocess
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plot
import matplotlib.ticker

program, directory = sys.argv[1:3]

# The same octets each time, and letters that stay letters.
matplotlib.rcParams.update({"svg.hashsalt": "ddssim", "svg.fonttype": "none", "font.size": 9,
                            "axes.grid": True, "grid.alpha": 0.3, "lines.marker": "o",
                            "lines.markersize": 3, "legend.fontsize": 8})


def simulate(**settings):
    """The last object of a run, its summary."""
    options = []
    for key, value in settings.items():
        options += ["--" + key.strip("_").replace("_", "-"), str(value)]
    result = subprocess.run([program, "--json", *options], capture_output=True, text=True)
    if result.returncode not in (0, 3):  # 3: not all know all, which is what is to be shown
        sys.exit(result.stderr.strip())
    return json.loads(result.stdout.splitlines()[-1])


def draw(name, *panels):
    """Each panel is a function that fills axes."""
    figure, axes = plot.subplots(1, len(panels), figsize=(3.6 * len(panels), 2.8), squeeze=False)
    for one, fill in zip(axes[0], panels):
        fill(one)
        if one.get_legend_handles_labels()[0]:
            one.legend()
    figure.tight_layout()
    figure.savefig(f"{directory}/{name}.svg", metadata={"Date": None})
    plot.close(figure)


def fit(numbers, values):
    """The exponent and the factor of the power of the number that is nearest."""
    points = [(math.log(number), math.log(value)) for number, value in zip(numbers, values)]
    middle = [sum(one) / len(points) for one in zip(*points)]
    exponent = (sum((x - middle[0]) * (y - middle[1]) for x, y in points)
                / sum((x - middle[0]) ** 2 for x, _ in points))
    return exponent, math.exp(middle[1] - exponent * middle[0])


def label(one, x, y):
    one.set_xlabel(x)
    one.set_ylabel(y)


def over_numbers(one, numbers):
    """Both axes have logarithms."""
    one.set_xscale("log")
    one.set_yscale("log")
    one.yaxis.set_major_locator(matplotlib.ticker.LogLocator(subs=(1, 2, 5)))
    one.yaxis.set_major_formatter("{x:g}")
    one.minorticks_off()
    one.set_xticks(numbers, [str(number) for number in numbers])


def number_of_participants():
    """Time, traffic and cost over the number of participants."""
    numbers = [125, 250, 500, 1000]
    runs = {loss: [simulate(hosts=number // 4 if number % 4 == 0 else number // 5,
                            participants=4 if number % 4 == 0 else 5, delay="1ms", loss=loss,
                            for_="2s")
                   for number in numbers]
            for loss in ("0%", "10%")}

    def time(one):
        for loss, results in runs.items():
            one.plot(numbers, [1000 * result["all_known"] for result in results],
                     label=f"{loss} lost")
        one.set_ylim(bottom=0)
        label(one, "participants", "ms until all know all")

    def traffic(one):
        for loss, results in runs.items():
            one.plot(numbers, [result["sent"]["octets"] / 1e6 for result in results],
                     label=f"{loss} lost")
        over_numbers(one, numbers)
        label(one, "participants", "MB sent in the first two seconds")

    def cost(values, unit):
        def fill(one):
            exponent, factor = fit(numbers, values)
            one.plot(numbers, values, label="10% lost")
            one.plot(numbers, [factor * number ** exponent for number in numbers], "--",
                     marker="", label=f"{factor:.2g} × N$^{{{exponent:.2f}}}$")
            over_numbers(one, numbers)
            label(one, "participants", unit)
        return fill

    draw("participants", time, traffic)
    lossy = runs["10%"]
    draw("cost", cost([result["processor_seconds"] for result in lossy], "s of the processor"),
         cost([result["resident_peak"] / 2 ** 20 for result in lossy], "MiB of memory"))


def false_losses():
    """How often one is lost that lives, over what the network loses."""
    hosts, period, hours = 10, 2, 4
    pairs = hosts * (hosts - 1)
    shares = [10, 20, 30, 40, 50, 60]

    def over(burst):
        def fill(one):
            for lease in (8, 12, 20, 40):
                counts = [simulate(hosts=hosts, lease=f"{lease}s", period=f"{period}s",
                                   loss=f"{share}%", burst=burst, for_=f"{hours}h")["lost_living"]
                          for share in shares]
                shown = [(share, count / pairs / hours) for share, count in zip(shares, counts)
                         if count > 0]
                one.plot([share for share, _ in shown], [rate for _, rate in shown],
                         label=f"lease {lease} s")
            one.set_yscale("log")
            one.set_xlim(5, 65)
            one.set_title("each for itself" if burst == 1 else f"{burst} in a row", fontsize=9)
            label(one, "% of datagrams lost", "false losses, per pair and hour")
        return fill

    draw("leases", over(1), over(8))


def multicast():
    """What it costs to do without."""
    numbers = [2, 5, 10, 20, 40, 60]
    ways = {"multicast": {}, "peers only": {"multicast": "none", "peers": "all"}}

    def over(settings, what, unit):
        def fill(one):
            for name, way in ways.items():
                one.plot(numbers, [what(simulate(hosts=number, **way, **settings))
                                   for number in numbers], label=name)
            one.set_yscale("log")
            label(one, "hosts with a participant each", unit)
        return fill

    draw("multicast",
         over({}, lambda result: result["sent"]["datagrams"], "datagrams until all know all"),
         over({"for_": "10min"}, lambda result: result["sent"]["octets"] * 8 / 600 / 1000,
              "kbit/s over ten minutes"))


false_losses()
multicast()
number_of_participants()
