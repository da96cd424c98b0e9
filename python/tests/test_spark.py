# SPDX-License-Identifier: Apache-2.0
"""The Spark data source on the engine itself: in one process, and on workers of their own."""

from __future__ import annotations

import json
import os
import pickle
import re
import subprocess
import sys
from collections.abc import Iterable
from pathlib import Path
from typing import TYPE_CHECKING, Any

import duckdb
import pyarrow as pa
import pytest
from conftest import ROOT
from fleet import DAMAGED, NO_LOG
from spark_modes import CLUSTER, ONE_PROCESS, die_once, needs_spark, without_warnings

import ryx_profile as rp

if TYPE_CHECKING:
    from pyspark.sql import DataFrame, SparkSession

    from ryx_profile.spark import ProfileDataSource

pytestmark = needs_spark
in_one_process = pytest.mark.parametrize("spark", [ONE_PROCESS], indirect=True)
on_cluster = pytest.mark.parametrize("spark", [CLUSTER], indirect=True)

SAMPLES = ROOT / "samples"
GOLDEN = ROOT / "tests/golden"
PUSH_DOWN = "spark.sql.python.filterPushdown.enabled"
UNREADABLE = sorted([*DAMAGED, NO_LOG])


def read(spark: SparkSession, path: Path | str | list[str], **options: object) -> DataFrame:
    texts = {"partition_bytes": "1000000"} | {name: str(each) for name, each in options.items()}
    paths = path if isinstance(path, list) else str(path)
    return spark.read.format("ryx_profile").options(**texts).load(paths)


def rows_of(frame: DataFrame) -> list[tuple[Any, ...]]:
    """Return all rows in an order of their own; NaN is the same as NaN."""
    return sorted((tuple(row) for row in frame.collect()), key=repr)


def expected_rows(table: rp.Table) -> list[tuple[Any, ...]]:
    """Return what Spark is to have of a table, without any of the data source's own code."""
    columns = [
        column.cast(pa.decimal128(20, 0)) if pa.types.is_uint64(column.type) else column
        for column in pa.table(table).columns
    ]
    return sorted(zip(*[column.to_pylist() for column in columns], strict=True), key=repr)


# --- What all of it is for ------------------------------------------------------------------------


def test_numbers_are_those_of_stats_and_of_duckdb(
    spark: SparkSession, fleet: Path, fleet_parquet: Path
) -> None:
    query = """
        SELECT log, graph, count(duration_us) AS count, sum(duration_us) AS sum,
               percentile_disc(0.99) WITHIN GROUP (ORDER BY duration_us) AS p99
        FROM {} GROUP BY log, graph"""
    read(spark, fleet, table="executions", on_error="skip").createOrReplaceTempView("executions")
    by_spark = by_log_and_graph(spark.sql(query.format("executions")).collect())
    files = f"'{fleet_parquet}/table=executions/*.parquet'"
    assert by_spark == by_log_and_graph(duckdb.execute(query.format(files)).fetchall())

    by_stats = {}
    for log in sorted(fleet.glob("*/*.log")):
        if log == fleet / NO_LOG:
            continue
        with without_warnings():
            document = rp.stats(log, on_error="skip", top=0)
        for graph in document["graphs"]:
            took = graph["duration_us"]
            p99 = took["p99"] or by_spark[str(log), graph["graph"]][2]  # null below 100 samples
            by_stats[str(log), graph["graph"]] = (took["count"], took["sum"], p99)
    assert by_spark == by_stats
    assert len(by_stats) == 2 * (200 - 2)  # one is no log, one has only its header


def by_log_and_graph(rows: Iterable[Any]) -> dict[Any, tuple[int, ...]]:
    return {tuple(row[:2]): tuple(map(int, row[2:])) for row in rows}


