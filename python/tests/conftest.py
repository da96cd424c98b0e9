# SPDX-License-Identifier: Apache-2.0
"""Logs for the tests, made by the toolbox: it is also what the package is compared with."""

from __future__ import annotations

import json
import os
import subprocess
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from spark_modes import fleet, fleet_parquet, spark  # noqa: F401 - fixtures of several modules

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("RYX_BUILD", ROOT / "build/release"))
SAMPLE = ROOT / "samples/text-detection.log"

Row = dict[str, Any]
MakeLog = Callable[..., Path]


def toolbox(*arguments: str | Path, status: int = 0) -> str:
    """Run ryx-profile-log, which is to exit with that status; return what it prints."""
    result = subprocess.run(
        [BUILD / "bin/ryx-profile-log", *arguments], capture_output=True, text=True, check=False
    )
    assert result.returncode == status, result.stderr
    return result.stdout


@pytest.fixture(scope="session")
def tool() -> Path:
    """Return the toolbox."""
    return BUILD / "bin/ryx-profile-log"


def rows_of(table: str, *logs: Path, status: int = 0) -> list[Row]:
    """Return the rows of a table as the toolbox exports them."""
    text = toolbox(
        "export", "--format", "ndjson", "--table", table, "-o", "-", *logs, status=status
    )
    return [json.loads(line) for line in text.splitlines()]


def event(identifier: str, **fields: object) -> Row:
    """Describe an event in microseconds."""
    return {"identifier": identifier, "unit": 1, **fields}


def execution(graph: str, *events: Row, duration: int = 100) -> Row:
    """Describe an execution of a graph."""
    return {
        "method_type": "Execute",
        "text": graph,
        "timestamp": {"time": 1},
        "timing": {"start": 1000, "end": 1000 + duration},
        "events": list(events),
    }


@pytest.fixture
def make_log(tmp_path: Path) -> MakeLog:
    """Return what makes a log of chunks, each a list of messages."""

    def make(name: str, *chunks: list[Row]) -> Path:
        case = tmp_path / "case.json"
        case.write_text("\n".join(json.dumps({"messages": chunk}) for chunk in chunks))
        toolbox("make", case, tmp_path / name)
        return tmp_path / name

    return make


@pytest.fixture
def damaged(tmp_path: Path) -> Path:
    """Return a log whose fourth chunk, at byte 295092, is cut short."""
    path = tmp_path / "damaged.log"
    path.write_bytes(SAMPLE.read_bytes()[:300_000])
    return path


DAMAGE = "chunk 4 at byte 295092: the file ends after 4904 of its 61216 bytes"
