#!/usr/bin/python3
"""Row levels and fitted model of a few captures, drawn into a PNG.

    PYTHONPATH=build/native/python /usr/bin/python3 examples/plot_levels.py [-o levels.png] [CAPTURE ...]

Without captures it synthesises four scenes: a 50 Hz and a 60 Hz lamp at
the default exposure, steady light, and a 60 Hz lamp behind a photograph.
Each panel shows one capture: every channel's row levels as dots and its
fitted model as a line, with the decision in the title.
"""
import argparse
import pathlib

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import kevra  # noqa: E402

# Channels 1 and 2 (the two greens) often coincide: 2 is drawn first, dashed
# and wider, so that 1 stays visible on top of it.
CHANNEL_STYLES = {0: ("tab:red", "-", 1.2), 2: ("tab:olive", "--", 2.4), 1: ("tab:green", "-", 1.0),
                  3: ("tab:blue", "-", 1.2)}
PICTURE = pathlib.Path(__file__).resolve().parents[1] / "data" / "pictures" / "coffee.jpg"


def synthesised():
    scenes = [
        ("50 Hz lamp", dict(mains=50, seed=1)),
        ("60 Hz lamp", dict(mains=60, seed=2)),
        ("steady light", dict(steady=True, seed=3)),
    ]
    if PICTURE.exists():
        scenes.append(("60 Hz lamp, photograph", dict(mains=60, depth=0.4, scene=PICTURE, seed=4)))
    return [(title, kevra.synth(**options)[0].capture) for title, options in scenes]


def title_of(name, report):
    decision = "FLICKER" if report["decision"]["flicker_detected"] else "no flicker"
    return (f"{name}: {decision}, mains {report['mains_frequency']} Hz, "
            f"channel 1 range {report['model_range']['range']:.4f}, "
            f"confidence {report['confidence']['index']:.3g}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("captures", nargs="*", help="capture files (default: synthesised scenes)")
    parser.add_argument("-o", "--output", default="levels.png", help="PNG to write (default: levels.png)")
    args = parser.parse_args()

    captures = [(c, kevra.read_capture(c)) for c in args.captures] or synthesised()
    detector = kevra.Detector()
    fig, axes = plt.subplots(len(captures), 1, figsize=(10, 2.8 * len(captures)), squeeze=False)
    for ax, (name, capture) in zip(axes[:, 0], captures):
        report = detector.detect(capture)
        rows = np.arange(report["row_num"])
        for c, (colour, style, width) in CHANNEL_STYLES.items():
            channel = report["channels"][c]
            ax.plot(rows, channel["row_level"], ".", ms=2.5, color=colour, alpha=0.6)
            ax.plot(rows, channel["model"], style, lw=width, color=colour, label=f"channel {c}")
        ax.set_title(title_of(pathlib.Path(name).name if name == capture.name else name, report), fontsize=9)
        ax.set_xlim(0, max(report["row_num"] - 1, 1))
        ax.set_ylabel("level (of full scale)", fontsize=8)
        ax.tick_params(labelsize=8)
        ax.grid(alpha=0.3)
    axes[-1, 0].set_xlabel("statistic row", fontsize=8)
    handles, labels = axes[0, 0].get_legend_handles_labels()
    order = sorted(range(len(labels)), key=labels.__getitem__)
    fig.legend([handles[i] for i in order], [labels[i] for i in order], loc="upper center", ncol=4, fontsize=8,
               title="dots: row levels, lines: fitted model", title_fontsize=8, frameon=False)
    fig.tight_layout(rect=(0, 0, 1, 1 - 0.5 / fig.get_figheight()))
    fig.savefig(args.output, dpi=110)
    print(f"wrote {args.output}")


if __name__ == "__main__":
    main()
