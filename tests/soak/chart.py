"""The soak's chart: requests, latencies, memory and descriptors over time, drawn by gnuplot where there is one."""

import pathlib
import shutil
import subprocess

# A panel: its title, the unit, and its lines: (column, colour, what it is called).
PANELS = (
    ("Requests an interval", "PDUs", (("pdus", "#0b6e4f", "all"), ("sets", "#d98324", "SET"))),
    ("Latency while nothing is wrong", "ms", (("quiet_p50_ms", "#0b6e4f", "p50"), ("quiet_p99_ms", "#d98324", "p99"),
                                              ("quiet_max_ms", "#b3394a", "longest"))),
    ("Latency while something is wrong on purpose", "ms", (
        ("fault_p50_ms", "#0b6e4f", "p50"), ("fault_p99_ms", "#d98324", "p99"),
        ("fault_max_ms", "#b3394a", "longest"))),
    ("Resident memory", "KiB", (("agent_kib", "#0b6e4f", "snmpd"), ("switchd_kib", "#d98324", "switchd"))),
    ("Open descriptors", "", (
        ("agent_descriptors", "#0b6e4f", "snmpd"), ("switchd_descriptors", "#d98324", "switchd"))),
)  # fmt: skip
LOGARITHMIC = "ms"
PANEL_HEIGHT = 260


def panel(rows, number, data):
    title, unit, lines = PANELS[number]
    draw = []
    for column, colour, name in lines:
        path = data / f"{column}.dat"
        values = [row[column] if row[column] != "" else "NaN" for row in rows]
        path.write_text("".join(f"{row['seconds']} {value}\n" for row, value in zip(rows, values)))
        style = f'with linespoints pointtype 7 pointsize 0.2 linecolor rgb "{colour}"'
        draw.append(f'"{path}" using ($1/60):2 {style} title "{name}"')
    scale = "set logscale y" if unit == LOGARITHMIC else "unset logscale; set yrange [0:*]"
    return [f'set title "{title}"', f'set ylabel "{unit}"', "set yrange [*:*]", scale, "plot " + ", \\\n  ".join(draw)]


def draw(path, rows):
    """Draws the rows into an SVG file; its data and commands stay beside it, in a folder. Nothing without gnuplot."""
    if not rows or shutil.which("gnuplot") is None:
        return
    data = pathlib.Path(path).with_suffix("")
    data.mkdir(exist_ok=True)
    lines = [
        f"set terminal svg size 1200,{PANEL_HEIGHT * len(PANELS)} "
        'font "sans-serif,13" noenhanced background rgb "white"',
        f'set output "{path}"',
        "set grid ytics linecolor rgb '#dddddd'",
        "set key below Left reverse noenhanced",
        'set xlabel "minutes"',
        f"set multiplot layout {len(PANELS)},1",
    ]
    for number in range(len(PANELS)):
        lines += panel(rows, number, data)
    commands = data / "plot.gnuplot"
    commands.write_text("\n".join(lines + ["unset multiplot"]) + "\n")
    done = subprocess.run(["gnuplot", str(commands)], capture_output=True, text=True, timeout=120)
    if done.returncode != 0:
        raise RuntimeError(f"gnuplot: {done.stderr.strip()}")
