"""The plot of fleet_figures.py, drawn by gnuplot: memory a switch, times, idle CPU, by size of the fleet."""

import subprocess

COLOURS = {
    "switchd": "#0b6e4f",
    "snmpd": "#d98324",
    "supervisor": "#999999",
    "published": "#4477aa",
    "tables": "#b3394a",
}
KINDS = ("switchd", "snmpd", "supervisor")
WIDTH = 0.7


def memory_rows(figures):
    """MiB a switch: the memory that is each kind's own, what switches publish, and page tables."""
    rows = []
    for size in figures:
        memory = size["memory"]
        each = {kind: memory[kind]["processes"] / size["switches"] / 1024 for kind in KINDS}
        own = [memory[kind]["pss_anon_kib_each"] * each[kind] for kind in KINDS]
        tables = sum(memory[kind]["page_tables_kib_each"] * each[kind] for kind in KINDS)
        rows.append([size["switches"], *own, memory["switchd"]["published_kib_each"] * each["switchd"], tables])
    return rows


def idle_rows(figures):
    return [[size["switches"], *(size["idle"]["percent_of_one_cpu"][kind] for kind in KINDS)] for size in figures]


def time_rows(figures):
    rows = []
    for size in figures:
        median = size["walks"][len(size["walks"]) // 2]["seconds"]
        rows.append([size["switches"], size["start_seconds"], size["stop_seconds"], median])
    return rows


def write(path, rows):
    path.write_text("".join(" ".join(f"{value:.4f}" for value in row) + "\n" for row in rows))
    return path


def stacked(path, kinds):
    """Boxes on top of each other, one a kind; the last first, so that the others cover it."""
    boxes = []
    for last in range(len(kinds), 0, -1):
        height = "+".join(f"${column + 1}" for column in range(1, last + 1))
        boxes.append(
            f'"{path}" using 0:({height}):({WIDTH}):xtic(sprintf("%d", $1)) with boxes '
            f'fillcolor rgb "{COLOURS[kinds[last - 1][0]]}" title "{kinds[last - 1][1]}"'
        )
    return "plot " + ", \\\n  ".join(boxes)


def draw(path, figures, folder):
    memory = write(folder / "memory.dat", memory_rows(figures))
    idle = write(folder / "idle.dat", idle_rows(figures))
    times = write(folder / "times.dat", time_rows(figures))
    three = [(kind, kind) for kind in KINDS]
    parts = [*three, ("published", "published page"), ("tables", "page tables")]
    lines = [
        'set terminal svg size 1200,460 font "sans-serif,13" noenhanced background rgb "white"',
        f'set output "{path}"',
        "set style fill solid 1.0 noborder",
        "set grid ytics linecolor rgb '#dddddd'",
        "set key below Left reverse noenhanced",
        "set xlabel 'switches in the fleet'",
        "set multiplot layout 1,3",
        f"set xrange [-0.6:{len(figures) - 0.4}]",
        "set yrange [0:*]",
        "set title 'Memory, MiB a switch'",
        stacked(memory, parts),
        "set title 'Idle, percent of one CPU'",
        stacked(idle, three),
        "set title 'Seconds'",
        "set logscale xy",
        "set autoscale",
        "set format x '%g'",
        f'plot "{times}" using 1:2 with linespoints linewidth 2 linecolor rgb "#0b6e4f" title "start", \\\n'
        f'  "{times}" using 1:3 with linespoints linewidth 2 linecolor rgb "#b3394a" title "stop", \\\n'
        f'  "{times}" using 1:4 with linespoints linewidth 2 linecolor rgb "#4477aa" title "one poller walks all"',
        "unset multiplot",
    ]
    commands = folder / "plot.gnuplot"
    commands.write_text("\n".join(lines) + "\n")
    subprocess.run(["gnuplot", commands], check=True, timeout=60)
