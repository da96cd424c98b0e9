# SPDX-License-Identifier: Apache-2.0
"""A process of `to_parquet`: jobs on standard input, results on standard output, a line each."""

from __future__ import annotations

import json
import signal
import sys
from contextlib import suppress
from dataclasses import asdict
from types import FrameType
from typing import Any

from ryx_profile._parquet_file import export
from ryx_profile._parquet_job import Job


def _end(_signal: int, _frame: FrameType | None) -> None:
    raise SystemExit(1)


def _with_tuples(fields: dict[str, Any]) -> dict[str, Any]:
    """Return the fields as the job had them: JSON has lists alone."""
    return {
        name: tuple(value) if isinstance(value, list) else value for name, value in fields.items()
    }


def main() -> None:
    """Do what comes in, until nothing more does. What is half written is removed on the way out."""
    signal.signal(signal.SIGTERM, _end)
    for line in sys.stdin:
        job = Job(**json.loads(line, object_hook=_with_tuples))
        try:
            result = asdict(export(job))
        except OSError as error:
            result = {"error": str(error)}
        print(json.dumps(result), flush=True)


if __name__ == "__main__":
    with suppress(BrokenPipeError):
        main()
