# SPDX-License-Identifier: Apache-2.0
"""Attacks on what the tools write: races, kills, limits, full disks, streams that end."""

import contextlib
import json
import os
import pathlib
import random
import signal
import subprocess
import threading
import time

from attack import attack, expect, limited
from logs import run_log


APPENDED = "csv"  # the one maker that adds to what is there


def file_makers(a, log):
    """Name and arguments (OUT for the target) of what turns a sound log into one file."""
    document = a.write("run.json", a.tool("dump", log).out)
    return {
        "cut": ([a.toolbox, "cut", log, "-o", "OUT", "--method", "Execute"], "out.log"),
        "salvage": ([a.toolbox, "salvage", log, "-o", "OUT"], "out.log"),
        "make": ([a.toolbox, "make", document, "OUT"], "out.log"),
        "json": ([a.viewer, "-o", "OUT", log], "out.json"),
        "text": ([a.viewer, "-o", "OUT", log], "out.txt"),
        APPENDED: ([a.viewer, "--append", "-o", "OUT", log], "out.csv"),
        "stats": ([a.toolbox, "stats", log, "-o", "OUT"], "out.md"),
        "sqlite": ([a.toolbox, "export", log, "--force", "-o", "OUT"], "out.sqlite"),
        "ndjson": ([a.toolbox, "export", log, "--force", "-o", "OUT"], "out.ndjson"),
        "html": ([a.toolbox, "html", log, "--force", "-o", "OUT"], "out.html"),
        "trace": ([a.toolbox, "export", log, "--force", "-o", "OUT"], "out.trace.json"),
    }


def is_whole(name, path, old, reference):
    if name == "sqlite":
        return path.stat().st_size == len(reference)  # it holds the time of its making
    before = old if name == APPENDED and old else b""
    return path.read_bytes() == before + reference


def made(a, log):
    """A random maker: its name, command, target, and what it makes when nothing is wrong."""
    name, (command, target) = a.rng.choice(sorted(file_makers(a, log).items()))
    path = a.folder / "made" / target
    path.parent.mkdir()
    command = [str(path) if argument == "OUT" else argument for argument in command]
    a.run(command)
    reference = path.read_bytes()
    return name, command, path, reference


def check_target(a, name, path, old, reference, leftovers_allowed=False):
    """The target is what it was, or whole; and nothing else lies about."""
    if path.exists():
        content = path.read_bytes()
        expect(
            content == old or is_whole(name, path, old, reference),
            f"{name}: the target is half written ({len(content)} of {len(reference)} bytes)",
        )
    else:
        expect(old is None, f"{name}: the target is gone")
    left = {file.name for file in path.parent.iterdir()} - {path.name}
    expect(leftovers_allowed or not left, f"{name}: left behind: {left}")


@attack
def reports_into_one_file(a):
    """A CSV that several append to holds each report whole; a JSON is one of theirs."""
    logs = [
        a.log(f"{i}.log", executions=a.rng.randrange(1, 40)) for i in range(a.rng.randrange(2, 5))
    ]
    form = a.rng.choice(["csv", "json"])
    alone = []
    for log in logs:
        a.view("-o", f"alone.{form}", log, allowed=(0,))
        alone.append((a.folder / f"alone.{form}").read_bytes())
        (a.folder / f"alone.{form}").unlink()
    for process in [a.start([a.viewer, "-o", f"all.{form}", log]) for log in logs]:
        a.finish(process, allowed=(0,))
    content = (a.folder / f"all.{form}").read_bytes()
    if form == "json":
        expect(content in alone, "the document is none of those that were written")
        return
    for report in alone:
        expect(report in content, "a report is torn")
        content = content.replace(report, b"", 1)
    expect(not content, f"{len(content)} bytes too many")


@attack
def several_logs_one_fails(a):
    """A run of several logs that fails keeps what was there, or holds the logs that were good."""
    good, big = a.log("good.log", executions=2), a.log("big.log", executions=40, names=200)
    a.write("bad.log", run_log(a.rng, 3)[:-30])
    target = a.folder / "all.json"
    old = a.rng.choice([None, b'{"old": 1}\n'])
    if old is not None:
        target.write_bytes(old)
    memory, size = a.rng.randrange(60, 200) << 20, a.rng.randrange(1 << 20)
    limits = a.rng.choice([{}, {"RLIMIT_AS": memory}, {"RLIMIT_FSIZE": size}])
    second = a.rng.choice(["bad.log", big])
    a.view("-o", target, good, second, **limited(**limits))
    content = target.read_bytes() if target.exists() else None
    if content != old:
        expect(content, "the target is empty")
        reports = json.loads(content)
        reports = reports if isinstance(reports, list) else [reports]
        expect(all("metadata" in report for report in reports), "not made of reports")
    left = {name for name in a.files() if "tmp" in name}
    expect(not left, f"left behind: {left}")


