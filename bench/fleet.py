#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What a second worker buys for 200 logs, and what Spark costs, as ratios of one run.

usage: fleet.py [--logs N] RYX-BENCH-MAKE-LOG

Takes the package, pyspark and Java. Writes logs of 1.7 MB and 22,000 events each, scans them with
the package in one process, which is what all else is compared with, and has Parquet files and a
query over the events made by one worker and by two. Everything is done in turn, three times, and
the fastest counts. docs/fleet.md has the figures.
"""

from __future__ import annotations

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

import pyarrow
from pyspark.sql import SparkSession

import ryx_profile as rp

ROUNDS = 3
FEW = ["graph", "identifier", "value"]


def scan(logs: list[Path]) -> None:
    """Read all columns of the events with the package alone."""
    for _ in pyarrow.RecordBatchReader.from_stream(rp.open(logs).events):
        pass


def write_parquet(logs: list[Path], workers: int) -> None:
    """Export the events with so many processes."""
    folder = tempfile.mkdtemp()
    rp.to_parquet(logs, folder, "events", workers=workers, progress=False)
    shutil.rmtree(folder)


def start_spark(workers: int) -> SparkSession:
    """Return a session of so many threads, each with a Python process."""
    os.environ["PYSPARK_PYTHON"] = sys.executable
    os.environ["SPARK_LOCAL_IP"] = "127.0.0.1"
    builder = SparkSession.builder.master(f"local[{workers}]").config("spark.ui.enabled", "false")
    spark = builder.config("spark.ui.showConsoleProgress", "false").getOrCreate()
    rp.spark.register(spark)
    return spark


def ask_spark(spark: SparkSession, folder: Path, columns: list[str] | None) -> None:
    """Read all columns of the events, or some."""
    options = {"columns": ",".join(columns)} if columns else {}
    reader = spark.read.format("ryx_profile").options(partition_bytes=16 << 20, **options)
    events = reader.load(str(folder))
    events.selectExpr("count(graph)", "count(identifier)", "sum(value)").collect()


def best(times: dict[str, float], what: str, action: Callable[[], None]) -> None:
    """Keep how long the action takes, where that is less than before."""
    begin = time.monotonic()
    action()
    times[what] = min(times.get(what, float("inf")), time.monotonic() - begin)


def measure(logs: list[Path], folder: Path) -> dict[str, float]:
    """Return the seconds that each took."""
    times: dict[str, float] = {}
    for _ in range(ROUNDS):
        best(times, "scan", lambda: scan(logs))
        for workers in 1, 2:
            best(times, f"Parquet, {workers}", lambda n=workers: write_parquet(logs, n))
            begin = time.monotonic()
            spark = start_spark(workers)
            ask_spark(spark, folder / "0.log", None)  # what is slow but once
            print(f"  (Spark, {workers}: ready after {time.monotonic() - begin:.1f} s)")
            best(times, f"Spark, {workers}", lambda s=spark: ask_spark(s, folder, None))
            few = f"Spark, three columns, {workers}"
            best(times, few, lambda s=spark: ask_spark(s, folder, FEW))
            spark.stop()
    return times


def main() -> None:
    """Make the logs, measure, print the ratios."""
    arguments = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    arguments.add_argument("--logs", type=int, default=200)
    arguments.add_argument("make_log")
    chosen = arguments.parse_args()
    with tempfile.TemporaryDirectory() as name:
        logs = [Path(name, f"{place}.log") for place in range(chosen.logs)]
        for log in logs:
            subprocess.run([chosen.make_log, log, "--executions", "10"], check=True)
        size = sum(log.stat().st_size for log in logs)
        times = measure(logs, Path(name))
    print(f"{len(logs)} logs, {size / 1e6:.0f} MB, scanned in {times['scan']:.2f} s")
    for what, seconds in times.items():
        print(f"{what:26} {seconds / times['scan']:6.2f} scans")
    for what in "Parquet", "Spark", "Spark, three columns":
        gain = times[f"{what}, 1"] / times[f"{what}, 2"]
        print(f"{what}: {gain:.2f} times as fast with a second worker")


main()
