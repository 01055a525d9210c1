"""The packages themselves, without a machine to put them on."""
import glob
import os
import re
import subprocess

import machine as machines


def built(pattern):
    found = glob.glob(os.path.join(machines.PACKAGES, pattern))
    assert len(found) == 1, f"{pattern}: {found}; `make package` builds it"
    return found[0]


def test_lintian_finds_nothing():
    done = subprocess.run(["lintian", "--allow-root", "--fail-on", "error,warning", built("vsanmib_*.changes")],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=120, check=False)
    assert done.returncode == 0 and not re.search("^[EW]:", done.stdout, re.MULTILINE), done.stdout


def test_every_header_is_enough_for_the_compiler(tmp_path):
    subprocess.run(["dpkg-deb", "-x", built("vsanmib-dev_*.deb"), str(tmp_path)], check=True, timeout=60)
    folder = tmp_path / "usr/include/vsanmib"
    headers = sorted(str(header.relative_to(folder)) for header in folder.rglob("*.h"))
    assert "platform/mts.h" in headers and "vsan_mib.h" in headers and "vsan_records.h" in headers
    for header in headers:
        done = subprocess.run(["g++", "-std=c++20", "-fsyntax-only", "-I", str(folder), "-include", header,
                               "-x", "c++", "/dev/null"], stderr=subprocess.PIPE, text=True, timeout=60,
                              check=False)
        assert done.returncode == 0, header + ": " + done.stderr


def test_second_platform_is_built_with_what_is_installed(tmp_path):
    subprocess.run(["dpkg-deb", "-x", built("vsanmib-dev_*.deb"), str(tmp_path)], check=True, timeout=60)
    found = glob.glob(str(tmp_path / "usr/lib/*/pkgconfig"))
    assert len(found) == 1 and (tmp_path / "usr/share/vsanmib/integrating.md").exists()
    environment = {**os.environ, "PKG_CONFIG_PATH": found[0], "PKG_CONFIG_SYSROOT_DIR": str(tmp_path)}
    example = tmp_path / "usr/share/vsanmib/examples/second-platform"
    subprocess.run(["make", "-s", "-C", str(example)], check=True, env=environment, timeout=120)
    assert (example / "libsecond_platform.so").exists()


def test_what_the_build_needs_is_said_once():
    with open(os.path.join(machines.SOURCE, "packaging/packages.txt"), encoding="utf-8") as text:
        listed = re.search(r"\[build\]\n([^\[]*)", text.read())[1].split()
    with open(os.path.join(machines.SOURCE, "debian/control"), encoding="utf-8") as text:
        depends = re.search(r"Build-Depends: (.*?)\n\n", text.read(), re.DOTALL)[1]
    words = {word.strip().split(" ")[0] for word in depends.split(",")}
    # Every Debian build has the compiler.
    assert words - {"debhelper-compat"} == set(listed) - {"g++"}


def test_version_is_the_projects():
    with open(os.path.join(machines.SOURCE, "CMakeLists.txt"), encoding="utf-8") as text:
        version = re.search(r"project\(vsanmib VERSION ([\d.]+)", text.read())[1]
    assert os.path.basename(built("switchd_*.deb")).split("_")[1] == version


def files_below(folder):
    return {str(name.relative_to(folder)) for name in folder.rglob("*") if not name.is_dir()}


def test_make_install_puts_the_same_files(tmp_path):
    subprocess.run(["make", "-s", "-C", machines.SOURCE, "install", "PREFIX=/usr", f"DESTDIR={tmp_path}/made"],
                   check=True, stdout=subprocess.DEVNULL, timeout=900)
    for package in glob.glob(os.path.join(machines.PACKAGES, "*_*.deb")):
        if "-dbgsym_" not in package:
            subprocess.run(["dpkg-deb", "-x", package, str(tmp_path / "packed")], check=True, timeout=60)
    made, packed = files_below(tmp_path / "made"), files_below(tmp_path / "packed")
    # Debian 12 has its units elsewhere; changelog and copyright are the packages' own; pages are compressed.
    packed = {re.sub(r"^lib/systemd", "usr/lib/systemd", name) for name in packed
              if not re.search(r"usr/share/(doc/.*/(changelog\.gz|copyright)|lintian/.*)$", name)}
    assert {re.sub(r"(/man/.*)\.gz$", r"\1", name) for name in packed} == made
