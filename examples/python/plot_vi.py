#!/usr/bin/python3
"""Plot the pullup and pulldown of one model of an IBIS file.

    plot_vi.py part.ibs DQ_OUT [out.png]

Needs matplotlib (Debian python3-matplotlib). Without an output name the plot is shown.
"""
import sys

import matplotlib

import tarn


def plot(model, axes):
    for name in ("pullup", "pulldown"):
        table = getattr(model, name)
        if table is None:
            continue
        for column, corner, style in ((1, "typ", "-"), (2, "min", "--"), (3, "max", ":")):
            # NaN (an NA entry) leaves a gap, which is what NA means.
            axes.plot(table[:, 0], table[:, column], style, label=f"{name} {corner}")
    axes.set_xlabel("V")
    axes.set_ylabel("A")
    axes.set_title(f"{model.name} ({model.type})")
    axes.grid(True)
    axes.legend()


def main(argv):
    if len(argv) not in (3, 4):
        print(__doc__.strip(), file=sys.stderr)
        return 2
    result = tarn.read(argv[1])
    sys.stdout.write(result.report)
    if result.document is None or argv[2] not in result.document.models:
        print(f"plot_vi.py: no model '{argv[2]}'", file=sys.stderr)
        return 1
    if len(argv) == 4:
        matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure, axes = plt.subplots()
    plot(result.document.models[argv[2]], axes)
    if len(argv) == 4:
        figure.savefig(argv[3])
    else:
        plt.show()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
