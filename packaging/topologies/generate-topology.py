#!/usr/bin/env python3
"""Writes a large topology file for switchd: by default 4,093 VSANs and 512 interfaces.

    generate-topology.py [--vsans N] [--interfaces N] > large-fabric.toml

The file is the same every time. VSAN 1 counts as one of the VSANs; every tenth VSAN is suspended, and three
of four interfaces are up.
"""

import argparse

VSAN_LAST = 4094
INTERFACES_MAX = 4096
PORTS_A_MODULE = 48


def number_in(low, high):
    def parse(text):
        value = int(text)
        if not low <= value <= high:
            raise argparse.ArgumentTypeError(f"{value} is not from {low} to {high}")
        return value

    return parse


def vsan_lines(vsan):
    yield "[[vsan]]"
    yield f"id = {vsan}"
    yield f'name = "fabric-{vsan:04d}"'
    if vsan % 10 == 0:
        yield 'state = "suspended"'
    if vsan % 7 == 0:
        yield f"timers = {{ e_d_tov = {1000 + vsan % 3000} }}"
    yield ""


def interface_lines(number, vsans):
    module, port = divmod(number, PORTS_A_MODULE)
    yield "[[interface]]"
    yield f'name = "fc{module + 1}/{port + 1}"'
    yield f"index = {0x01000000 + module * 0x80000 + port * 0x1000}"
    yield f"vsan = {1 + number * 8 % vsans}"
    yield f"up = {'false' if number % 4 == 3 else 'true'}"
    yield ""


def main():
    parser = argparse.ArgumentParser(description="Writes a large topology file for switchd to standard output.")
    parser.add_argument("--vsans", type=number_in(1, VSAN_LAST), default=4093, help="VSANs 1 to N (default 4093)")
    parser.add_argument("--interfaces", type=number_in(0, INTERFACES_MAX), default=512, help="default 512")
    chosen = parser.parse_args()
    print('[switch]\nname = "large-fabric"\nwwn = "20:00:02:5a:10:3c:0f:ff"\n')
    for vsan in range(1, chosen.vsans + 1):
        print("\n".join(vsan_lines(vsan)))
    for number in range(chosen.interfaces):
        print("\n".join(interface_lines(number, chosen.vsans)))


if __name__ == "__main__":
    main()
