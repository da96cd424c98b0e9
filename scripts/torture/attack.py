# SPDX-License-Identifier: Apache-2.0
"""What an attack works with: a folder, the tools, and what no program may do."""

import collections
import functools
import os
import random
import re
import resource
import signal
import subprocess

from logs import run_log

ATTACKS = {}


def attack(function):
    ATTACKS[function.__name__] = function
    return function


class Finding(Exception):
    pass


def expect(holds, what):
    if not holds:
        raise Finding(what)


Result = collections.namedtuple("Result", "status out err")

# What a command may end with, where that is not 0 or 1. diff fails with 2, and also on a damaged log;
# 3 is that there is nothing to compare.
STATUSES = {"diff": (0, 2, 3)}

# What the toolbox can do with a log; a command that it does not list is left out.
READERS = [
    ["dump", "LOG"],
    ["info", "LOG"],
    ["info", "--json", "LOG"],
    ["stats", "LOG"],
    ["stats", "--format", "json", "LOG"],
    ["stats", "--by", "type", "--warmup", "auto", "LOG", "LOG", "-o", "stats.csv"],
    ["diff", "LOG", "LOG"],
    ["cut", "LOG", "-o", "part.log"],
    ["export", "LOG", "--force", "-o", "out.ndjson"],
    ["export", "LOG", "--force", "--table", "executions", "-o", "out.csv"],
    ["export", "LOG", "--force", "-o", "out.sqlite"],
    ["export", "LOG", "--force", "-o", "out.trace.json.gz"],
    ["export", "LOG", "--force", "-o", "out.folded"],
    ["html", "LOG", "--force", "-o", "out.html"],
]


@functools.cache
def commands_of(toolbox):
    shown = subprocess.run([toolbox, "--help"], capture_output=True, text=True, check=True).stdout
    return set(re.findall(r"^  ([a-z]+)\b", shown, re.MULTILINE))


class Attack:
    """One round: a folder, random numbers of its own, the tools, and a record of what was run."""

    def __init__(self, binaries, folder, seed):
        self.rng = random.Random(seed)
        self.folder = folder
        self.viewer = str(binaries / "ryx-profile-viewer")
        self.toolbox = str(binaries / "ryx-profile-log")
        self.maker = str(binaries / "ryx-bench-make-log")
        self.commands = []

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return str(path)

    def log(self, name="run.log", **shape):
        return self.write(name, run_log(self.rng, **shape))

    def start(self, command, **options):
        self.commands.append(command)
        for stream in ("stdin", "stdout", "stderr"):
            options.setdefault(stream, subprocess.DEVNULL if stream == "stdin" else subprocess.PIPE)
        return subprocess.Popen(command, cwd=self.folder, **options)

    def finish(self, process, allowed=(0, 1)):
        """Waits, and checks what no program may do: hang, crash, or fail without a word."""
        try:
            out, err = process.communicate(timeout=120)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise Finding("hangs") from None
        out, err = out or b"", err or b""
        for words in (b"terminate called", b"Sanitizer", b"Assertion", b"runtime error"):
            expect(words not in err, f"says {words.decode()}: {err[-300:]!r}")
        expect(process.returncode in allowed, f"status {process.returncode}: {err[-300:]!r}")
        if process.returncode in (1, 2) and process.stdout is not None and process.stderr is not None:
            expect(out.strip() or err.strip(), f"status {process.returncode} without a word")
        return Result(process.returncode, out, err)

    def run(self, command, allowed=None, **options):
        allowed = allowed or STATUSES.get(command[1], (0, 1))
        return self.finish(self.start(command, **options), allowed)

    def view(self, *arguments, **options):
        return self.run([self.viewer, *map(str, arguments)], **options)

    def tool(self, *arguments, **options):
        return self.run([self.toolbox, *map(str, arguments)], **options)

    def readers(self, log):
        """The arguments of every command that reads a log."""
        known = commands_of(self.toolbox)
        return [
            [str(log) if word == "LOG" else word for word in arguments]
            for arguments in READERS
            if arguments[0] in known
        ]

    def files(self, folder=None):
        """Every file below the folder with its content; of what is no regular file, what it is."""
        found = {}
        for path in sorted((folder or self.folder).rglob("*")):
            name = str(path.relative_to(folder or self.folder))
            if path.is_symlink():
                found[name] = "link to " + os.readlink(path)
            elif path.is_file():
                found[name] = path.read_bytes()
            else:
                found[name] = "folder" if path.is_dir() else "special"
        return found


def limited(**limits):
    """Options for a process with limits: limited(RLIMIT_AS=bytes)."""

    def set_limits():
        for name, value in limits.items():
            resource.setrlimit(getattr(resource, name), (value, resource.RLIM_INFINITY))
        # Python ignores this one, and its children would inherit that.
        signal.signal(signal.SIGXFSZ, signal.SIG_DFL)

    return {"preexec_fn": set_limits}
