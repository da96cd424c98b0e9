# SPDX-License-Identifier: Apache-2.0
"""Attacks by what a log holds, and by what is given to the tools instead of one."""

import contextlib
import gzip
import json
import os
import pathlib
import pty
import resource
import struct
import subprocess

from attack import attack, expect, limited
from logs import EXECUTE, FINALIZE, Table, chunk, colliding_names_of_16_bytes, event, message
from logs import payload, run_log, text


def damage(rng, content):
    content = bytearray(content)
    for _ in range(rng.choice([1, 1, 2, 5])):
        kind = rng.randrange(6)
        at = rng.randrange(len(content) + 1)
        if kind == 0:
            del content[at:]
        elif kind == 1 and at < len(content):
            content[at] ^= 1 << rng.randrange(8)
        elif kind == 2:
            content[at : at + rng.randrange(64)] = rng.randbytes(rng.randrange(64))
        elif kind == 3:
            size = rng.choice([0, 1, 2**31 - 2, 2**31, 2**32 - 1])
            content[at : at + 4] = struct.pack("<I", size)
        elif kind == 4:
            del content[at : at + rng.randrange(2000)]
        else:
            content[at:at] = content[: rng.randrange(2000)]
    return bytes(content)


@attack
def damaged_logs(a):
    """Cut, flipped and overwritten logs through every command: none crashes, and they agree."""
    sound = run_log(a.rng, a.rng.randrange(1, 12))
    log = a.write("broken.log", damage(a.rng, sound))
    verdict, said, _ = a.tool("verify", log)
    # Readers judge a last chunk that is cut short as if zeros followed.
    verdicts = (0, 1) if b"the file ends" in said else (verdict,)
    for arguments in a.readers(log):
        status = a.tool(*arguments).status
        expect(verdict == 1 or status in (0, 3), f"verify calls it sound, {arguments[0]} does not")
    for report in ([], ["-o", "report.csv"], ["-o", "report.json"]):
        status = a.view(*report, log).status
        expect(status in verdicts, f"verify says {verdict}, the viewer {status}")
    if a.tool("salvage", log, "-o", "good.log").status == 0 and (a.folder / "good.log").exists():
        expect(a.tool("verify", "good.log").status == 0, "salvage wrote a log that is not sound")


@attack
def foreign_files(a):
    """What never was a log, and what cannot be read, through every command."""
    zipped, zstd = gzip.compress(b"x" * 99), b"\x28\xb5\x2f\xfd" + b"1" * 50
    noise = a.rng.randbytes(a.rng.randrange(3000))
    content = a.rng.choice([b"", b"\0", b"{}", b"hello\n" * 50, zipped, zstd, noise])
    file = a.write("file", content)
    (a.folder / "folder").mkdir()
    for path in (file, "folder", "missing", "/dev/null", "/proc/self/mem", "/"):
        writers = (["make", path, "made.log"], ["salvage", path, "-o", "good.log"])
        for arguments in (["verify", path], *writers, *a.readers(path)):
            a.tool(*arguments)
        a.view(path)
        a.view("-o", "report.json", path)


@attack
def hostile_findings(a):
    """Inputs that were made to cost much, within 1 GB of memory."""
    root = pathlib.Path(__file__).resolve().parents[2] / "fuzz" / "findings"
    content = a.rng.choice(sorted(path for path in root.rglob("*") if path.is_file())).read_bytes()
    shared = [event("x")]
    for _ in range(a.rng.randrange(5, 14)):
        shared = [Table({0: text("s"), 4: shared}), Table({0: text("t"), 4: shared})]
    doubled = chunk([message(EXECUTE, "g", shared)])
    framed = struct.pack("<I", len(content)) + content
    log = a.write("costly.log", a.rng.choice([content, framed, doubled]))
    viewers = ([a.viewer, log], [a.viewer, "-o", "out.json", log])
    for command in (*viewers, *([a.toolbox, *arguments] for arguments in a.readers(log))):
        a.run(command, stdout=subprocess.DEVNULL, **limited(RLIMIT_AS=1 << 30))


@attack
def wrong_arguments(a):
    """Options at random: a line of what is wrong and status 2, or it runs."""
    log = a.log(executions=2)
    words = [
        "-o",
        "-f",
        "--format",
        "json",
        "csv",
        "x",
        "-",
        "--",
        "-l",
        "999",
        "--level",
        "-1",
        "",
        log,
        "--save-objects",
        "--save-objects=",
        "--unconfined",
        "--plugin",
        "/dev/null",
        "--json",
        "-h",
        "--graph",
        "net",
        "--first",
        "--last",
        "3",
        "--messages",
        "3:1",
        "cut",
        "info",
        "dump",
        "verify",
        "salvage",
        "make",
        "export",
        "stats",
        "diff",
        "html",
        "help",
        "--version",
        "out.x",
        "--no-payloads",
        "--hash-names",
        "--from",
        "--to",
        "99999999999999999999",
        "\x1b[2J",
        "a\nb",
    ]
    tool = a.rng.choice([a.viewer, a.toolbox])
    arguments = [a.rng.choice(words) for _ in range(a.rng.randrange(7))]
    a.run([tool, *arguments], allowed=(0, 1, 2, 3))


