"""What the bench prints: a table a size, and what the history and the size of the switch cost."""

import figures
from peers import BASE


def ratio_cell(ratio):
    return f"{ratio.median:6.2f} ({ratio.low:.2f}-{ratio.high:.2f})" if ratio else "-"


def print_size(slices, cpu, vsans, shapes, peers):
    print(f"\n{vsans} VSANs, {cpu}: varbinds a second as a multiple of {BASE}'s (median, least and largest of rounds);")
    print("us a varbind; of these on a CPU: in the agent + in the switch, subagent or program")
    for shape in shapes:
        goal = figures.GOALS.get(shape)
        print(f"  {shape}" + (f"   goal of ours: {goal:.2f}" if goal else ""))
        for peer in peers:
            cost = figures.costs(slices, (cpu, vsans, shape, peer.name))
            if cost is None:
                continue
            ratio = ratio_cell(figures.speed_ratio(slices, cpu, vsans, shape, peer.name))
            print(f"    {peer.label:<34} {ratio:>21}  {cost[0]:9.2f} us  cpu {cost[1]:7.2f} + {cost[2]:7.2f}")


def print_history(slices, cpu, sizes, shapes):
    rows = []
    for vsans in sizes:
        for shape in shapes:
            kept = figures.speed_ratio(slices, cpu, vsans, shape, "ours", "ours-no-history")
            if kept:
                rows.append(f"  {vsans:5} {shape:<16} {100 * (1 - kept.median):5.1f} %")
    if rows:
        print(f"\nWhat the history costs, of the varbinds a second without it, {cpu}; goal: at most "
              f"{100 * figures.HISTORY_COST_GOAL:.0f} %")  # fmt: skip
        print("\n".join(rows))


def print_growth(slices, cpu, sizes, shapes, peers):
    small, large = min(sizes), max(sizes)
    if small == large:
        return
    print(f"\nCost of a varbind at {large} VSANs, as a multiple of that at {small}, {cpu}; goal of ours: at most "
          f"{figures.GROWTH_GOAL}")  # fmt: skip
    for shape in shapes:
        for peer in peers:
            grown = figures.growth(slices, cpu, small, large, shape, peer.name)
            if grown:
                print(f"  {shape:<16} {peer.label:<34} {ratio_cell(grown)}")


def print_only_ours(slices, vsans, shapes):
    if not slices:
        return
    print(f"\nOurs only, {vsans} VSANs, pinned: us a varbind, varbinds a second; cpu: agent + switch")
    for shape in shapes:
        cost = figures.costs(slices, ("pinned", vsans, shape, "ours-roles"))
        if cost:
            print(f"  {shape:<16} {cost[0]:9.2f} us {1e6 / cost[0]:10.0f} /s  cpu {cost[1]:7.2f} + {cost[2]:7.2f}")
