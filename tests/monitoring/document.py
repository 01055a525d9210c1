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


def quick_configuration(text):
    """Prometheus' configuration of the page with times that a test can wait for."""
    for slow, fast in (("scrape_interval: 30s", "scrape_interval: 6s"), ("scrape_timeout: 20s", "scrape_timeout: 6s"),
                       ("evaluation_interval: 30s", "evaluation_interval: 1s")):
        assert slow in text, slow
        text = text.replace(slow, fast)
    return text


def quick_rules(text):
    """The rules with times that a test can wait for."""
    return re.sub(r"\bfor: \d+m$", "for: 1s", text, flags=re.M)
