# SPDX-License-Identifier: Apache-2.0
"""Logs as a Spark data source: the logs of a whole fleet as one table, read by all workers.

    rp.spark.register(spark)
    executions = (spark.read.format("ryx_profile")
                  .option("table", "executions")
                  .load("/logs/*.log"))

The columns are those of docs/tables.md, with ``log``, the log's absolute path. Spark has neither
unsigned numbers nor dictionaries: unsigned 64-bit columns are decimal(20,0), which holds them all,
other integers are long, and names are strings.

What is to be read is said by options (``register`` lists them), and by them alone: filters are not
pushed into the reading. As of Spark 4.3 a data frame keeps what its first query made of its pushed
filters, and reuses it for its next queries: whichever rows were left out then are missing from
them, whatever their own filters are.

The driver lists the logs and opens none. It makes packs of whole logs, as many bytes in each, and a
task reads one pack. A log is never split, since ids count from its start. Workers open the logs by
the driver's paths, so these must be the same everywhere, and need this package and pyarrow.
"""

from __future__ import annotations

import glob
import json
import os
import re
from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING

from pyspark.sql import types
from pyspark.sql.datasource import DataSource, DataSourceReader, InputPartition

from ryx_profile._sources import Sources
from ryx_profile._table import Selection, Table

if TYPE_CHECKING:
    import pyarrow
    from pyspark.sql import SparkSession

TABLES = ("logs", "messages", "executions", "events")
OPTIONS = (
    "path",
    "table",
    "columns",
    "graph",
    "method",
    "level",
    "on_error",
    "partition_bytes",
)


def register(spark: SparkSession) -> None:
    """Make logs readable by `spark.read.format("ryx_profile")` in a session.

    `load` takes a path or a list of them. Each may have the wildcards ``*``, ``?``, ``[...]`` and
    ``**``, and a folder stands for every .log in and below it. Options:

    table: "events" (the default), "executions", "messages" or "logs".
    columns: only these, in this order, with commas between; what is left out costs nothing.
    graph: only messages of this graph, with their executions and events.
    method: likewise; a name ("Execute", in any case) or a number.
    level: only messages that a reader of this level shows, those below it, -128 to 127.
    on_error: what a damaged log does. "fail" (the default): the query fails with an error that
        names the file, the chunk and the byte. "skip": it is read up to its damage. The table
        "logs" has a row for a damaged log either way, and its column `damage` says what is wrong.
        A log that cannot be opened at all always fails the query.
    partition_bytes: how much a task reads, about; 134217728 (128 MiB) by default.
    """
    spark.dataSource.register(ProfileDataSource)


@dataclass(frozen=True)
class Request:
    """What the options of one data frame say. Sent to the workers."""

    patterns: tuple[str, ...]
    table: str = "events"
    columns: tuple[str, ...] | None = None
    graph: str | None = None
    method: str | None = None
    level: int | None = None
    on_error: str = "fail"
    partition_bytes: int = 128 << 20

    @staticmethod
    def parse(options: Mapping[str, str]) -> Request:
        """Raise ValueError for what makes no sense."""
        unknown = sorted(set(options) - {*OPTIONS, "paths"})
        if unknown:
            raise ValueError(f"unknown option {unknown[0]!r}; there are {', '.join(OPTIONS)}")
        patterns = [options["path"]] if "path" in options else []
        patterns += json.loads(options.get("paths", "[]"))  # as Spark passes on a list
        if not patterns:
            raise ValueError("no path: load() takes those of the logs")
        columns = options.get("columns")
        request = Request(
            patterns=tuple(_local_path(pattern) for pattern in patterns),
            table=_one_of(TABLES, "table", options.get("table", "events")),
            columns=None if columns is None else tuple(map(str.strip, columns.split(","))),
            graph=options.get("graph"),
            method=options.get("method"),
            level=_integer("level", options["level"]) if "level" in options else None,
            on_error=_one_of(("fail", "skip"), "on_error", options.get("on_error", "fail")),
            partition_bytes=_integer("partition_bytes", options.get("partition_bytes", 128 << 20)),
        )
        if request.partition_bytes < 1:
            raise ValueError(f"partition_bytes is {request.partition_bytes}; it must be positive")
        request.table_of([])
        return request

    def table_of(self, logs: Sequence[str]) -> Table:
        """Return what is wanted of these logs. Raise ValueError where no table can have that."""
        skips_damaged = self.on_error == "skip" or self.table == "logs"  # where it is a column
        selection = Selection(
            columns=self.columns,
            graphs=() if self.graph is None else (self.graph,),
            methods=() if self.method is None else (self.method,),
            level=self.level,
        )
        return Table(self.table, Sources(tuple(map(os.fsencode, logs)), skips_damaged), selection)


