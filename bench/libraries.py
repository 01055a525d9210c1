"""Whose code a file holds: what instructions and samples are summed by."""

import dataclasses
import pathlib


@dataclasses.dataclass(frozen=True)
class Library:
    name: str
    colour: str  # in pictures
    files: tuple  # how the names of its files begin


OTHER = Library("other", "#c9c9c9", ())
LIBRARIES = (
    Library("net-snmp", "#8fb8de", ("libnetsnmp", "snmpd")),
    Library("libc", "#c3b1e1", ("libc.so", "libc-", "ld-linux", "ld-2", "ld.so")),
    Library("libwrap", "#d8c9a3", ("libwrap",)),
    Library("module", "#58b368", ("libvsanmib", "bench_tdata", "bench_array")),
    Library("extension", "#f2b544", ("libswitchagent",)),
    Library("platform", "#ef8a62", ("libswitchplatform",)),
    Library("kernel", "#e3a3b4", ("[kernel", "[guest.kernel", "[vdso", "vmlinux")),
    OTHER,
)


def library_of(path):
    """The library of a file that was run, by its name."""
    file = pathlib.PurePath(path).name
    return next((each for each in LIBRARIES if file.startswith(each.files)), OTHER)
