"""press_tab.py SHELL LINE...: the words of each line after the Tab key at its end, as an interactive shell has them.

Prints a line of JSON each: a list of words. SHELL is bash or zsh."""
import json
import os
import pathlib
import pty
import select
import sys
import time

COMPLETION = pathlib.Path(__file__).resolve().parents[2] / "packaging/completion"
SHELLS = {
    "bash": (["/bin/bash", "--norc", "--noprofile", "-i"], f". {COMPLETION}/vsanctl.bash"),
    "zsh": (["/bin/zsh", "-f", "-i"],
            f"fpath=({COMPLETION} $fpath); autoload -U compinit; compinit -u -D; bindkey -e; setopt nobeep"),
}
# What stands in front of the line when it is run shows its words; the marks are not in what the terminal echoes.
SHOW = r"""show() { printf 'wor''d<%s>\n' "$@"; printf 'en''d\n'; }"""
TO_THE_START = "\x01"
LONGEST_SECONDS = 20


def read_until(terminal, mark):
    """What the shell prints up to the mark."""
    text = ""
    end = time.monotonic() + LONGEST_SECONDS
    while mark not in text:
        if time.monotonic() > end or not select.select([terminal], [], [], LONGEST_SECONDS)[0]:
            raise TimeoutError(f"no {mark!r} in {text!r}")
        text += os.read(terminal, 65536).decode(errors="replace")
    return text


def main():
    command, setup = SHELLS[sys.argv[1]]
    child, terminal = pty.fork()
    if child == 0:
        os.environ.update(TERM="vt100", PS1="")
        os.execv(command[0], command)
    os.write(terminal, f"{SHOW}\n{setup}\nshow ready\n".encode())
    read_until(terminal, "end\r\n")
    for line in sys.argv[2:]:
        os.write(terminal, f"{line}\t{TO_THE_START}show \n".encode())
        shown = read_until(terminal, "end\r\n")
        print(json.dumps([part.split(">\r\n")[0] for part in shown.split("word<")[1:]][1:]))
    os.close(terminal)
    os.waitpid(child, 0)


if __name__ == "__main__":
    main()