class ProfileDataSource(DataSource):
    """The format "ryx_profile"; `register` says what it reads."""

    def __init__(self, options: Mapping[str, str]) -> None:
        """Raise ValueError for options that make no sense."""
        self._request = Request.parse({name.lower(): text for name, text in options.items()})

    @classmethod
    def name(cls) -> str:
        """Return the format's name."""
        return "ryx_profile"

    def schema(self) -> types.StructType:
        """Return the columns' names, types and whether they may be null."""
        import pyarrow

        fields = pyarrow.schema(self._request.table_of([]))
        return types.StructType(
            [types.StructField(one.name, _spark_type(one.type), one.nullable) for one in fields]
        )

    def reader(self, schema: types.StructType) -> DataSourceReader:
        """Return what reads these columns.

        Raise ValueError for a schema, which users may give, that is not the table's.
        """
        if schema != self.schema():
            raise ValueError(
                f"the schema of {self._request.table!r} is {_ddl(self.schema())}, "
                f"and not {_ddl(schema)}: the option 'columns' chooses columns"
            )
        return ProfileReader(self._request, schema)


class ProfileReader(DataSourceReader):
    """Reads packs of logs. Sent to the workers, so that it holds nothing but what to read."""

    def __init__(self, request: Request, schema: types.StructType) -> None:
        """Keep what is to be read."""
        self._request = request
        self._schema = schema

    def partitions(self) -> Sequence[InputPartition]:
        """List the logs. Raise FileNotFoundError for a path that stands for none."""
        logs = [log for pattern in self._request.patterns for log in _logs_at(pattern)]
        sizes = {log: os.path.getsize(log) for log in sorted(set(logs), key=os.fsencode)}
        return [InputPartition(pack) for pack in _packs(sizes, self._request.partition_bytes)]

    def read(self, partition: InputPartition) -> Iterator[pyarrow.RecordBatch]:
        """Read one pack, a batch at a time."""
        import pyarrow
        from pyspark.sql.pandas.types import to_arrow_schema

        # Spark compares all of it with the batches': types, order and what may be null.
        schema = to_arrow_schema(self._schema)
        for batch in pyarrow.RecordBatchReader.from_stream(self._request.table_of(partition.value)):
            yield batch.cast(schema)


def _local_path(text: str) -> str:
    """Return an absolute path. Raise ValueError for what is no file of this machine."""
    scheme = re.match(r"([A-Za-z][A-Za-z0-9+.-]*):/", text)
    if scheme and scheme[1] != "file":
        raise ValueError(f"{text}: only files can be read, which every worker has at the same path")
    if scheme:
        text = re.sub(r"^file:(//(?=/))?", "", text)
    return os.path.abspath(text)


def _logs_at(pattern: str) -> list[str]:
    # A file's own name comes first: it may have brackets in it.
    found = [pattern] if os.path.lexists(pattern) else glob.glob(pattern, recursive=True)
    logs = [log for path in found for log in ([path] if not os.path.isdir(path) else _below(path))]
    if not logs:
        raise FileNotFoundError(f"{pattern}: no log found")
    return logs


def _below(folder: str) -> list[str]:
    files = glob.glob(os.path.join(glob.escape(folder), "**", "*.log"), recursive=True)
    return [file for file in files if os.path.isfile(file)]


def _packs(sizes: Mapping[str, int], pack_bytes: int) -> list[tuple[str, ...]]:
    """Return logs that follow one another in packs of about the same size, and about so many bytes.

    Each log goes where its middle lies.
    """
    total = sum(sizes.values())
    count = max(1, -(-total // pack_bytes))
    packs: dict[int, list[str]] = {}
    before = 0
    for log, size in sizes.items():
        place = (2 * before + size) * count // max(1, 2 * total)
        packs.setdefault(min(place, count - 1), []).append(log)
        before += size
    return [tuple(pack) for pack in packs.values()]


def _spark_type(arrow: pyarrow.DataType) -> types.DataType:
    import pyarrow

    if pyarrow.types.is_uint64(arrow):
        return types.DecimalType(20, 0)
    if pyarrow.types.is_integer(arrow):
        return types.LongType()
    return types.DoubleType() if pyarrow.types.is_floating(arrow) else types.StringType()


def _ddl(schema: types.StructType) -> str:
    return ", ".join(
        f"{field.name} {field.dataType.simpleString()}{'' if field.nullable else ' not null'}"
        for field in schema
    )


def _integer(name: str, text: str | int) -> int:
    try:
        return int(text)
    except ValueError:
        raise ValueError(f"{name} is {text!r}; it must be a whole number") from None


def _one_of(choices: Sequence[str], name: str, text: str) -> str:
    if text not in choices:
        raise ValueError(f"{name} is {text!r}; it can be {', '.join(choices)}")
    return text
