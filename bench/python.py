# SPDX-License-Identifier: Apache-2.0
"""Measures the Python package on the deep run, and prints a table of ratios.

To C++ reading the same stream (bench/arrow.cpp), to the log's size, and to one worker. Takes the
environment that scripts/test-python.sh makes:

    build/python-tests/bin/python bench/python.py [--rounds N] [--scale F] [--build DIR]

Everything is measured once in each round; a ratio is that of the least times of all rounds, peak
memory the most. Exit status: 0 when every row is within its bound, 1 when one is over.
"""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
TABLE = "import sys, pyarrow, ryx_profile; pyarrow.table(ryx_profile.open(sys.argv[1]).events)"
LOGS = 200


class Bench:
    """Runs what is measured, and keeps the figures by name."""

    def __init__(self, binaries: Path, work: Path) -> None:
        self._binaries = binaries
        self._work = work
        self.figures: defaultdict[str, list[float]] = defaultdict(list)

    def make_log(self, name: str, scale: float) -> Path:
        """Write a deep run."""
        path = self._work / name
        program = self._binaries / "ryx-bench-make-log"
        subprocess.run([program, "--scale", str(scale), path], check=True, capture_output=True)
        return path

    def time(self, name: str, *command: str | Path) -> None:
        """Run a process; keep its seconds, and its peak memory in bytes as `<name>-memory`.

        Before it, memory is taken and given back, as bench/compare.sh does and says why.
        """
        subprocess.run([self._binaries / "ryx-bench-warm-memory", str(2_300_000_000)], check=True)
        program = self._binaries / "ryx-bench-run-timed"
        answer = subprocess.check_output([program, self._work / "stdout", *command], text=True)
        seconds, _, peak, *_ = answer.split()
        self.figures[name].append(float(seconds))
        self.figures[f"{name}-memory"].append(float(peak))

    def export(self, name: str, workers: int, *logs: Path) -> int:
        """Export events as Parquet; return the bytes that are written."""
        out = self._work / "out"
        shutil.rmtree(out, ignore_errors=True)
        command = [sys.executable, "-m", "ryx_profile", "parquet", "-j", str(workers)]
        self.time(name, *command, "-o", out, *logs)
        return sum(file.stat().st_size for file in out.rglob("*.parquet"))


def main() -> int:
    """Measure, and print."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--scale", type=float, default=1)
    parser.add_argument("--build", type=Path, default=ROOT / "build/release")
    options = parser.parse_args()
    place = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="ryx-bench-", dir=place) as work:
        bench = Bench(options.build / "bin", Path(work))
        deep = bench.make_log("deep.log", options.scale)
        small = bench.make_log("small.log", options.scale / 100)
        fleet = [Path(work) / f"{i}.log" for i in range(LOGS)]
        for log in fleet:
            log.hardlink_to(small)
        for _ in range(options.rounds):
            bench.time("stream", options.build / "bin/ryx-bench-arrow", deep)
            bench.time("table", sys.executable, "-c", TABLE, deep)
            size = bench.export("parquet", 1, deep)
            bench.export("one-worker", 1, *fleet)
            bench.export("two-workers", 2, *fleet)
        log_size = deep.stat().st_size
    least = {name: min(values) for name, values in bench.figures.items()}
    most = {name: max(values) for name, values in bench.figures.items()}
    rows = [
        ("pa.table(log.events), to the stream in C++", least["table"] / least["stream"], 3.0),
        ("Parquet, to the stream in C++", least["parquet"] / least["stream"], None),
        ("Parquet, peak memory, to 300 MB", most["parquet-memory"] / 300e6, 1.0),
        ("Parquet, size, to the log's", size / log_size, 0.1),
        (f"{LOGS} logs, two workers to one", least["two-workers"] / least["one-worker"], 1.0),
    ]
    is_over = False
    for what, ratio, bound in rows:
        is_row_over = bound is not None and ratio > bound
        is_over = is_over or is_row_over
        verdict = "-" if bound is None else "OVER" if is_row_over else "ok"
        print(f"{what:<44} {ratio:8.3f} {'-' if bound is None else bound:>8}  {verdict}")
    return 1 if is_over else 0


if __name__ == "__main__":
    sys.exit(main())