@attack
def killed_makers(a):
    """Whatever ends a command, its target is as before or whole, and nothing is left behind."""
    name, command, path, reference = made(a, a.log(executions=a.rng.choice([5, 60])))
    old = a.rng.choice([None, b"what was there"])
    path.unlink()
    if old is not None and name != "sqlite":
        path.write_bytes(old)
    else:
        old = None
    begin = time.monotonic()
    process = a.start(command)
    ending = a.rng.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
    time.sleep(a.rng.random() ** 2 * 0.05)
    process.send_signal(ending)
    a.finish(process, allowed=(0, -ending))
    expect(time.monotonic() - begin < 30, "takes long to end")
    if ending != signal.SIGKILL or name != APPENDED:
        check_target(a, name, path, old, reference, leftovers_allowed=ending == signal.SIGKILL)
    before = path.read_bytes() if path.exists() else b""
    a.run(command, allowed=(0,))
    check_target(a, name, path, None, before + reference if name == APPENDED else reference)


@attack
def limited_makers(a):
    """Short of memory or of room for files: one reason, status 1, nothing half."""
    name, command, path, reference = made(a, a.log(executions=a.rng.choice([5, 60])))
    old = a.rng.choice([None, b"what was there"])
    path.unlink()
    if old is not None:
        path.write_bytes(old)
    if a.rng.random() < 0.5:
        options = limited(RLIMIT_AS=a.rng.randrange(18, 300) << 20)
    else:
        options = limited(RLIMIT_FSIZE=a.rng.randrange(2 * len(reference)))
    # 127: the program itself could not be loaded.
    a.run(command, allowed=(0, 1, 127), **options)
    check_target(a, name, path, old, reference)


@attack
def limited_readers(a):
    """Every command in an address space that hardly holds it: it runs, or says "out of memory"."""
    log = a.log(executions=a.rng.choice([1, 60]))
    viewers = ([a.viewer, log], [a.viewer, "-o", "r.json", log], [a.viewer, "-o", "r.csv", log])
    readers = [[a.toolbox, *arguments] for arguments in (["verify", log], *a.readers(log))]
    for command in (*viewers, *readers):
        memory = a.rng.randrange(10, 100) << 20
        result = a.run(command, allowed=(0, 1, 2, 3, 127), **limited(RLIMIT_AS=memory))
        what = f"{memory} bytes: status {result.status}: {result.err[-300:]!r}"
        # What the loader says, of the program or a plug-in, it says in its own words.
        words = (b"out of memory", b"cannot", b"failed to map")
        expect(result.status in (0, 3) or any(word in result.err for word in words), what)


