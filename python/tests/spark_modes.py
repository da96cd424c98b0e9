# SPDX-License-Identifier: Apache-2.0
"""Spark as the tests run it: in one process, and as a cluster of worker processes.

The data source reads the same fleet in both. Each session is begun once, since that takes seconds.
"""

from __future__ import annotations

import os
import shutil
import signal
import sys
import warnings
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from importlib.util import find_spec
from pathlib import Path
from typing import TYPE_CHECKING

import pytest
from fleet import make_fleet

import ryx_profile as rp

if TYPE_CHECKING:
    import pyarrow as pa
    from pyspark.sql import SparkSession

ONE_PROCESS = "local[2]"
CLUSTER = "local-cluster[2,1,1024]"
"""Two workers, of one core and 1024 MB each, in processes of their own."""


def _is_there() -> bool:
    has_java = shutil.which("java") is not None or "JAVA_HOME" in os.environ
    return has_java and find_spec("pyspark") is not None


needs_spark = pytest.mark.skipif(
    not _is_there() and os.environ.get("CI") != "true",  # where it has to be there
    reason="Spark's tests are left out: they take Java 17 and pyspark",
)


@pytest.fixture(scope="session", params=[ONE_PROCESS, CLUSTER])
def spark(
    request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory
) -> Iterator[SparkSession]:
    """Return a session in which the format is registered."""
    from pyspark import __file__ as pyspark
    from pyspark.sql import SparkSession

    tests = str(Path(__file__).parent)
    settings = {
        "spark.driver.host": "127.0.0.1",
        "spark.driver.extraJavaOptions": "-XX:TieredStopAtLevel=1 -XX:+UseSerialGC",
        "spark.executor.extraJavaOptions": "-XX:TieredStopAtLevel=1 -XX:+UseSerialGC",
        "spark.executorEnv.PYTHONPATH": tests,  # for `die_once`
        "spark.log.level": "ERROR",
        "spark.network.timeout": "600s",  # busy machines are slow
        "spark.python.authenticate.socketTimeout": "600s",
        "spark.sql.execution.arrow.maxRecordsPerBatch": "1000",
        "spark.sql.shuffle.partitions": "2",
        "spark.sql.warehouse.dir": str(tmp_path_factory.mktemp("warehouse")),
        "spark.ui.enabled": "false",
        "spark.ui.showConsoleProgress": "false",
    }
    with pytest.MonkeyPatch.context() as patch:
        patch.setenv("SPARK_HOME", str(Path(pyspark).parent))
        patch.setenv("SPARK_LOCAL_IP", "127.0.0.1")
        patch.setenv("PYSPARK_PYTHON", sys.executable)
        patch.delenv("PYSPARK_DRIVER_PYTHON", raising=False)
        builder = SparkSession.builder.master(request.param)
        for name, value in settings.items():
            builder = builder.config(name, value)
        session = builder.getOrCreate()
        rp.spark.register(session)
        yield session
        session.stop()


@contextmanager
def without_warnings() -> Iterator[None]:
    """Have nothing said of damaged logs."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", rp.LogWarning)
        yield


@pytest.fixture(scope="session")
def fleet(tool: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Return the folder of a fleet's 200 logs, some of them damaged."""
    folder = tmp_path_factory.mktemp("fleet")
    make_fleet(str(tool), folder)
    return folder


@pytest.fixture(scope="session")
def fleet_parquet(fleet: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Return the folder of its executions and events as Parquet."""
    folder = tmp_path_factory.mktemp("parquet")
    with without_warnings():
        for table in "executions", "events":
            rp.to_parquet(sorted(fleet.glob("*/*.log")), folder, table)
    return folder


def die_once(folder: str) -> Callable[[Iterator[pa.RecordBatch]], Iterator[pa.RecordBatch]]:
    """Return what hands on batches and, when the first task has a second one, kills its worker.

    Each attempt at a task leaves a file in the folder, as does the death.
    """

    def hand_on(batches: Iterator[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        from pyspark import TaskContext

        task = TaskContext.get()
        assert task is not None
        Path(folder, f"{task.partitionId()}.{task.attemptNumber()}.attempt").touch()
        for number, batch in enumerate(batches):
            if number == 1:
                _kill_worker_once(Path(folder, "death"))
            yield batch

    return hand_on


def _kill_worker_once(note: Path) -> None:
    try:
        note.touch(exist_ok=False)
    except FileExistsError:
        return
    # This process was forked by one that the worker started.
    worker = int(Path(f"/proc/{os.getppid()}/stat").read_text().rpartition(")")[2].split()[1])
    assert b"CoarseGrainedExecutorBackend" in Path(f"/proc/{worker}/cmdline").read_bytes()
    os.kill(worker, signal.SIGKILL)
