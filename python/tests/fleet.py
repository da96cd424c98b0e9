# SPDX-License-Identifier: Apache-2.0
"""The logs of a fleet: ten runs on each of 20 machines, the same ones whenever they are made.

usage: fleet.py RYX-PROFILE-LOG FOLDER

docs/fleet.md asks about them. One machine is slow now and then, and nowhere in the middle; one is
a tenth slower all the time. Four logs are damaged, each in its own way.
"""

from __future__ import annotations

import json
import random
import subprocess
import sys
from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any

MACHINES = 20
RUNS = 10
STALLING = 13
SLOW = 5
"""Machines."""
DAMAGED = ("machine-03/run-2.log", "machine-08/run-7.log", "machine-11/run-0.log")
NO_LOG = "machine-17/run-9.log"

Json = dict[str, Any]


def make_fleet(tool: str, folder: Path) -> list[Path]:
    """Write the logs into folders, one a machine. Return their paths, in order."""
    runs = [(machine, run) for machine in range(MACHINES) for run in range(RUNS)]
    with ThreadPoolExecutor(2) as threads:
        logs = list(threads.map(lambda which: make_run(tool, folder, *which), runs))
    damage(*(folder / name for name in DAMAGED))
    (folder / NO_LOG).write_text("machine-17: no space left on device\n")
    return logs


def make_run(tool: str, folder: Path, machine: int, run: int) -> Path:
    """Write the log of one run."""
    log = folder / f"machine-{machine:02}" / f"run-{run}.log"
    log.parent.mkdir(parents=True, exist_ok=True)
    chunks = log.with_suffix(".json")
    chunks.write_text("\n".join(json.dumps(chunk) for chunk in chunks_of(machine, run)))
    subprocess.run([tool, "make", chunks, log], check=True, stdin=subprocess.DEVNULL)
    chunks.unlink()
    return log


def damage(cut: Path, spoilt: Path, inflated: Path) -> None:
    """Cut a log short, spoil the beginning of its last chunk, and the size of its second one."""
    cut.write_bytes(cut.read_bytes()[:-1000])
    content = bytearray(spoilt.read_bytes())
    chunks = starts_of_chunks(content)
    content[chunks[-1] + 4 : chunks[-1] + 8] = b"\xff" * 4
    spoilt.write_bytes(content)
    content = bytearray(inflated.read_bytes())
    content[starts_of_chunks(content)[1] + 3] = 0x7F
    inflated.write_bytes(content)


def starts_of_chunks(log: bytearray) -> list[int]:
    """Return where each chunk begins, with its size."""
    starts = [0]
    while (end := starts[-1] + 4 + int.from_bytes(log[starts[-1] :][:4], "little")) < len(log):
        starts.append(end)
    return starts


def chunks_of(machine: int, run: int) -> Iterator[Json]:
    """Return the chunks of a log in the form that `make` takes: 100 executions, and 20 of a mix."""
    dice = random.Random(1000 * machine + run)
    clock = 1_000_000
    yield {
        "header": {
            "backend_version": "2.2.0" if run >= RUNS // 2 else "2.1.0",
            "epoch_timestamp": 1_767_225_600_000_000 + run * 86_400_000_000,
        },
        "messages": [],
    }
    for _ in range(4):
        messages = []
        for i in range(30):
            graph = "classify" if i % 6 == 5 else "detect"
            took = duration(dice, 2_500 if graph == "classify" else 16_000, machine)
            messages.append(execution(graph, clock, took, dice))
            clock += took + 40
        yield {"messages": messages}


def duration(dice: random.Random, usual: int, machine: int) -> int:
    """Return some microseconds: a bell of 2 %, with a tail."""
    bell = sum(dice.random() for _ in range(12)) - 6
    took = usual * (1 + 0.02 * bell) * (1.1 if machine == SLOW else 1)
    if dice.random() < (0.04 if machine == STALLING else 0.01):
        took *= 1.6 if machine == STALLING else 1.1
    return int(took)


def execution(graph: str, start: int, took: int, dice: random.Random) -> Json:
    """Return a message: an execution with its queue wait, and its time on the device by layer."""
    wait = 300 + int(200 * dice.random())
    device = took - wait - 100
    first = int(device * (0.6 + 0.02 * dice.random()))
    return {
        "method_type": "ExecuteHostRoundTrip",
        "text": graph,
        "timestamp": {"time": start + took},
        "timing": {"start": start, "end": start + took},
        "events": [
            event("Queue wait", wait, event_type=405),
            event("Device execute", device)
            | {"nested_events": [event("Conv.1", first), event("Conv.2", device - first)]},
        ],
    }


def event(identifier: str, microseconds: int, **fields: int) -> Json:
    """Return an event that took so long."""
    value = {"unit": 1, "value_kind": "UINT64", "uint_value": microseconds}
    return {"identifier": identifier} | value | fields


if __name__ == "__main__":
    make_fleet(sys.argv[1], Path(sys.argv[2]))