def test_damage_fails_the_query_or_is_skipped(spark: SparkSession, fleet: Path) -> None:
    with pytest.raises(Exception, match=r"/run-2\.log: chunk 5 at byte \d+: the file ends"):
        read(spark, fleet / "machine-03", table="events").count()
    with pytest.raises(Exception, match=r"machine-17/run-9\.log: not a profiling log"):
        read(spark, fleet / "machine-17" / "run-9.log", table="messages").count()

    whole = rp.open(sorted(fleet.glob("*/*.log")), on_error="skip")
    events = read(spark, fleet, columns="log,event_id,identifier,value_uint", on_error="skip")
    assert events.rdd.getNumPartitions() > 2
    assert rows_of(events) == expected_rows(
        whole.events.select(columns=["log", "event_id", "identifier", "value_uint"])
    )
    for on_error in "fail", "skip":
        logs = read(spark, fleet, table="logs", on_error=on_error)
        assert rows_of(logs) == expected_rows(whole.info)
        damaged = logs.filter("damage IS NOT NULL").select("log").collect()
        assert sorted(row.log for row in damaged) == [str(fleet / name) for name in UNREADABLE]


@on_cluster
def test_a_worker_that_dies_does_not_change_the_result(
    spark: SparkSession, fleet: Path, fleet_parquet: Path, tmp_path: Path
) -> None:
    events = read(spark, fleet, columns="log,event_id,value_uint", on_error="skip")
    survived = events.mapInArrow(die_once(str(tmp_path)), events.schema)
    found = survived.groupBy("log").agg({"event_id": "count", "value_uint": "sum"}).collect()
    expected = duckdb.execute(
        f"""SELECT log, count(event_id), sum(value_uint)
            FROM '{fleet_parquet}/table=events/*.parquet' GROUP BY log"""
    ).fetchall()
    assert sorted((row[0], *map(int, row[1:])) for row in found) == sorted(expected)
    assert (tmp_path / "death").exists()
    assert len(list(tmp_path.glob("*.1.attempt"))) >= 1


# --- Filters and options --------------------------------------------------------------------------


@in_one_process
@pytest.mark.parametrize("push_down", ["true", "false"])
def test_a_data_frame_can_be_asked_again(
    spark: SparkSession, fleet: Path, fleet_parquet: Path, push_down: str
) -> None:
    spark.conf.set(PUSH_DOWN, push_down)
    frame = read(spark, fleet, table="executions", on_error="skip")
    frame.createOrReplaceTempView("executions")
    database = duckdb.connect()
    files = f"{fleet_parquet}/table=executions/*.parquet"
    database.execute(f"CREATE VIEW executions AS FROM '{files}'")
    for condition in (
        "graph = 'detect'",
        "graph = 'classify' AND duration_us > 2500",
        "graph IN ('classify', 'neither')",
        "log LIKE '%machine-07%' OR execution = 0",
        "method = 'execute'",
        "level IS NOT NULL",
        "true",
    ):
        query = f"SELECT count(*), sum(duration_us) FROM executions WHERE {condition}"
        assert spark.sql(query).collect() == database.execute(query).fetchall(), condition
    joined = """SELECT count(*) FROM executions AS a JOIN executions AS b USING (log, execution)
                WHERE a.graph = 'detect' AND b.graph = 'classify'"""
    assert spark.sql(joined).collect() == database.execute(joined).fetchall()
    spark.conf.unset(PUSH_DOWN)


@in_one_process
@pytest.mark.parametrize(
    ("table", "options", "selection"),
    [
        ("executions", {"graph": "det"}, {"graph": "det"}),
        ("executions", {"graph": "none such"}, {"graph": "none such"}),
        ("messages", {"method": "initstep"}, {"method": "InitStep"}),
        ("events", {"level": 1, "graph": "det"}, {"level": 1, "graph": "det"}),
        ("events", {"columns": "value, unit,log"}, {"columns": ["value", "unit", "log"]}),
        ("logs", {"columns": "info_text"}, {"columns": ["info_text"]}),
    ],
)
def test_options_select(
    spark: SparkSession,
    table: str,
    options: dict[str, object],
    selection: dict[str, Any],
) -> None:
    log = rp.open(SAMPLES / "text-detection.log")
    part = getattr(log, "info" if table == "logs" else table).select(**selection)
    frame = read(spark, SAMPLES / "text-detection.log", table=table, **options)
    assert frame.columns == pa.schema(part).names
    assert rows_of(frame) == expected_rows(part)


