# SPDX-License-Identifier: Apache-2.0
"""Profiling logs of GPU inference runs, as tables for notebooks, data frames and query engines.

    import ryx_profile as rp
    log = rp.open("run.log")
    frame = polars.DataFrame(log.events)

Tables are Arrow streams, which pyarrow, pandas, polars, DuckDB and others take as they are.
``rp.spark`` is for Spark, and the only part that needs it.
"""

from __future__ import annotations

import importlib
from typing import TYPE_CHECKING

from ryx_profile._analysis import diff, stats
from ryx_profile._errors import LogError, LogWarning
from ryx_profile._log import Log, LostRange, Salvaged, open
from ryx_profile._parquet import to_parquet
from ryx_profile._parquet_job import Exported
from ryx_profile._table import Table

if TYPE_CHECKING:
    from types import ModuleType

    from ryx_profile import spark as spark

__all__ = [
    "Exported",
    "Log",
    "LogError",
    "LogWarning",
    "LostRange",
    "Salvaged",
    "Table",
    "diff",
    "open",
    "stats",
    "to_parquet",
]


def __getattr__(name: str) -> ModuleType:
    """Import `spark` when it is first used."""
    if name == "spark":
        return importlib.import_module("ryx_profile.spark")
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
