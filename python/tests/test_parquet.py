# SPDX-License-Identifier: Apache-2.0
"""Folders of Parquet files: what is in them, and what interrupts and changes leave of them."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import time
from pathlib import Path
from random import Random

import duckdb
import pyarrow.parquet as pq
import pytest
from conftest import BUILD, DAMAGE, SAMPLE, MakeLog, Row, event, execution, rows_of

import ryx_profile as rp
from ryx_profile._parquet import TableName

LOGS = 200
TABLES: list[TableName] = ["events", "messages", "executions"]


def files_in(folder: Path) -> list[Path]:
    return sorted(path for path in folder.rglob("*") if path.is_file())


def command(*arguments: str | Path) -> list[str | Path]:
    return [sys.executable, "-m", "ryx_profile", "parquet", *arguments]


def run(*arguments: str | Path, status: int = 0) -> str:
    result = subprocess.run(command(*arguments), capture_output=True, text=True, check=False)
    assert result.returncode == status, result.stderr
    assert result.stdout == ""
    return result.stderr


@pytest.fixture
def fleet(make_log: MakeLog) -> list[Path]:
    """Return logs of many machines, each of two graphs with times of its own."""
    random = Random(1)

    def executions() -> list[Row]:
        return [execution(graph, duration=int(random.lognormvariate(7, 1))) for graph in "ab" * 100]

    return [make_log(f"machine-{i}.log", executions()) for i in range(LOGS)]


@pytest.fixture
def heavy(tmp_path: Path) -> list[Path]:
    """Return logs that take some seconds to export: one under many names."""
    folder = tmp_path / "logs"
    folder.mkdir()
    first = folder / "0.log"
    subprocess.run([BUILD / "bin/ryx-bench-make-log", "--scale", "0.02", first], check=True)
    for i in range(1, 40):
        (folder / f"{i}.log").hardlink_to(first)
    return sorted(folder.iterdir())


@pytest.mark.parametrize("table", TABLES)
def test_rows_are_those_of_the_log(table: TableName, tmp_path: Path, make_log: MakeLog) -> None:
    huge = event("huge", value_kind="UINT64", uint_value=2**64 - 1)
    logs = [SAMPLE, make_log("huge.log", [execution("net", huge)]), make_log("empty.log")]
    for log, result in zip(logs, rp.to_parquet(logs, tmp_path / "out", table), strict=True):
        assert result.file is not None
        assert result.log == str(log)
        assert result.is_new
        rows = pq.ParquetFile(result.file).read().to_pylist()
        assert rows == rows_of(table, log)
        assert result.rows == len(rows)
    assert {path.parent.name for path in files_in(tmp_path / "out")} == {f"table={table}"}


def test_percentiles_of_a_fleet_are_those_of_stats(fleet: list[Path], tmp_path: Path) -> None:
    rp.to_parquet(fleet, tmp_path, "executions", workers=2)
    rows = duckdb.execute(
        f"""SELECT log, graph, quantile_disc(duration_us, 0.99)
            FROM '{tmp_path}/*/*.parquet' GROUP BY ALL"""
    ).fetchall()
    expected = [
        (row["log"], row["graph"], row["duration_us"]["p99"]) for row in rp.stats(fleet)["graphs"]
    ]
    assert len(expected) >= LOGS
    assert sorted(rows) == sorted(expected)
    merged = rp.stats(fleet, merge=True)["graphs"]
    assert duckdb.execute(
        f"""SELECT graph, quantile_disc(duration_us, 0.99)
            FROM '{tmp_path}/*/*.parquet' GROUP BY ALL ORDER BY ALL"""
    ).fetchall() == sorted((row["graph"], row["duration_us"]["p99"]) for row in merged)


def test_what_is_finished_is_left_and_what_changed_is_done_again(tmp_path: Path) -> None:
    log, other, out = tmp_path / "run.log", tmp_path / "other" / "run.log", tmp_path / "out"
    other.parent.mkdir()
    for path in (log, other):
        path.write_bytes(SAMPLE.read_bytes())

    def are_new(columns: list[str] | None = None) -> list[bool]:
        return [result.is_new for result in rp.to_parquet([log, other], out, columns=columns)]

    assert are_new() == [True, True]
    assert are_new() == [False, False]
    os.utime(log)
    assert are_new() == [True, False]
    assert are_new(columns=["event_id"]) == [True, True]
    files_in(out)[0].write_bytes(b"PAR1, and then the disk was full")
    assert sorted(are_new(columns=["event_id"])) == [False, True]
    assert len(files_in(out)) == 2


def test_damage_is_said_each_time(damaged: Path, tmp_path: Path) -> None:
    missing = tmp_path / "missing.log"
    for is_new in (True, False):
        with pytest.warns(rp.LogWarning) as warnings:
            results = rp.to_parquet([damaged, SAMPLE, missing], tmp_path / "out", workers=2)
        assert [str(each.message) for each in warnings] == [
            f"{damaged}: {DAMAGE}",
            f"cannot read {missing}: No such file or directory",
        ]
        assert [result.is_new for result in results] == [is_new, is_new, False]
        assert results[0].rows == len(rows_of("events", damaged, status=1))
        assert results[2].file is None
    assert run(damaged, SAMPLE, "-o", tmp_path / "out", status=1) == (
        f"ryx_profile: {damaged}: {DAMAGE}\n"
    )


def test_progress_is_a_line_that_goes(tmp_path: Path, capsys: pytest.CaptureFixture[str]) -> None:
    rp.to_parquet([SAMPLE, SAMPLE.with_name("backbone-1.log")], tmp_path, progress=True)
    lines = capsys.readouterr().err.split("\r\033[K")
    assert lines == [
        "",
        f"exporting [{'#' * 15}{'.' * 15}] 1 of 2 logs",
        f"exporting [{'#' * 30}] 2 of 2 logs",
        "",
    ]
    rp.to_parquet(SAMPLE, tmp_path)
    assert capsys.readouterr().err == "", "no terminal, no progress"


def test_wrong_usage_makes_nothing(tmp_path: Path) -> None:
    out = tmp_path / "out"
    assert "events has no column x" in run(SAMPLE, "-o", out, "--columns", "x", status=2)
    assert "unknown method 'x'" in run(SAMPLE, "-o", out, "--method", "x", status=2)
    run("-o", out, status=2)
    assert not out.exists()
    out.write_text("a file")
    assert f"cannot write {out}" in run(SAMPLE, "-o", out, status=1)


def test_a_worker_that_cannot_write_is_an_error(tmp_path: Path) -> None:
    (tmp_path / "table=events").write_text("a file")
    logs = [SAMPLE, SAMPLE.with_name("backbone-1.log")]
    with pytest.raises(OSError, match=r"cannot write .*/table=events/.*\.parquet: .* File exists"):
        rp.to_parquet(logs, tmp_path, workers=2)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_an_interrupted_run_leaves_whole_files(
    number: signal.Signals, heavy: list[Path], tmp_path: Path
) -> None:
    out = tmp_path / "out"
    # A group of its own, which a terminal interrupts as a whole.
    process = subprocess.Popen(
        command(*heavy, "-o", out, "-j", "2"), start_new_session=True, stderr=subprocess.PIPE
    )
    while not list(out.rglob("*.parquet")):
        assert process.poll() is None
        time.sleep(0.01)
    if number == signal.SIGINT:
        os.killpg(process.pid, number)
    else:
        process.send_signal(number)
    # Which ends with the last process that has it open: none outlives the first.
    _, errors = process.communicate()
    assert process.returncode in (-number, 128 + number)
    assert errors == b""
    done = files_in(out)
    for file in done:
        pq.ParquetFile(file).read()
    assert run(*heavy, "-o", out) == ""
    assert len(files_in(out)) == len(heavy)
    assert set(done) < set(files_in(out))


def test_what_a_killed_run_left_is_removed(tmp_path: Path) -> None:
    rp.to_parquet(SAMPLE, tmp_path)
    (file,) = files_in(tmp_path)
    abandoned = file.with_name(f".{file.name}.0123abcd.tmp")
    abandoned.write_bytes(b"PAR1")
    file.unlink()
    rp.to_parquet(SAMPLE, tmp_path)
    assert files_in(tmp_path) == [file]
