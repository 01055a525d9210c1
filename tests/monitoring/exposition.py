"""Prometheus' text format, taken apart."""
import re

SAMPLE = re.compile(r'([a-zA-Z_]\w*)(?:\{((?:[^"}]|"(?:[^"\\]|\\.)*")*)\})? (\S+)')
LABEL = re.compile(r'(\w+)="((?:[^"\\]|\\.)*)"')
ESCAPED = {"\\\\": "\\", '\\"': '"', "\\n": "\n"}


def samples(text):
    """{(name, frozenset of (label, value)): value} of a page. Raises ValueError for a line that is no sample."""
    found = {}
    for line in text.split("\n"):
        if not line or line.startswith("#"):
            continue
        match = SAMPLE.fullmatch(line)
        if not match:
            raise ValueError(f"not a sample: {line!r}")
        name, labels, value = match.groups()
        pairs = [(label, re.sub(r"\\.", lambda m: ESCAPED[m[0]], text)) for label, text in LABEL.findall(labels or "")]
        key = name, frozenset(pairs)
        if key in found:
            raise ValueError(f"twice: {line!r}")
        found[key] = float(value)
    return found