@attack
def colliding_names(a):
    """Names chosen to collide in a hash take no longer than any others."""
    count = 12000
    sets = {
        "chosen": colliding_names_of_16_bytes(a.rng, count),
        "others": [bytes(b or 1 for b in a.rng.randbytes(16)) for _ in range(count)],
    }
    kind = a.rng.choice(["events", "graphs"])
    logs = {}
    for name, names in sets.items():
        if kind == "events":
            messages = [message(EXECUTE, "net", [event(n) for n in names], 1, 2) for _ in range(2)]
        else:
            messages = [message(EXECUTE, n, [event("e")], 1, 2) for n in names]
        logs[name] = a.write(f"{name}.log", chunk(messages))
    for command in (
        [a.viewer, "LOG"],
        [a.viewer, "-f", "json", "-o", "/dev/null", "LOG"],
        [a.toolbox, "info", "LOG"],
        [a.toolbox, "export", "LOG", "--force", "-o", "o.sqlite"],
    ):
        seconds = {}
        for name, log in logs.items():
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            a.run([log if word == "LOG" else word for word in command], stdout=subprocess.DEVNULL)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            seconds[name] = after.ru_utime - before.ru_utime
        expect(seconds["chosen"] < 5 * seconds["others"] + 0.5, f"{command[:2]}: {seconds}")


@attack
def long_names(a):
    """One name of a megabyte among many short ones makes no table a megabyte wide."""
    graphs = [a.rng.randbytes(a.rng.randrange(10**6)).replace(b"\0", b"x")] + [
        f"g{i}" for i in range(2000)
    ]
    log = a.write(
        "run.log", chunk([message(EXECUTE, graph, [event("e")], 1, 2) for graph in graphs])
    )
    result = a.tool("info", log, allowed=(0,), **limited(RLIMIT_AS=2 << 30))
    expect(len(result.out) < 8 * os.path.getsize(log) + 10**6, f"{len(result.out)} bytes of output")


@attack
def repeated_complaints(a):
    """What is wrong with every message of a log is not said for every message."""
    log = a.write("run.log", chunk([message(99, "g", []) for _ in range(30000)]))
    err = a.view(log).err
    expect(len(err) < 50000, f"{len(err)} bytes on standard error")


@attack
def terminal_sequences(a):
    """On a terminal no text of a log moves the cursor or sets a title."""
    evil = "\x1b]0;owned\x07\x1b[2J\x9b"
    log = a.write(
        "run.log",
        chunk(
            [message(EXECUTE, evil, [event(evil)], 1, 2)],
            Table({4: text(evil), 5: text(evil), 6: text(evil)}),
        ),
    )
    for command in (
        [a.viewer, log],
        [a.toolbox, "info", log],
        [a.toolbox, "dump", log],
        [a.toolbox, "verify", evil],
        [a.viewer, evil],
        [a.viewer, "--level", evil, log],
        [a.toolbox, "stats", "--by", evil, log],
    ):
        ours, theirs = pty.openpty()
        process = a.start(command, stdout=theirs, stderr=theirs)
        os.close(theirs)
        shown = bytearray()
        with contextlib.suppress(OSError):
            while piece := os.read(ours, 65536):
                shown += piece
        os.close(ours)
        expect(process.wait(timeout=120) in (0, 1, 2), f"status {process.returncode}")
        expect(
            b"\x1b]0;" not in shown and b"\x1b[2J" not in shown,
            f"{command[:2]}: {bytes(shown[:200])!r}",
        )


@attack
def there_and_back(a):
    """dump and make give the same log again, whatever its texts and numbers are."""
    texts = [
        "plain",
        b"\xff\xfe",
        "\\x41",
        "\\\\x",
        b"a\x80b",
        "\u20ac",
        '"quoted"',
        "\n\t\x01",
        "",
        b"\xed\xa0\x80",
    ]
    numbers = [float("nan"), float("inf"), -float("inf"), -0.0, 5e-324, 1e308, 0.1, a.rng.random()]
    events = []
    for _ in range(a.rng.randrange(1, 30)):
        table = event(a.rng.choice(texts), a.rng.getrandbits(64))
        table[11] = ("d", a.rng.choice(numbers))
        table[7] = ("f", a.rng.choice([float("nan"), float("inf"), 0.5, 3.4e38, 1e-45]))
        table[12] = text(a.rng.choice(texts))
        table[6] = ("q", -a.rng.getrandbits(63))
        table[8] = a.rng.randbytes(a.rng.randrange(9))
        events.append(table)
    log = a.write("run.log", chunk([message(EXECUTE, a.rng.choice(texts), events, 1, 2)]) * 2)
    a.write("one.json", a.tool("dump", log, allowed=(0,)).out)
    for document in (
        (a.folder / "one.json").read_text(encoding="utf-8").replace("}\n{", "}\0{").split("\0")
    ):
        json.loads(document)
    a.tool("make", "one.json", "one.log", allowed=(0,))
    a.write("two.json", a.tool("dump", "one.log", allowed=(0,)).out)
    a.tool("make", "two.json", "two.log", allowed=(0,))
    files = a.files()
    expect(files["one.json"] == files["two.json"], "the documents differ")
    expect(files["one.log"] == files["two.log"], "the logs differ")


@attack
def log_in_a_payload(a):
    """A log inside a payload is not taken for the log's own messages."""
    inner = chunk([message(EXECUTE, "inner", [event("e")], 1, 2)]) * a.rng.randrange(1, 4)
    outer = [
        chunk([message(FINALIZE, f"outer{i}", [payload("net.log", inner)], 1, 2)]) for i in range(3)
    ]
    broken = a.rng.randrange(3)
    damaged = bytearray(outer[broken])
    damaged[a.rng.randrange(4)] ^= 1 << a.rng.randrange(8)
    outer[broken] = bytes(damaged)
    log = a.write("broken.log", b"".join(outer))
    a.tool("salvage", log, "-o", "good.log", allowed=(0,))
    shown = a.tool("dump", "good.log", allowed=(0,)).out
    for i in range(3):
        expect(
            b'"outer%d"' % i in shown,
            f"outer chunk {i} is missing, the size of {broken} was damaged",
        )
    expect(b'"inner"' not in shown, "a message of the payload was taken for the log's")
