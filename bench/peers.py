"""The peers: what each serves the bench's rows with, a row a peer."""

import dataclasses

# What follows in these texts: {lib} and {bin} are the build's, {dir} is the peer's own directory, {vsans} its size.
TABLE = ".1.3.6.1.4.1.32473.9.282.1.1.3"
OURS_LINES = "dlmod switch_agent {lib}/libswitchagent.so\nswitchRunDir {dir}/run\ndlmod vsan_mib {lib}/libvsanmib.so\n"


@dataclasses.dataclass(frozen=True)
class Peer:
    name: str
    label: str  # in tables and the plot
    agent_lines: str  # of snmpd.conf
    has_switch: bool = False
    switch_commands: tuple = ()  # vsanctl's arguments, once the switch is up
    program: tuple = ()  # a second process, started after the agent
    asks_child: bool = False  # the agent itself starts what it asks


HISTORY_OFF = ("debug", "off", "--record")
# Opcodes that nobody asks for: the fault touches no answer, but a switch with a fault answers everything itself.
FAULTS_ON = tuple(
    ("fault", "delay", "0", "--service", service, "--opcode", "65535")
    for service in ("vsan-manager", "identity", "port-manager")
)

OURS = "ours"  # what goals are for
PEERS = (
    Peer("tdata", "in-process tdata table", "dlmod bench_tdata {lib}/bench_tdata.so\n"),
    Peer("array", "in-process array, old interface", "dlmod bench_array {lib}/bench_array.so\n"),
    Peer(OURS, "ours, as shipped", OURS_LINES, has_switch=True),
    Peer("ours-no-history", "ours, history off", OURS_LINES, has_switch=True, switch_commands=(HISTORY_OFF,)),
    Peer("ours-exchange", "ours, every read an exchange", OURS_LINES, has_switch=True, switch_commands=FAULTS_ON),
    Peer(
        "agentx",
        "AgentX subagent (tdata)",
        "master agentx\nagentXSocket unix:{dir}/agentx\nagentXTimeout 10\n",
        program=("{bin}/bench_agentx", "unix:{dir}/agentx", "{vsans}"),
    ),
    Peer(
        "pass",
        "pass_persist program",
        f"pass_persist {TABLE} {{bin}}/bench_pass {{vsans}}\n",
        asks_child=True,
    ),
)
BASE = "tdata"  # what ratios are to

# What only ours has: roles, and traps. The sink's port is put in by name too.
ROLES = ",".join(str(vsan) for vsan in range(1, 4094, 100))  # the restricted user's VSANs, as the driver has them
OURS_ONLY = Peer(
    "ours-only",
    "ours, with roles and traps",
    "trap2sink 127.0.0.1:{sink} public\n" + OURS_LINES + f"vsanRole limiteds {ROLES}\n",
    has_switch=True,
)
