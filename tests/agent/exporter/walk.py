#!/usr/bin/python3
"""A walk with Prometheus' SNMP exporter, as its configuration in the tree has it: walk.py PORT COMMUNITY ROOT

Prints a line a value: OID and value; octets are lower-case hex. The exporter's metrics have no types of SNMP."""
import pathlib
import re
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.request

SOURCE = pathlib.Path(__file__).resolve().parents[3]
sys.path.append(str(SOURCE / "tests/monitoring"))
import exposition  # noqa: E402

CONFIGURATION = SOURCE / "packaging/monitoring/snmp.yml"
BITS = {"ratov": 0x80, "edtov": 0x40, "dstov": 0x20}


def objects():
    """{metric: OID} of the module."""
    module = CONFIGURATION.read_text().split("\nvsan:\n", 1)[1]
    module = re.split(r"^\S", module, maxsplit=1, flags=re.M)[0]
    return dict(re.findall(r"^  - name: (\w+)\n    oid: (\S+)$", module, re.M))


def free_address():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return f"127.0.0.1:{s.getsockname()[1]}"


def scraped(port):
    """The page that an exporter makes of the agent."""
    address = free_address()
    command = ["prometheus-snmp-exporter", f"--config.file={CONFIGURATION}", f"--web.listen-address={address}"]
    with subprocess.Popen(command, stderr=subprocess.DEVNULL) as exporter:
        try:
            end = time.monotonic() + 20
            while True:
                try:
                    page = f"http://{address}/snmp?module=vsan&target=127.0.0.1:{port}"
                    with urllib.request.urlopen(page, timeout=15) as answer:
                        return answer.read().decode()
                except urllib.error.HTTPError as error:
                    sys.exit(error.read().decode())
                except OSError:
                    if time.monotonic() > end:
                        raise
                    time.sleep(0.05)
        finally:
            exporter.kill()


def values(page, root):
    """{OID as numbers: value as text} of what is below `root`."""
    metrics = objects()
    found = {}
    for (name, labels), value in exposition.samples(page).items():
        oid = metrics.get(name, "")
        if not f".{oid}.".startswith(root + "."):
            continue
        label = dict(labels)
        index = [label[each] for each in ("vsanIndex", "ifIndex") if each in label] or ["0"]
        place = tuple(int(number) for number in [*oid.split("."), *index])
        if name == "vsanName":
            found[place] = label[name].encode().hex()
        elif name == "vsanFcTimerForceFlag":
            found[place] = f"{int(found.get(place, '0'), 16) + int(value) * BITS[label[name]]:02x}"
        else:
            found[place] = str(int(value))
    return found


def main():
    port, community, root = sys.argv[1:]
    if community not in re.findall(r"community: (\S+)", CONFIGURATION.read_text()):
        sys.exit(f"{CONFIGURATION} has no community {community}")
    for place, value in sorted(values(scraped(port), root).items()):
        print("." + ".".join(map(str, place)), value)


if __name__ == "__main__":
    main()
