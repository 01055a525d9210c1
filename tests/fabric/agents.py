"""Stock agents with the module, and SNMP v2c for them: one GET or SET of one value a call, over one socket."""

import itertools
import socket
import time

import cluster

MODULE = (1, 3, 6, 1, 4, 1, 32473, 9, 282)


def edtov(vsan):
    """Name of a VSAN's E_D_TOV."""
    return (*MODULE, 1, 4, 8, 1, 3, vsan)


AGENT_CONF = """\
com2sec reader default public
com2sec writer default private
group readers v2c reader
group writers v2c writer
view all included .1
access readers "" any noauth exact all none none
access writers "" any noauth exact all all all
dontLogTCPWrappersConnects yes
sysContact fabric
dlmod switch_agent {lib}/libswitchagent.so
switchRunDir {run}
dlmod vsan_mib {lib}/libvsanmib.so
"""
GET, SET = 0xA0, 0xA3
INTEGER, OCTETS, OID, GAUGE = 0x02, 0x04, 0x06, 0x42
NUMBERS = itertools.count(1)


def free_udp_port():
    for port in cluster.free_tcp_ports(50):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as tried:
            try:
                tried.bind(("127.0.0.1", port))
            except OSError:
                continue
            return port
    raise RuntimeError("no free UDP port")


def start_agent(build, directory, run_dir, port, preload=""):
    """Of a switch whose run directory is given; the process. `preload`: a sanitizer's runtime."""
    more = {}
    if preload:
        more = {"LD_PRELOAD": preload, "ASAN_OPTIONS": "detect_leaks=0:abort_on_error=1:quarantine_size_mb=8",
                "UBSAN_OPTIONS": "print_stacktrace=1:halt_on_error=1"}  # fmt: skip
    (directory / "agent").mkdir(exist_ok=True)
    conf = directory / "snmpd.conf"
    conf.write_text(AGENT_CONF.format(lib=build.resolve() / "lib", run=run_dir))
    off = "smux,interface,ifTable,ifXTable,system_mib"
    return cluster.start_process(["snmpd", "-f", "-C", "-c", conf, "-I", "-" + off,
                                  f"--persistentDir={directory / 'agent'}", "-Lf", directory / "agent.log",
                                  f"udp:127.0.0.1:{port}"], directory / "agent.out", MIBS="", **more)  # fmt: skip


def tlv(tag, content):
    size = len(content)
    head = bytes([size]) if size < 128 else bytes([0x82, size >> 8, size & 255])
    return bytes([tag]) + head + content


def number(value, tag=INTEGER):
    return tlv(tag, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def oid(parts):
    out = bytes([parts[0] * 40 + parts[1]])
    for part in parts[2:]:
        groups = [part & 127]
        while part := part >> 7:
            groups.append(128 | part & 127)
        out += bytes(reversed(groups))
    return tlv(OID, out)


def split(data):
    """(tag, content, what follows) of the first value."""
    size, at = data[1], 2
    if size & 128:
        at += size & 127
        size = int.from_bytes(data[2:at], "big")
    return data[0], data[at : at + size], data[at + size :]


class Client:
    """Of one agent."""

    def __init__(self, port):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.connect(("127.0.0.1", port))

    def close(self):
        self.socket.close()

    def ask(self, kind, community, name, value, timeout):
        """(error status, tag, content) of the answer; None when none came in time."""
        asked = next(NUMBERS)
        bound = tlv(0x30, tlv(0x30, oid(name) + value))
        pdu = tlv(kind, number(asked) + number(0) + number(0) + bound)
        self.socket.settimeout(timeout)
        try:
            self.socket.send(tlv(0x30, number(1) + tlv(OCTETS, community) + pdu))
            for _ in range(100):  # answers of earlier ones are passed over
                answer = read_answer(self.socket.recv(65536))
                if answer[0] == asked:
                    return answer[1:]
        except OSError:  # none in time, or nobody there
            return None
        return None

    def get(self, name, timeout=2):
        """A number; None when there is none or no answer."""
        answer = self.ask(GET, b"public", name, tlv(5, b""), timeout)
        if answer is None or answer[0] != 0 or answer[1] not in (INTEGER, GAUGE):
            return None
        return int.from_bytes(answer[2], "big")

    def set(self, name, value, timeout=20):
        """The error status of the answer; None when there is none."""
        answer = self.ask(SET, b"private", name, number(value, GAUGE), timeout)
        return None if answer is None else answer[0]


def read_answer(datagram):
    """(request's number, error status, tag, content of the first value)."""
    _, message, _ = split(datagram)
    for _ in range(2):  # version, community
        _, _, message = split(message)
    _, pdu, _ = split(message)
    _, asked, rest = split(pdu)
    _, status, rest = split(rest)
    _, _, rest = split(rest)
    _, bound, _ = split(split(rest)[1])
    _, _, value = split(bound)
    tag, content, _ = split(value)
    return int.from_bytes(asked, "big"), int.from_bytes(status, "big"), tag, content


def await_value(client, name, wanted, seconds):
    """Whether the agent shows it before the time is over."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if client.get(name, 0.5) == wanted:
            return True
        time.sleep(0.002)
    return False