@attack
def full_disks(a):
    """A device or file system that is full: one reason, status 1, and the target as it was."""
    log = a.log(executions=40, names=60)
    document = a.write("run.json", a.tool("dump", log).out)
    for command in (
        [a.viewer, "-f", "csv", "-o", "/dev/full", log],
        [a.viewer, "-f", "json", "-o", "/dev/full", log],
        [a.toolbox, "cut", log, "-o", "/dev/full"],
        [a.toolbox, "make", document, "/dev/full"],
        [a.toolbox, "salvage", log, "-o", "/dev/full"],
        [a.toolbox, "stats", log, "-o", "/dev/full"],
        [a.toolbox, "export", log, "--format", "csv", "-o", "/dev/full"],
        [a.toolbox, "export", log, "--format", "trace", "-o", "/dev/full"],
    ):
        a.run(command, allowed=(1,))
    with open("/dev/full", "wb") as full:
        for command in (
            [a.viewer, log],
            [a.toolbox, "dump", log],
            [a.toolbox, "info", log],
            [a.toolbox, "verify", log],
            [a.toolbox, "stats", log],
            [a.toolbox, "export", log, "--format", "ndjson", "-o", "-"],
            [a.toolbox, "--help"],
            [a.viewer, "--help"],
        ):
            a.run(command, allowed=(1,), stdout=full)
    name, command, path, reference = made(a, log)
    old = b"what was there"
    with small_file_system(a, path.parent, max(4096, len(reference) // 2)) as there_is_one:
        if there_is_one:
            path.write_bytes(old)
            a.run(command, allowed=(1,))
            check_target(a, name, path, old, reference)


@contextlib.contextmanager
def small_file_system(a, folder, size):
    """A file system of its own over the folder, where this user may mount one."""
    mount = ["mount", "-t", "tmpfs", "-o", f"size={size}", "torture", str(folder)]
    mounted = os.geteuid() == 0 and subprocess.run(mount, capture_output=True).returncode == 0
    try:
        yield mounted
    finally:
        if mounted:
            subprocess.run(["umount", str(folder)], check=True)


@attack
def growing_logs(a):
    """A log that grows while it is read: a run up to some point, or a chunk that is cut short."""
    whole = run_log(a.rng, 200)
    path = a.folder / "run.log"
    path.write_bytes(b"")
    stop = threading.Event()
    steps = random.Random(a.rng.random())

    def grow():
        with open(path, "ab", buffering=0) as file:
            at = 0
            while at < len(whole) and not stop.is_set():
                step = steps.randrange(1, 4000)
                file.write(whole[at : at + step])
                at += step
                time.sleep(steps.random() * 0.001)

    writer = threading.Thread(target=grow)
    writer.start()
    try:
        commands = [[a.viewer, "run.log"], [a.viewer, "-o", "r.json", "run.log"]]
        commands += [[a.toolbox, "verify", "run.log"]]
        commands += [[a.toolbox, "salvage", "run.log", "-o", "good.log"]]
        commands += [[a.toolbox, *arguments] for arguments in a.readers("run.log")]
        while writer.is_alive():
            a.run(a.rng.choice(commands))
            for log in (a.folder / "part.log", a.folder / "good.log"):
                if log.exists():
                    expect(a.tool("verify", log).status == 0, f"{log.name} is not sound")
    finally:
        stop.set()
        writer.join()


@attack
def broken_pipes(a):
    """A reader that goes away ends a tool by SIGPIPE and without a word."""
    log = a.log(executions=60, names=100)
    for command in (
        [a.viewer, log],
        [a.toolbox, "dump", log],
        [a.viewer, "-f", "csv", "-o", "-", log],
        [a.toolbox, "stats", "--top", "100000", log],
        [a.toolbox, "export", log, "--format", "csv", "-o", "-"],
    ):
        # To a file: in a pipe that nobody empties yet, the summary would hold the viewer up.
        with open(a.folder / "stderr", "w+b") as errors:
            process = a.start(command, stderr=errors)
            process.stdout.read(a.rng.randrange(1, 100))
            process.stdout.close()
            status = process.wait(timeout=120)
            errors.seek(0)
            err = errors.read()
        expect(status in (0, -signal.SIGPIPE), f"status {status}: {err!r}")
        expect(b"ryx-profile" not in err.replace(b"ryx-profile-viewer: 1", b""), f"{err[:300]!r}")


@attack
def closed_streams(a):
    """With standard streams closed, no text goes into a file that was opened for another end."""
    log = a.log(executions=3)
    content = pathlib.Path(log).read_bytes()
    closing = " ".join(a.rng.sample([">&-", "2>&-", "<&-"], a.rng.randrange(1, 4)))
    for arguments in (
        [a.viewer, log],
        [a.viewer, "-o", "out.csv", log],
        [a.viewer, "-o", "out.json", log],
        [a.toolbox, "verify", log],
        [a.toolbox, "cut", log, "-o", "cut.log"],
        [a.toolbox, "info", "missing"],
    ):
        a.run(
            ["sh", "-c", f'exec "$@" {closing}', "sh", *arguments],
            stderr=None if "2>" in closing else subprocess.PIPE,
        )
        expect(pathlib.Path(log).read_bytes() == content, "the log was written to")
    if (a.folder / "cut.log").exists():
        expect(
            (a.folder / "cut.log").read_bytes()[:4] == content[:4]
            or a.tool("verify", "cut.log").status == 0,
            "a stream's text is in the log",
        )


@attack
def onto_the_input(a):
    """A command whose output is its input, by whatever path, does not destroy it."""
    log = a.log(executions=3)
    document = a.write("run.json", a.tool("dump", log).out)
    for source, command in (
        (document, ["make", document, "AGAIN"]),
        (log, ["cut", log, "-o", "AGAIN", "--last", "1"]),
        (log, ["salvage", log, "-o", "AGAIN"]),
    ):
        before = pathlib.Path(source).read_bytes()
        link = a.folder / ("link" + pathlib.Path(source).suffix)
        again = a.rng.choice(["same", "symbolic", "hard"])
        if again == "symbolic":
            link.symlink_to(source)
        elif again == "hard":
            os.link(source, link)
        path = source if again == "same" else str(link)
        a.tool(*[path if word == "AGAIN" else word for word in command], allowed=(0, 1, 2))
        expect(
            pathlib.Path(source).read_bytes() == before, f"{command[0]} onto its input ({again})"
        )
        link.unlink(missing_ok=True)


@attack
def two_writers(a):
    """Of writers on one path one writes a sound log, and the others are told; limits kill none."""
    if not os.path.exists(a.maker):
        return
    size = ["--scale", "0.002"]
    a.run([a.maker, *size, "alone.log"], allowed=(0,))
    processes = [a.start([a.maker, *size, "run.log"]) for _ in range(a.rng.randrange(2, 4))]
    results = [a.finish(process) for process in processes]
    expect(any(result.status == 0 for result in results), "no writer succeeded")
    for result in results:
        expect(result.status == 0 or b"another writer has it open" in result.err, f"{result.err!r}")
    files = a.files()
    expect(files["run.log"] == files["alone.log"], "the log is damaged")
    result = a.run(
        [a.maker, *size, "short.log"],
        allowed=(0, 1),
        **limited(RLIMIT_FSIZE=a.rng.randrange(len(files["alone.log"]))),
    )
    expect(b"File too large" in result.err, f"{result.err!r}")
    a.tool("verify", "short.log", allowed=(0,))
