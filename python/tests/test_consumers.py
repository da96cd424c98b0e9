# SPDX-License-Identifier: Apache-2.0
"""Every engine that takes the tables gets the rows that the toolbox exports.

With PYTHONPATH leading to another pandas, the same with that.
"""

from __future__ import annotations

from collections.abc import Callable
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any

import duckdb
import pandas as pd
import polars as pl
import pyarrow as pa
import pytest
from conftest import DAMAGE, SAMPLE, MakeLog, Row, event, execution, rows_of

import ryx_profile as rp

HUGE = 2**64 - 1
TABLES = ["events", "messages", "executions"]


def from_pyarrow(table: rp.Table) -> list[Row]:
    rows: list[Row] = pa.table(table).to_pylist()
    return rows


def from_pandas(table: rp.Table) -> list[Row]:
    return rows_of_frame(pa.table(table).to_pandas(types_mapper=pd.ArrowDtype))


def rows_of_frame(frame: pd.DataFrame) -> list[Row]:
    return [
        {str(name): None if pd.isna(value) else value for name, value in row.items()}
        for row in frame.to_dict("records")
    ]


def from_polars(table: rp.Table) -> list[Row]:
    return pl.DataFrame(table).to_dicts()


def from_duckdb(table: rp.Table) -> list[Row]:
    with duckdb.connect() as connection:
        connection.register("logs", table)
        result = connection.execute("SELECT * FROM logs")
        assert result.description is not None
        names = [column[0] for column in result.description]
        return [dict(zip(names, row, strict=True)) for row in result.fetchall()]


CONSUMERS = [from_pyarrow, from_pandas, from_polars, from_duckdb]
Consumer = Callable[[rp.Table], list[Row]]


def empty(make_log: MakeLog) -> list[Path]:
    return [make_log("empty.log")]


def without_events(make_log: MakeLog) -> list[Path]:
    return [make_log("bare.log", [execution("net")], [])]


def huge(make_log: MakeLog) -> list[Path]:
    values: list[dict[str, Any]] = [
        {"value_kind": "UINT64", "uint_value": HUGE},
        {"value_kind": "UINT64", "uint_value": 2**63},
        {"value_kind": "INT64", "int_value": -(2**63)},
        {"value_kind": "FLOAT64", "double_value": 1.7976931348623157e308},
        {"value_kind": "FLOAT64", "double_value": 5e-324},
        {},
    ]
    events = [event(f"value {i}", **fields) for i, fields in enumerate(values)]
    message = execution("net", *events)
    message["timing"] = {"start": 0, "end": HUGE}
    message["timestamp"] = {"time": HUGE}
    return [make_log("huge.log", [message])]


def hostile(make_log: MakeLog) -> list[Path]:
    texts = ["", "'; DROP TABLE logs; --", '"quoted",\n\r\t', "=1+1", "\\xFF\\xC0", "NULL", "nan"]
    texts += ["<script>alert(1)</script>", "\U0001f600\u202e", "\x1b[31m", "x" * 100_000]
    events = [event(text, value_kind="STRING", string_value=text) for text in texts]
    return [make_log("hostile \u00e9 'name'.log", [execution(text, *events) for text in texts])]


def several(make_log: MakeLog) -> list[Path]:
    return [SAMPLE, *empty(make_log), *huge(make_log), SAMPLE]


LOGS = [empty, without_events, huge, hostile, several]


@pytest.mark.parametrize("consume", CONSUMERS)
@pytest.mark.parametrize("logs", LOGS)
@pytest.mark.parametrize("name", TABLES)
def test_rows_are_those_of_the_toolbox(
    consume: Consumer, logs: Callable[[MakeLog], list[Path]], name: str, make_log: MakeLog
) -> None:
    paths = logs(make_log)
    table: rp.Table = getattr(rp.open(paths), name)
    expected = rows_of(name, *paths)
    assert consume(table) == expected
    assert consume(table) == expected, "scanned again"


@pytest.mark.parametrize("consume", CONSUMERS)
def test_info_says_what_logs_hold(consume: Consumer, damaged: Path) -> None:
    rows = consume(rp.open([SAMPLE, damaged]).info)
    assert [row["log"] for row in rows] == [str(SAMPLE), str(damaged)]
    assert [row["damage"] for row in rows] == [None, DAMAGE]
    assert rows[0]["events"] == len(rows_of("events", SAMPLE))


@pytest.mark.parametrize("consume", CONSUMERS)
def test_damage_is_an_error_or_skipped(consume: Consumer, damaged: Path) -> None:
    with pytest.raises(Exception, match=f"damaged.log: {DAMAGE}"):
        consume(rp.open([damaged, SAMPLE]).events)
    assert consume(rp.open([damaged, SAMPLE], on_error="skip").events) == rows_of(
        "events", damaged, SAMPLE, status=1
    )


@pytest.mark.parametrize("consume", CONSUMERS)
def test_one_table_is_scanned_by_several_threads(consume: Consumer) -> None:
    table = rp.open(SAMPLE).events
    expected = rows_of("events", SAMPLE)
    with ThreadPoolExecutor(8) as pool:
        assert all(rows == expected for rows in pool.map(consume, [table] * 8))


@pytest.mark.parametrize("consume", CONSUMERS)
def test_selection(consume: Consumer) -> None:
    table = rp.open(SAMPLE).events.select(
        columns=["value", "identifier"], graph="det", method=["executehostroundtrip", 99]
    )
    assert consume(table) == [
        {"value": row["value"], "identifier": row["identifier"]}
        for row in rows_of("events", SAMPLE)
        if row["graph"] == "det" and row["method"] == "ExecuteHostRoundTrip"
    ]


def test_duckdb_joins_a_table_with_itself() -> None:
    # Found by name: DuckDB looks for it among the variables.
    events = rp.open(SAMPLE).events
    joined = duckdb.execute(
        """SELECT parent.identifier, count(*)
           FROM events JOIN events AS parent ON events.parent_id = parent.event_id
           WHERE parent.unit = 'us' GROUP BY ALL ORDER BY ALL"""
    ).fetchall()
    rows = rows_of("events", SAMPLE)
    expected: dict[str, int] = {}
    for row in rows:
        if row["parent_id"] is not None and rows[row["parent_id"]]["unit"] == "us":
            identifier = rows[row["parent_id"]]["identifier"]
            expected[identifier] = expected.get(identifier, 0) + 1
    assert joined == sorted(expected.items())
    assert events.name == "events"


def test_polars_filters_lazily() -> None:
    table = rp.open(SAMPLE).executions
    slow = pl.LazyFrame(table).filter(pl.col("duration_us") > 17_000).select("execution").collect()
    assert slow["execution"].to_list() == [
        row["execution"] for row in rows_of("executions", SAMPLE) if row["duration_us"] > 17_000
    ]


@pytest.mark.skipif(not hasattr(pd.DataFrame, "from_arrow"), reason="pandas 3 has it")
def test_pandas_takes_a_table_directly() -> None:
    # Integers that can be null become doubles, which are exact up to 2 to the 53rd.
    frame = pd.DataFrame.from_arrow(rp.open(SAMPLE).events)
    assert rows_of_frame(frame) == rows_of("events", SAMPLE)


def test_pyarrow_stops_in_the_middle() -> None:
    reader = pa.RecordBatchReader.from_stream(rp.open([SAMPLE] * 50).events)
    assert reader.read_next_batch().num_rows > 0
    del reader
