# SPDX-License-Identifier: Apache-2.0
"""docs/fleet.md: every query on the page answers as the page says, on both engines."""

from __future__ import annotations

import re
from collections.abc import Callable, Iterable
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any

import duckdb
import pytest
from spark_modes import ONE_PROCESS, needs_spark, without_warnings

if TYPE_CHECKING:
    from pyspark.sql import SparkSession

PAGE = Path(__file__).resolve().parents[2] / "docs" / "fleet.md"
Answer = tuple[list[str], Iterable[tuple[Any, ...]]]


@dataclass
class Query:
    """A query, and the table that the page has below it; None where it has none."""

    engines: str
    sql: str
    answer: str | None


def queries() -> list[Query]:
    pattern = r"^```sql *(\w*)\n(.*?)^```\n(?:```\n(.*?)^```\n)?"
    found = re.findall(pattern, PAGE.read_text(), re.MULTILINE | re.DOTALL)
    return [Query(engines, sql, answer or None) for engines, sql, answer in found]


def program(engine: str) -> str:
    """Return the page's program that has the engine read the logs."""
    programs = re.findall(r"^```python\n(.*?)^```", PAGE.read_text(), re.MULTILINE | re.DOTALL)
    return str(next(each for each in programs if f"{engine}." in each))


def shown(answer: Answer) -> str:
    """Return a table as the page has it: texts to the left, numbers to the right."""
    names, rows = answer
    columns = [[name, *map(str, column)] for name, *column in zip(names, *rows, strict=False)]
    widths = [max(map(len, column)) for column in columns]
    is_text = [not re.fullmatch(r"[-0-9.]+", column[1]) for column in columns]
    lines = [
        "  ".join(
            cell.ljust(width) if text else cell.rjust(width)
            for cell, width, text in zip(row, widths, is_text, strict=True)
        ).rstrip()
        for row in zip(*columns, strict=True)
    ]
    return "".join(line + "\n" for line in lines)


def check(engine: str, ask: Callable[[str], Answer]) -> None:
    asked = [query for query in queries() if query.engines in ("", engine)]
    assert len(asked) >= 5
    for query in asked:
        answer = ask(query.sql)
        if query.answer is not None:
            assert shown(answer) == query.answer, f"\n{query.sql}\nanswers\n{shown(answer)}"


def run_program(engine: str, fleet: Path, tables: Path, **names: object) -> None:
    text = program(engine).replace("/logs", str(fleet)).replace("/tables", str(tables))
    with without_warnings():
        exec(compile(text, str(PAGE), "exec"), names)


def test_page_on_duckdb(fleet: Path, tmp_path: Path) -> None:
    run_program("duckdb", fleet, tmp_path)

    def ask(sql: str) -> Answer:
        answer = duckdb.execute(sql)
        return [column[0] for column in answer.description or ()], answer.fetchall()

    check("duckdb", ask)
    duckdb.execute("DROP VIEW buckets; DROP VIEW executions; DROP VIEW logs")


@needs_spark
@pytest.mark.parametrize("spark", [ONE_PROCESS], indirect=True)
def test_page_on_spark(spark: SparkSession, fleet: Path, tmp_path: Path) -> None:
    run_program("spark", fleet, tmp_path, spark=spark)

    def ask(sql: str) -> Answer:
        frame = spark.sql(sql)
        return frame.columns, frame.collect()

    check("spark", ask)


def test_buckets_are_within_one_percent() -> None:
    view = next(query.sql for query in queries() if "CREATE" in query.sql)
    merge = next(query.sql for query in queries() if "FROM buckets" in query.sql)
    values = {0, 1, 2, 3, 50, 51, 16_384, 10**6, 10**12, 2**63, 2**64 - 1}
    values |= {int(1.02**power) + step for power in range(0, 2200, 7) for step in (0, 1)}
    durations = sorted(value for value in values if value < 2**64)
    # Each value as a graph of its own, and all of them as one.
    rows = [(f"{value}", value) for value in durations] + [("all", value) for value in durations]
    with duckdb.connect() as database:
        database.execute("CREATE TABLE executions (log TEXT, graph TEXT, duration_us UBIGINT)")
        database.executemany("INSERT INTO executions VALUES ('machine-0', ?, ?)", rows)
        database.execute(view)
        # Without its rounding to microseconds, which would hide errors of small numbers.
        exactly = re.sub(r"CAST\(round\((.*)\) AS BIGINT\)", r"(\1)", merge)
        found = dict(database.execute(exactly).fetchall())
    assert exactly != merge
    assert len(found) == len(durations) + 1
    for value in durations:
        assert abs(found[f"{value}"] - value) <= max(0.01 * value, 1), value
    exact = durations[-(-99 * len(durations) // 100) - 1]
    assert abs(found["all"] - exact) <= 0.01 * exact
