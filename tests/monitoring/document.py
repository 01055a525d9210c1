"""What docs/monitoring.md has an operator type and write, as tests use it."""
import pathlib
import re

SOURCE = pathlib.Path(__file__).resolve().parents[2]
FILES = SOURCE / "packaging/monitoring"
TEXT = (SOURCE / "docs/monitoring.md").read_text()


def blocks(kind):
    """The texts of the page's code blocks of a kind, in order."""
    return re.findall(rf"^```{kind}\n(.*?)^```$", TEXT, re.M | re.S)


def block(kind):
    """The text of the page's only code block of a kind."""
    (only,) = blocks(kind)
    return only


def alert_names():
    """The names in alerts.yml, in order."""
    return re.findall(r"- alert: (\w+)", (FILES / "alerts.yml").read_text())


def packages():
    """The packages of the part [monitoring] in packages.txt."""
    text = (SOURCE / "packaging/packages.txt").read_text()
    return set(text.split("[monitoring]\n", 1)[1].split("\n[", 1)[0].split())