def source_of(**options: str) -> ProfileDataSource:
    """Return what the engine makes of options."""
    return rp.spark.ProfileDataSource(options)


@pytest.mark.parametrize(
    ("options", "message"),
    [
        ({"tabel": "logs", "COLUMNS": "log"}, "unknown option 'tabel'; there are path, table, "),
        ({"table": "event"}, "table is 'event'; it can be logs, messages, executions, events"),
        ({"columns": "graph,speed"}, "speed"),
        ({"method": "Run"}, "unknown method 'Run'"),
        ({"level": "128"}, "level"),
        ({"level": "low"}, "level is 'low'; it must be a whole number"),
        ({"on_error": "ignore"}, "on_error is 'ignore'; it can be fail, skip"),
        ({"partition_bytes": "0"}, "partition_bytes is 0; it must be positive"),
        ({"partition_bytes": "64m"}, "partition_bytes is '64m'; it must be a whole number"),
        ({"path": "hdfs://fleet/logs"}, "hdfs://fleet/logs: only files can be read"),
    ],
)
def test_options_that_make_no_sense_are_refused(options: dict[str, str], message: str) -> None:
    with pytest.raises(ValueError, match=re.escape(message)):
        source_of(**{"path": "/logs"} | options)


@in_one_process
def test_a_schema_has_to_be_the_tables(spark: SparkSession) -> None:
    frame = read(spark, SAMPLES, table="executions", columns="graph,duration_us")
    assert frame.schema.simpleString() == "struct<graph:string,duration_us:decimal(20,0)>"
    assert [field.nullable for field in frame.schema] == [False, True]
    options = {"table": "executions", "columns": "graph,duration_us"}
    reader = spark.read.format("ryx_profile").options(**options)
    assert reader.schema(frame.schema).load(str(SAMPLES)).count() == frame.count()
    with pytest.raises(Exception, match=r"is graph string not null, duration_us decimal\(20,0\), "):
        reader.schema("graph string, duration_us long").load(str(SAMPLES)).count()


# --- What logs hold -------------------------------------------------------------------------------


@in_one_process
def test_all_rows_of_odd_logs_are_the_packages(
    spark: SparkSession, tool: Path, tmp_path: Path
) -> None:
    folder = tmp_path / os.fsdecode(b'a [b], "c"\n \xff')
    folder.mkdir()
    cases = sorted(GOLDEN.glob("*/log.json"))
    assert len(cases) > 5
    for case in [*cases, huge_values(tmp_path)]:
        log = folder / os.fsdecode(os.fsencode(case.parent.name) + b" \xfe.log")
        subprocess.run([tool, "make", case, log], check=True)
    (folder / "empty.log").touch()
    logs = rp.open(folder.iterdir())
    for table in "logs", "messages", "executions", "events":
        # The path itself is no text that Spark could have.
        frame = read(spark, f"{tmp_path}/a ?b], *", table=table)
        expected = expected_rows(logs.info if table == "logs" else getattr(logs, table))
        assert rows_of(frame) == expected
        assert expected


def huge_values(folder: Path) -> Path:
    """Return a case with the largest numbers in every unsigned column."""
    largest = 2**64 - 1
    values = [
        {"value_kind": "UINT64", "uint_value": largest},
        {"value_kind": "UINT64", "uint_value": 2**63},
        {"value_kind": "INT64", "int_value": -(2**63)},
    ]
    message = {
        "method_type": "Execute",
        "text": "huge",
        "timestamp": {"time": largest},
        "timing": {"start": 0, "end": largest},
        "events": [
            {"identifier": "x", "unit": 1, "event_type": 405, "timestamp": largest} | value
            for value in values
        ],
    }
    header = {"epoch_timestamp": largest, "steady_clock_timestamp": largest}
    case = folder / "huge" / "log.json"
    case.parent.mkdir()
    case.write_text(json.dumps({"header": header, "messages": [message]}))
    return case


