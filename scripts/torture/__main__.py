# SPDX-License-Identifier: Apache-2.0
"""Attacks the viewer and the toolbox, at random but repeatably.

usage: torture BIN SEED SECONDS [ATTACK...]

Each attack is a function: it prepares a folder, does something unkind, and checks what must hold
whatever happens. All are run in turn until the time is over, each at least once. A round depends on
the seed, the attack and its number alone, and in a race on the machine's scheduler.
"""

import collections
import os
import pathlib
import shutil
import sys
import tempfile
import time

# Imported for the attacks that they register.
import on_contents
import on_outputs
import on_payloads
from attack import ATTACKS, Attack, Finding


def run_round(name, number, binaries, work, seed):
    """None, or what did not hold; the folder of a round that found something is kept."""
    folder = work / f"{name}-{number}"
    folder.mkdir()
    round_ = Attack(binaries, folder, f"{seed}/{name}/{number}")
    try:
        ATTACKS[name](round_)
    except Finding as finding:
        (folder / "commands.txt").write_text("\n".join(map(repr, round_.commands)) + "\n")
        return (
            f"{str(finding)[:500]}\n    {' '.join(map(repr, round_.commands[-1]))}\n    in {folder}"
        )
    shutil.rmtree(folder)
    return None


def main(binaries, seed, seconds, *names):
    binaries = pathlib.Path(binaries).resolve()
    unknown = set(names) - set(ATTACKS)
    if unknown:
        sys.exit(f"no such attack: {' '.join(unknown)}; there are {' '.join(ATTACKS)}")
    os.environ["LC_ALL"] = "C.UTF-8"
    work = pathlib.Path(tempfile.mkdtemp(prefix="ryx-torture-"))
    end = time.monotonic() + float(seconds)
    rounds, findings = collections.Counter(), collections.Counter()
    number = 0
    while number == 0 or time.monotonic() < end:
        for name in names or ATTACKS:
            if number > 0 and time.monotonic() >= end:
                break
            found = run_round(name, number, binaries, work, seed)
            rounds[name] += 1
            if found:
                findings[name] += 1
                print(f"{name}, round {number}: {found}", file=sys.stderr)
        number += 1
    for name in names or ATTACKS:
        print(f"{name:26} {rounds[name]:6} rounds {findings[name]:4} findings")
    print(f"seed {seed}: {sum(rounds.values())} rounds, {sum(findings.values())} findings")
    if findings:
        return 1
    shutil.rmtree(work)
    return 0


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    sys.exit(main(*sys.argv[1:]))
