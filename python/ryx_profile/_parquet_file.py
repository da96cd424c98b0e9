# SPDX-License-Identifier: Apache-2.0
"""One log's table as one Parquet file.

The file appears when it is whole: until then a temporary beside it is written, which is renamed in
the end. In its footer it says what it was made of, so that a later run can tell whether it still
holds: the same part of the same table, of a log whose size and time of change are the same. What a
reader does not know is in the footer, too: the damage at which the rows end.
"""

from __future__ import annotations

import fcntl
import glob
import json
import os
import secrets
from collections.abc import Iterator
from contextlib import contextmanager, suppress
from dataclasses import asdict
from pathlib import Path
from typing import Any

from ryx_profile._native import SCHEMA_VERSION
from ryx_profile._parquet_job import Exported, Job

try:
    import pyarrow as pa
    import pyarrow.parquet as pq
except ImportError as error:
    raise ImportError("Parquet needs pyarrow: pip install 'ryx-profile[arrow]'") from error

_FOOTER_KEY = b"ryx_profile"
# The rows that are held before they are written: more compress no better, and cost memory.
_GROUP_ROWS = 256 * 1024
# Numbers that mostly grow from row to row.
_ASCENDING = {
    "chunk",
    "end_us",
    "event_id",
    "execution",
    "last_event_id",
    "message_id",
    "parent_id",
    "start_us",
    "timestamp_us",
}


def export(job: Job) -> Exported:
    """Write the job's file, unless it is there. OSError for a file that cannot be written."""
    source = job.source()
    try:
        origin = _origin_of(job)
        reader = pa.RecordBatchReader.from_stream(source)
    except OSError as error:
        reason = f"cannot read {job.log}: {error.strerror}"
        return Exported(job.log, None, rows=0, damage=reason, is_new=False)
    target = job.target()
    if there := _finished(job, target, origin):
        return there
    try:
        target.parent.mkdir(parents=True, exist_ok=True)
        with _temporary_beside(target) as temporary:
            rows, damage = _write(reader, temporary, origin)
    except (OSError, pa.ArrowException) as error:
        raise OSError(f"cannot write {target}: {error}") from error
    return Exported(job.log, str(target), rows, damage, is_new=True)


def _origin_of(job: Job) -> dict[str, Any]:
    """Return what the file is made of. A log that changes meanwhile has another one afterwards."""
    status = os.stat(job.log)  # noqa: PTH116 - a log's path may be any bytes
    return {
        "log": asdict(job) | {"folder": None},
        "bytes": status.st_size,
        "changed_ns": status.st_mtime_ns,
        "schema_version": SCHEMA_VERSION,
    }


def _finished(job: Job, target: Path, origin: dict[str, Any]) -> Exported | None:
    """Return what is there, if it was made of the same."""
    try:
        metadata = pq.read_metadata(target)
        footer = json.loads(metadata.metadata[_FOOTER_KEY])
        if footer["origin"] != json.loads(json.dumps(origin)):
            return None
        return Exported(job.log, str(target), metadata.num_rows, footer["damage"], is_new=False)
    except (OSError, KeyError, TypeError, ValueError, pa.ArrowException):
        return None


def _write(
    reader: pa.RecordBatchReader, file: Path, origin: dict[str, Any]
) -> tuple[int, str | None]:
    """Write the rows; return how many, and the damage that they end at."""
    names = reader.schema.names
    ascending = [name for name in names if name in _ASCENDING]
    rows = 0
    with pq.ParquetWriter(
        file,
        reader.schema,
        compression="zstd",
        use_dictionary=[name for name in names if name not in ascending],
        column_encoding=dict.fromkeys(ascending, "DELTA_BINARY_PACKED"),
    ) as writer:
        is_over = False
        while not is_over:
            group, is_over, damage = _next_group(reader)
            rows += group.num_rows
            if group.num_rows > 0:
                writer.write_table(group)
        footer = json.dumps({"origin": origin, "damage": damage})
        writer.add_key_value_metadata({_FOOTER_KEY: footer})
    return rows, damage


def _next_group(reader: pa.RecordBatchReader) -> tuple[pa.Table, bool, str | None]:
    """Return rows to write together, whether they are the last, and the damage that ends them."""
    batches: list[pa.RecordBatch] = []
    rows = 0
    is_over = False
    damage = None
    while rows < _GROUP_ROWS and not is_over:
        try:
            batches.append(reader.read_next_batch())
            rows += batches[-1].num_rows
        except StopIteration:
            is_over = True
        except OSError as error:
            is_over = True
            damage = str(error)
    return pa.Table.from_batches(batches, reader.schema), is_over, damage


@contextmanager
def _temporary_beside(target: Path) -> Iterator[Path]:
    """Make a temporary that becomes the target in the end, or is removed where that fails.

    It is locked as long as it is written, so that one which a killed process has left can be told
    from one of another run. The folder is locked while one appears.
    """
    with _locked(target.parent):
        _remove_abandoned(target)
        temporary = target.parent / f".{target.name}.{secrets.token_hex(4)}.tmp"
        file = os.open(temporary, os.O_CREAT | os.O_EXCL | os.O_RDWR | os.O_CLOEXEC, 0o666)
        fcntl.flock(file, fcntl.LOCK_EX)
    try:
        yield temporary
        os.fsync(file)
        temporary.replace(target)
    finally:
        temporary.unlink(missing_ok=True)
        os.close(file)


def _remove_abandoned(target: Path) -> None:
    for temporary in target.parent.glob(f".{glob.escape(target.name)}.*.tmp"):
        # Another run's may be locked, or become its target meanwhile.
        with suppress(FileNotFoundError, BlockingIOError), temporary.open("rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            temporary.unlink()


@contextmanager
def _locked(folder: Path) -> Iterator[None]:
    descriptor = os.open(folder, os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX)
        yield
    finally:
        os.close(descriptor)