@in_one_process
def test_an_unsigned_sum_beyond_64_bits_is_exact(
    spark: SparkSession, tool: Path, tmp_path: Path
) -> None:
    log = tmp_path / "huge.log"
    subprocess.run([tool, "make", huge_values(tmp_path), log], check=True)
    read(spark, log).createOrReplaceTempView("huge")
    sums = "SELECT sum(value_uint), max(timestamp_us), min(value_int) FROM huge"
    assert tuple(map(int, spark.sql(sums).collect()[0])) == (2**64 - 1 + 2**63, 2**64 - 1, -(2**63))


# --- Which logs, and who reads them ---------------------------------------------------------------


def partitions_of(**options: str) -> list[tuple[str, ...]]:
    """Return the packs of logs as the driver makes them, of a reader that has been sent there."""
    source = source_of(**options)
    reader = pickle.loads(pickle.dumps(source.reader(source.schema())))
    return [partition.value for partition in reader.partitions()]


def test_packs_are_of_whole_logs_and_about_as_large(tmp_path: Path) -> None:
    sizes = [300, 0, 5000, 10, 10, 990, 1000, 1000, 100, 0]
    for place, size in enumerate(sizes):
        (tmp_path / f"{place}.log").write_bytes(bytes(size))
    logs = [str(tmp_path / f"{place}.log") for place in range(len(sizes))]
    for partition_bytes in 1, 999, 2000, 8410, 1 << 40:
        packs = partitions_of(path=str(tmp_path), partition_bytes=str(partition_bytes))
        assert [log for pack in packs for log in pack] == logs
        for pack in packs:
            several = [Path(log).stat().st_size for log in pack]
            assert len(pack) == 1 or sum(several) < partition_bytes + 2 * max(several)
    assert len(packs) == 1


def test_paths_stand_for_logs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    for name in "a/1.log", "a/b/2.log", "a/b/2.log.gz", "a/notes.txt", "a/.x.log", "[c]/4.log":
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / name).touch()
    monkeypatch.chdir(tmp_path)

    def found(**options: str) -> list[str]:
        return [os.path.relpath(log, tmp_path) for pack in partitions_of(**options) for log in pack]

    assert found(path="a") == ["a/1.log", "a/b/2.log"]
    assert found(path="a/*.txt") == ["a/notes.txt"]
    assert found(path=f"file://{tmp_path}/**/*.log") == ["[c]/4.log", "a/1.log", "a/b/2.log"]
    assert found(path="[c]/4.log") == ["[c]/4.log"]
    assert found(paths='["a/1.log", "[c]", "a/*"]')[:2] == ["[c]/4.log", "a/1.log"]
    for nothing in "a/3.log", "z*", "a/**/*.json":
        with pytest.raises(FileNotFoundError, match=re.escape(f"/{nothing}: no log found")):
            found(path=nothing)
    with pytest.raises(ValueError, match="no path"):
        found()


@in_one_process
def test_load_takes_lists_and_says_what_is_wrong(spark: SparkSession) -> None:
    paths = [str(SAMPLES / "text-detection.log"), str(SAMPLES / "backbone-[12].log")]
    assert read(spark, paths, table="logs").count() == 3
    with pytest.raises(Exception, match=r"/none\*\.log: no log found"):
        read(spark, [*paths, str(SAMPLES / "none*.log")]).count()
    with pytest.raises(Exception, match="table is 'event'; it can be logs, messages, executions"):
        read(spark, paths, table="event")


def test_the_package_does_without_spark() -> None:
    program = """
import sys
import ryx_profile
assert "pyspark" not in sys.modules
sys.modules["pyspark"] = None
try:
    ryx_profile.spark
except ImportError as error:
    print(error)
"""
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, check=True
    )
    assert "pyspark" in done.stdout
