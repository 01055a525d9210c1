"""The plot: a panel a size, bars of every shape by peer, drawn by gnuplot."""

import pathlib
import subprocess

import figures
from lab import BenchError
from peers import BASE

COLOURS = {
    "tdata": "#999999",
    "array": "#555555",
    "ours": "#0b6e4f",
    "ours-no-history": "#3fa34d",
    "ours-exchange": "#a1cf6b",
    "agentx": "#d98324",
    "pass": "#b3394a",
}
OTHER_COLOUR = "#4477aa"
BAR_SHARE = 0.84  # of a group's width
PANEL_HEIGHT = 400


def panel_lines(slices, vsans, shapes, peers, data):
    """Writes the panel's data and returns the gnuplot commands that draw it."""
    width = BAR_SHARE / len(peers)
    draw = []
    for number, peer in enumerate(peers):
        path = data / f"{vsans}-{peer.name}.dat"
        rows = []
        for group, shape in enumerate(shapes):
            ratio = figures.speed_ratio(slices, "pinned", vsans, shape, peer.name)
            if ratio:
                at = group - BAR_SHARE / 2 + width * (number + 0.5)
                rows.append(f"{at:.4f} {ratio.median:.5f} {ratio.low:.5f} {ratio.high:.5f} {width * 0.92:.4f}")
        path.write_text("\n".join(rows or ["0 NaN NaN NaN 0.1"]) + "\n")
        colour = COLOURS.get(peer.name, OTHER_COLOUR)
        draw.append(f'"{path}" using 1:2:5 with boxes fillcolor rgb "{colour}" title "{peer.label}"')
        draw.append(f'"{path}" using 1:3:(0):($4-$3) with vectors nohead linecolor rgb "#222222" notitle')
    goals = data / f"{vsans}-goals.dat"
    marks = [f"{group} {figures.GOALS[shape]}" for group, shape in enumerate(shapes) if shape in figures.GOALS]
    goals.write_text("\n".join(marks or ["0 NaN"]) + "\n")
    draw.append(
        f'"{goals}" using ($1-{BAR_SHARE / 2}):2:({BAR_SHARE}):(0) with vectors nohead linewidth 2.5 '
        'linecolor rgb "#d40000" title "goal of ours"'
    )
    draw.append('1 with lines linewidth 1 linecolor rgb "#000000" notitle')
    tics = ", ".join(f'"{shape}" {group}' for group, shape in enumerate(shapes))
    return [
        f'set title "{vsans} VSANs"',
        f"set xtics ({tics}) nomirror",
        f"set xrange [-0.6:{len(shapes) - 0.4}]",
        "plot " + ", \\\n  ".join(draw),
    ]


def draw(path, slices, sizes, shapes, peers):
    """Draws ratios into an SVG file; its data and commands stay beside it, in a folder."""
    data = pathlib.Path(path).with_suffix("")
    data.mkdir(exist_ok=True)
    lines = [
        f"set terminal svg size 1200,{PANEL_HEIGHT * len(sizes) + 60} "
        'font "sans-serif,13" noenhanced background rgb "white"',
        f'set output "{path}"',
        "set style fill solid 1.0 noborder",
        "set grid ytics linecolor rgb '#dddddd'",
        "set key below Left reverse noenhanced",
        "set yrange [0:*]",
        f"set ylabel \"times {BASE}'s varbinds a second\"",
        f"set multiplot layout {len(sizes)},1 title \"Speed beside the same rows in an in-process {BASE} table: "
        'median over rounds, with least and largest; higher is faster"',
    ]
    for vsans in sizes:
        lines += panel_lines(slices, vsans, shapes, peers, data)
    commands = data / "plot.gnuplot"
    commands.write_text("\n".join(lines + ["unset multiplot"]) + "\n")
    done = subprocess.run(["gnuplot", str(commands)], capture_output=True, text=True, timeout=60)
    if done.returncode != 0:
        raise BenchError(f"gnuplot: {done.stderr.strip()}")
