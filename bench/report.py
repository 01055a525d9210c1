"""What the bench prints: a table a size, and what the history and the size of the switch cost."""

import figures
from peers import BASE, OURS, OURS_ONLY


def ratio_cell(ratio):
    return f"{ratio.median:6.2f} ({ratio.low:.2f}-{ratio.high:.2f})" if ratio else "-"


def print_size(slices, cpu, vsans, shapes, peers):
    print(f"\n{vsans} VSANs, {cpu}: varbinds a second as a multiple of {BASE}'s (median, least and largest of rounds);")
    print("the same by CPU time; us a varbind; CPU us: in the agent + in the switch, subagent or program")
    for shape in shapes:
        goal = figures.GOALS.get(shape)
        print(f"  {shape}" + (f"   goal of ours: {goal:.2f}" if goal else ""))
        for peer in peers:
            cost = figures.costs(slices, (cpu, vsans, shape, peer.name))
            if cost is None:
                continue
            ratio = ratio_cell(figures.speed_ratio(slices, cpu, vsans, shape, peer.name))
            by_cpu = figures.cpu_ratio(slices, cpu, vsans, shape, peer.name)
            cpu_text = f"{by_cpu.median:5.2f}" if by_cpu else "-"
            times = f"{cost[0]:9.2f} us  cpu {cost[1]:7.2f} + {cost[2]:7.2f}"
            print(f"    {peer.label:<34} {ratio:>21} {cpu_text:>6}  {times}")


def print_history(slices, cpu, sizes, shapes):
    lines = []
    for vsans in sizes:
        kept = [figures.speed_ratio(slices, cpu, vsans, shape, OURS, "ours-no-history") for shape in shapes]
        if all(kept):
            lines.append(f"    {vsans:<34}" + "".join(f"{100 * (1 - each.median):13.1f} %" for each in kept))
    if lines:
        print(f"\nWhat the history costs, of the varbinds a second without it, by VSANs, {cpu}; goal: at most "
              f"{100 * figures.HISTORY_COST_GOAL:.0f} %")  # fmt: skip
        print(" " * 38 + "".join(f"{shape:>15}" for shape in shapes))
        print("\n".join(lines))


def print_growth(slices, cpu, sizes, shapes, peers):
    small, large = min(sizes), max(sizes)
    if small == large:
        return
    print(f"\nCost of a varbind at {large} VSANs, as a multiple of that at {small}, {cpu}; goal of ours: at most "
          f"{figures.GROWTH_GOAL}")  # fmt: skip
    print(" " * 38 + "".join(f"{shape:>15}" for shape in shapes))
    for peer in peers:
        grown = [figures.growth(slices, cpu, small, large, shape, peer.name) for shape in shapes]
        print(f"    {peer.label:<34}" + "".join(f"{each.median:15.2f}" if each else " " * 15 for each in grown))


def print_goals(slices, cpu, sizes, shapes):
    """Ours, as shipped: a shape a line, the goal beside the ratios of all sizes."""
    rows = []
    for shape in shapes:
        ratios = [figures.speed_ratio(slices, cpu, vsans, shape, OURS) for vsans in sizes]
        if all(ratios) and shape in figures.GOALS:
            cells = "".join(f"{each.median:10.2f}" for each in ratios)
            rows.append(f"    {shape:<18}{figures.GOALS[shape]:10.2f}{cells}")
    if rows:
        print(f"\nOurs as shipped, as a multiple of {BASE}'s varbinds a second, {cpu}: the goal, then by VSANs")
        print(f"    {'':<18}{'goal':>10}" + "".join(f"{vsans:10}" for vsans in sizes))
        print("\n".join(rows))


def print_all(slices, sizes, shapes, peers):
    for vsans in sizes:
        print_size(slices, "pinned", vsans, shapes, peers)
    print_size(slices, "unpinned", max(sizes), shapes, peers)
    print_history(slices, "pinned", sizes, shapes)
    print_growth(slices, "pinned", sizes, shapes, peers)
    print_goals(slices, "pinned", sizes, shapes)


def print_only_ours(slices, vsans, shapes, traps):
    """`traps` is the storm's row, or None."""
    if not shapes and not traps:
        return
    print(f"\nOurs only, {vsans} VSANs, pinned; cpu: in the agent + in the switch")
    for shape in shapes:
        cost = figures.costs(slices, ("pinned", vsans, shape, OURS_ONLY.name))
        print(f"    {shape:<18} {cost[0]:8.2f} us a varbind, {1e6 / cost[0]:8.0f} a second   "
              f"cpu {cost[1]:7.2f} + {cost[2]:7.2f} us")  # fmt: skip
    if traps:
        count, seconds, agent, switch = (float(word) for word in traps[1:])
        print(f"    {'traps':<18} {1e6 * seconds / count:8.2f} us a trap,    {count / seconds:8.0f} a second   "
              f"cpu {agent / count / 1e3:7.2f} + {switch / count / 1e3:7.2f} us; {count:.0f} moves, "
              "every trap came")  # fmt: skip
