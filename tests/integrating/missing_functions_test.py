"""What becomes of the module without each function of its platform, and that the guide says the same."""
import os
import re
import subprocess
import sys
import unittest

import agent as agents

SOURCE, WORK = os.environ["INTEGRATING_SOURCE"], os.environ["INTEGRATING_WORK"]
PREFIX = os.path.join(WORK, "prefix")
MODULE = os.path.join(PREFIX, "lib/vsanmib/libvsanmib.so")
EXAMPLE = os.path.join(PREFIX, "share/vsanmib/examples/second-platform/second_platform.c")
GUIDE = os.path.join(SOURCE, "docs/integrating.md")
COLUMN = agents.ROOT + ".1.1.3.1"


def needed():
    """What the module looks for that neither net-snmp nor the C library defines: what the headers declare."""
    symbols = subprocess.run(["nm", "-D", "--undefined-only", MODULE], stdout=subprocess.PIPE, text=True, timeout=60,
                             check=True).stdout
    undefined = {line.split()[-1].split("@")[0] for line in symbols.splitlines()}
    declared = set()
    folder = os.path.join(PREFIX, "include/vsanmib/platform")
    for name in os.listdir(folder):
        if name.endswith(".h"):
            with open(os.path.join(folder, name), encoding="utf-8") as text:
                code = re.sub("//.*", "", text.read())
            declared |= set(re.findall(r"\b(\w+)\(", code)) | set(re.findall(r"^extern \w+ (\w+)", code, re.MULTILINE))
    return sorted(undefined & declared)


def platform_without(name):
    """The example with another name in the place of this one."""
    library = os.path.join(WORK, "missing", f"without_{name}.so")
    os.makedirs(os.path.dirname(library), exist_ok=True)
    subprocess.run(["cc", "-std=gnu99", "-O1", "-fPIC", "-shared", f"-I{PREFIX}/include/vsanmib",
                    f"-D{name}=taken_away", "-o", library, EXAMPLE], check=True, timeout=60)
    return library


def loaded_by_the_agent(name, library):
    """What becomes of it with two dlmod lines."""
    with agents.Agent(os.path.join(WORK, "missing", "loaded"), library, MODULE) as agent:
        values = agent.ask("walk", agents.ROOT)
        assert agent.ask("get", agents.SYS_DESCR).startswith(agents.SYS_DESCR), "it serves the rest: " + agent.log()
        if re.search(rf"undefined symbol: {name}$", agent.log(), re.MULTILINE) and "No Such Object" in values:
            return "not loaded"
        return "loaded" if COLUMN in values else "?"


STEPS = [
    ("reads", ["walk", agents.ROOT]),
    ("writes", ["set", COLUMN + ".2.10", "s", "edge"]),
    ("creates", ["set", COLUMN + ".9.30", "i", "4", COLUMN + ".2.30", "s", "thirty"]),
    ("sets a timer", ["set", agents.ROOT + ".1.4.8.1.3.10", "u", "2500"]),
    ("refuses", ["set", COLUMN + ".9.1", "i", "6"]),
    ("moves", ["set", agents.ROOT + ".1.2.5.1.1.16777216", "i", "10"]),
]


def bound_by_call(library):
    """When the agent ends, where both libraries were there before it and are bound as calls come."""
    with agents.Agent(os.path.join(WORK, "missing", "bound"), library, MODULE, preload=[library, MODULE]) as agent:
        if not agent.is_running():
            return "at its start"
        for what, words in STEPS:
            answered = "Timeout" not in agent.ask(*words)
            if not agent.outlives_its_alarms():
                return f"when it {'sends a trap' if answered else what}"
        return "at its end" if agent.stop() != 0 else "not in this test"


def measured():
    rows = ["| without | `dlmod` | preloaded, the agent ends |", "|---|---|---|"]
    for name in needed():
        library = platform_without(name)
        rows.append(f"| `{name}` | {loaded_by_the_agent(name, library)} | {bound_by_call(library)} |")
    return "\n".join(rows)


class MissingFunctions(unittest.TestCase):
    def test_whole_platform_is_served(self):
        """The control: what is taken away makes the difference."""
        library = platform_without("nothing_of_this_name")
        self.assertEqual(loaded_by_the_agent("nothing_of_this_name", library), "loaded")
        self.assertEqual(bound_by_call(library), "not in this test")

    def test_guide_says_what_is_measured(self):
        with open(GUIDE, encoding="utf-8") as text:
            self.assertIn(measured(), text.read(), "print it anew with `missing_functions_test.py print`")


if __name__ == "__main__":
    if sys.argv[1:] == ["print"]:
        print(measured())
    else:
        unittest.main()
