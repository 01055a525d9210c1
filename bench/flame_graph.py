"""From what `perf script` prints to a flame graph: an SVG without scripts, widths by samples, colours by library."""

import collections
import dataclasses
import html
import re

from libraries import LIBRARIES, library_of

WIDTH, SIDE = 1200, 10
ROW = 17
HEAD, FOOT = 58, 12
LETTER = 6.6  # px, of the font below
NARROWEST = 0.003  # of all samples
FRAME = re.compile(r"\s+[0-9a-f]+ (.*) \(([^()]*(?:\([^()]*\))?[^()]*)\)$")
UNKNOWN = "[unknown]"


@dataclasses.dataclass
class Node:
    """A function called on one way from the bottom."""

    samples: int = 0
    own: int = 0  # those without a further call
    children: dict = dataclasses.field(default_factory=dict)  # by (name, library)


def without_nested(text, opening, closing):
    """The text without what stands between brackets, and without them."""
    kept, depth = [], 0
    for letter in text:
        depth += letter == opening
        if depth == 0:
            kept.append(letter)
        depth -= letter == closing and depth > 0
    return "".join(kept)


def short_name(symbol):
    """A C++ function's own name: no arguments, scopes, or words on how it was compiled."""
    if symbol.startswith("operator") or "::operator" in symbol:
        return symbol.split("(")[0].split("::")[-1] + ("()" if "operator()" in symbol else "")
    name = symbol.replace("(anonymous namespace)::", "").split(" [clone")[0].split("@@")[0]
    name = without_nested(without_nested(name, "(", ")"), "<", ">")
    return name.split("::")[-1].split(" ")[-1].split(".")[0] or symbol


def frame_of(symbol, file):
    library = library_of(file)
    return (f"({library.name})" if symbol == UNKNOWN else short_name(symbol), library.name)


def read_stacks(text):
    """A list a sample: (name, library) of each function, the outermost first. Neighbours of one name are one."""
    stacks = []
    for block in text.split("\n\n"):
        frames = [frame_of(*found.groups()) for found in map(FRAME.match, block.splitlines()) if found]
        frames.reverse()
        if frames:
            stacks.append([each for at, each in enumerate(frames) if at == 0 or each != frames[at - 1]])
    return stacks


def tree_of(stacks):
    root = Node()
    for stack in stacks:
        node = root
        node.samples += 1
        for frame in stack:
            node = node.children.setdefault(frame, Node())
            node.samples += 1
        node.own += 1
    return root


def boxes_of(node, total, left=0, level=0):
    """(name, library, first sample, samples, level) of each call that is wide enough."""
    for (name, library), child in sorted(node.children.items()):
        if child.samples >= NARROWEST * total:
            yield name, library, left, child.samples, level
            yield from boxes_of(child, total, left, level + 1)
        left += child.samples


def fitted(name, width):
    letters = int((width - 4) / LETTER)
    return name if len(name) <= letters else name[: letters - 2] + ".." if letters > 4 else ""


def box_lines(box, total, colour, top):
    name, library, first, samples, _ = box
    scale = (WIDTH - 2 * SIDE) / total
    left, width = SIDE + first * scale, samples * scale
    text = html.escape(f"{name}, {library}: {100 * samples / total:.1f} %")
    yield f'<g><title>{text}</title><rect x="{left:.1f}" y="{top}" width="{max(width - 0.5, 0.5):.1f}" ' \
          f'height="{ROW - 1}" fill="{colour}"/>'  # fmt: skip
    if label := fitted(name, width):
        yield f'<text x="{left + 3:.1f}" y="{top + 12}">{html.escape(label)}</text>'
    yield "</g>"


def legend_lines(shares):
    left = SIDE
    for library in LIBRARIES:
        if library.name in shares:
            text = f"{library.name} {100 * shares[library.name]:.1f} %"
            yield f'<rect x="{left:.1f}" y="33" width="12" height="12" fill="{library.colour}"/>'
            yield f'<text x="{left + 17:.1f}" y="43">{text}</text>'
            left += 35 + len(text) * LETTER


def draw(stacks, title):
    """The picture. The legend has what each library took itself, without what it called."""
    boxes = list(boxes_of(tree_of(stacks), len(stacks)))
    height = HEAD + ROW * (1 + max((box[4] for box in boxes), default=0)) + FOOT
    colours = {library.name: library.colour for library in LIBRARIES}
    lines = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
        f'viewBox="0 0 {WIDTH} {height}" font-family="monospace" font-size="11">',
        '<rect width="100%" height="100%" fill="#ffffff"/>',
        f'<text x="{SIDE}" y="20" font-size="14">{html.escape(title)}; {len(stacks)} samples</text>',
        *legend_lines(own_shares(stacks, lambda frame: frame[1])),
    ]
    for box in boxes:
        lines += box_lines(box, len(stacks), colours[box[1]], height - FOOT - ROW * (box[4] + 1))
    return "\n".join([*lines, "</svg>"]) + "\n"


def own_shares(stacks, by):
    """Where the samples were taken, as shares of all of them, by what `by` says of the innermost frame."""
    counts = collections.Counter(by(stack[-1]) for stack in stacks)
    return {name: count / len(stacks) for name, count in counts.most_common()}


def summary(stacks, functions=12):
    """The largest shares by library, and by function, in text."""
    lines = [f"  {name:<12} {100 * share:5.1f} %" for name, share in own_shares(stacks, lambda each: each[1]).items()]
    for (name, library), share in list(own_shares(stacks, lambda each: each).items())[:functions]:
        lines.append(f"    {name:<36} {library:<12} {100 * share:5.1f} %")
    return "\n".join(lines)
