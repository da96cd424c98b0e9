# SPDX-License-Identifier: Apache-2.0
"""Attacks on the folder that payloads are saved into."""

import collections
import contextlib
import os
import pathlib
import shutil
import threading

from attack import attack, expect
from logs import FINALIZE, chunk, message, payload


def outside_unchanged(a, names, swap=None):
    """Saves payloads of such names into a folder, and checks that nothing changed beside it."""
    a.write("outside/secret", b"secret")
    saved = a.folder / "saved"
    saved.mkdir()
    (saved / "link").symlink_to("../outside/secret")
    (saved / "new").symlink_to("../outside/new")
    (saved / "folder").symlink_to("../outside")
    log = a.write(
        "hostile.log",
        b"".join(chunk([message(FINALIZE, "net", [payload(name, b"owned")])]) for name in names),
    )
    before = a.files(a.folder / "outside")
    stop = threading.Event()
    swapper = threading.Thread(target=swap, args=(saved, stop)) if swap else None
    if swapper:
        swapper.start()
    try:
        a.view("--save-objects=saved", log)
    finally:
        stop.set()
        if swapper:
            swapper.join()
    expect(
        a.files(a.folder / "outside") == before, "a file outside of the folder was made or changed"
    )
    expect(not pathlib.Path("/tmp/ryx-torture-owned").exists(), "a file in /tmp was made")


HOSTILE_NAMES = [
    "../outside/a",
    "../../a",
    "/tmp/ryx-torture-owned",
    "folder/secret",
    "folder/a",
    "link",
    "new",
    "./../outside/b",
    "saved/../../outside/c",
    "/proc/self/cwd/outside/d",
    "a\nb",
    "\x1b]0;owned\x07",
    "x" * 300,
    "." * 5,
    "-rf",
    "sub/deep/file",
    "/dev/null",
    "folder/../a",
]


@attack
def hostile_file_names(a):
    """Payload names that lead out of the folder, by dots, roots and links."""
    outside_unchanged(a, a.rng.sample(HOSTILE_NAMES, a.rng.randrange(1, len(HOSTILE_NAMES))))


@attack
def links_swapped_meanwhile(a):
    """The same, while another process swaps a folder for a link that leads out."""

    def swap(saved, stop):
        while not stop.is_set():
            with contextlib.suppress(OSError):
                (saved / "sub").mkdir()
            with contextlib.suppress(OSError):
                os.rename(saved / "sub", saved / "real")
                (saved / "sub").symlink_to("../outside")
                os.unlink(saved / "sub")
                shutil.rmtree(saved / "real")

    outside_unchanged(a, ["sub/file"] * a.rng.randrange(50, 300), swap)


@attack
def savers_in_one_folder(a):
    """Viewers that save into one folder at once lose no payload."""
    count, viewers = a.rng.randrange(1, 80), a.rng.randrange(2, 5)
    contents = [[b"%d of %d" % (i, viewer) for i in range(count)] for viewer in range(viewers)]
    logs = [
        a.write(
            f"{viewer}.log",
            b"".join(
                chunk(
                    [
                        message(
                            FINALIZE,
                            "net",
                            [payload(a.rng.choice(["dump.bin", "dump", "a.dot"]), content)],
                        )
                    ]
                )
                for content in contents[viewer]
            ),
        )
        for viewer in range(viewers)
    ]
    (a.folder / "saved").mkdir()
    processes = [a.start([a.viewer, "--save-objects=saved", log]) for log in logs]
    for process in processes:
        a.finish(process, allowed=(0,))
    found = collections.Counter(a.files(a.folder / "saved").values())
    wanted = collections.Counter(content for part in contents for content in part)
    expect(
        found == wanted, f"{sum((wanted - found).values())} of {sum(wanted.values())} payloads lost"
    )


@attack
def pipes_in_the_folder(a):
    """A FIFO that has a payload's name is a taken name; nobody waits for its other end."""
    (a.folder / "saved").mkdir()
    for name in ("dump.bin", "dump_1.bin")[: a.rng.randrange(1, 3)]:
        os.mkfifo(a.folder / "saved" / name)
    log = a.write("run.log", chunk([message(FINALIZE, "net", [payload("dump.bin", b"kept")])]))
    a.view("--save-objects=saved", log, allowed=(0,))
    expect(b"kept" in a.files(a.folder / "saved").values(), "the payload was not saved")


@attack
def piped_logs(a):
    """Logs and reports through pipes, with payloads to save."""
    content = chunk([message(FINALIZE, "net", [payload("dump.bin", b"kept")], 1, 2)])
    log = a.write("run.log", content)
    into, out_of = 'cat "$0" | "$@"', '"$@" | cat'
    for script, arguments in (
        (into, ["/dev/stdin"]),
        (into, ["-"]),
        (out_of, ["-f", "json", "-o", "/dev/stdout", log]),
    ):
        shutil.rmtree(a.folder / "saved", ignore_errors=True)
        (a.folder / "saved").mkdir()
        command = [a.viewer, "--save-objects=saved", *arguments]
        a.run(["bash", "-o", "pipefail", "-c", script, log, *command], allowed=(0,))
        saved = a.files(a.folder / "saved").values()
        expect(b"kept" in saved, f"{arguments}: the payload was not saved")
