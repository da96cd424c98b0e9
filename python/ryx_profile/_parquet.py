# SPDX-License-Identifier: Apache-2.0
"""Tables of many logs as a folder of Parquet files, written by several processes.

The processes are started anew, and given one log after the other over a pipe. They are neither
forked, since what runs in a thread of the parent would be half there in them, nor do they import
the caller's program, as those of `multiprocessing` do. Each ends with its pipe, so none outlives
its parent.
"""

from __future__ import annotations

import json
import os
import queue
import subprocess
import sys
import warnings
from collections.abc import Callable, Iterable, Iterator
from concurrent.futures import ThreadPoolExecutor, as_completed
from contextlib import ExitStack, suppress
from dataclasses import asdict
from typing import Literal, TypeAlias

from ryx_profile._errors import LogWarning
from ryx_profile._log import Logs, as_sources
from ryx_profile._parquet_job import Exported, Job
from ryx_profile._sources import Path
from ryx_profile._table import Selection

TableName: TypeAlias = Literal["events", "messages", "executions", "logs"]
_Worker: TypeAlias = "subprocess.Popen[str]"


def to_parquet(
    logs: Logs,
    folder: Path,
    table: TableName = "events",
    *,
    columns: str | Iterable[str] | None = None,
    graph: str | Iterable[str] | None = None,
    method: str | int | Iterable[str | int] | None = None,
    level: int | None = None,
    workers: int | None = None,
    progress: bool | None = None,
) -> list[Exported]:
    """Write a table of each log to a file `table=events/<name>-<hash of the path>.parquet`.

    logs: a path, an open log, or any number of either.
    folder: is made where it is not there. Query engines read all of it as one table:
        ``SELECT ... FROM 'folder/*/*.parquet'``.
    table: "events", "messages", "executions" or "logs".
    columns, graph, method, level: as `Table.select` takes them.
    workers: processes to share the logs among; by default as many as this one has processors.
    progress: whether to show on standard error how far it is; by default on a terminal.

    May be run again, and interrupted, at any time: a file appears when it is whole, and one that
    was made of the same part of the same log is left as it is; a log whose size or time of change
    is another is exported anew. A process holds some 100 MB beside what pyarrow takes.

    A damaged log is exported up to its damage, one that cannot be opened is left out; each is a
    LogWarning, and said in what is returned: one entry a log, in their order. ValueError for a
    selection that the table cannot serve, OSError for a file that cannot be written.
    """
    results = export_logs(
        logs,
        folder,
        table,
        selection=Selection().narrowed(columns, graph, method, level),
        workers=workers,
        progress=progress,
    )
    for result in results:
        if result.damage:
            warnings.warn(result.damage, LogWarning, stacklevel=2)
    return results


def export_logs(
    logs: Logs,
    folder: Path,
    table: TableName,
    *,
    selection: Selection,
    workers: int | None,
    progress: bool | None,
) -> list[Exported]:
    """Do the same without a warning."""
    paths = [os.fsdecode(path) for path in as_sources(logs).paths]
    jobs = [
        Job(
            path,
            os.fsdecode(folder),
            table,
            selection.columns,
            selection.graphs,
            selection.methods,
            selection.level,
        )
        for path in dict.fromkeys(paths)
    ]
    jobs[0].source()  # which refuses what cannot be served before anything is begun
    show = _shown(len(jobs)) if _is_shown(progress) else _ignored
    done = {}
    try:
        for count, result in enumerate(_exported(jobs, workers or _processors()), start=1):
            done[result.log] = result
            show(count)
    finally:
        show(None)
    return [done[job.log] for job in jobs]


def _processors() -> int:
    return len(os.sched_getaffinity(0))


def _exported(jobs: list[Job], workers: int) -> Iterator[Exported]:
    """Export all, in whatever order."""
    # Late, since the rest of the package does without pyarrow.
    from ryx_profile._parquet_file import export

    workers = min(workers, len(jobs))
    if workers <= 1:
        yield from map(export, jobs)
        return
    with ExitStack() as stack:
        processes = [stack.enter_context(_start_worker()) for _ in range(workers)]
        pool = stack.enter_context(ThreadPoolExecutor(workers))
        idle: queue.SimpleQueue[_Worker] = queue.SimpleQueue()
        for process in processes:
            idle.put(process)

        def export_by_any(job: Job) -> Exported:
            worker = idle.get()
            try:
                return _export_by(worker, job)
            finally:
                idle.put(worker)

        futures = [pool.submit(export_by_any, job) for job in jobs]

        def stop(kind: type[BaseException] | None, *_: object) -> None:
            if kind is not None:
                for future in futures:
                    future.cancel()
                for process in processes:
                    process.terminate()

        stack.push(stop)
        for future in as_completed(futures):
            yield future.result()


def _start_worker() -> _Worker:
    # A session of its own, so that a terminal interrupts the parent alone, which ends the others.
    return subprocess.Popen(
        [sys.executable, "-m", "ryx_profile._parquet_worker"],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        encoding="ascii",
        start_new_session=True,
    )


def _export_by(worker: _Worker, job: Job) -> Exported:
    """Have a job done. OSError where the file cannot be written, or the process has ended."""
    assert worker.stdin is not None
    assert worker.stdout is not None
    answer = ""
    with suppress(BrokenPipeError):
        worker.stdin.write(json.dumps(asdict(job)) + "\n")
        worker.stdin.flush()
        answer = worker.stdout.readline()
    if not answer:
        raise OSError(f"the process that exported {job.log} ended before it was done")
    result = json.loads(answer)
    if "error" in result:
        raise OSError(result["error"])
    return Exported(**result)


def _is_shown(progress: bool | None) -> bool:
    if progress is not None:
        return progress
    return sys.stderr.isatty() and os.environ.get("TERM") != "dumb"


def _ignored(_count: int | None) -> None:
    pass


def _shown(total: int) -> Callable[[int | None], None]:
    """Return what shows how many are done, in a line that it erases in the end."""
    width = 30

    def show(count: int | None) -> None:
        line = "\r\033[K"
        if count is not None:
            filled = width * count // total
            line += f"exporting [{'#' * filled}{'.' * (width - filled)}] {count} of {total} logs"
        sys.stderr.write(line)
        sys.stderr.flush()

    return show
