"""Profiling logs of GPU inference runs, as tables for notebooks, data frames and query engines.

    import ryx_profile as rp
    log = rp.open("run.log")
    frame = polars.DataFrame(log.events)

Tables are Arrow streams, which pyarrow, pandas, polars, DuckDB and others take as they are.
"""

from ryx_profile._analysis import diff, stats
from ryx_profile._errors import LogError, LogWarning
from ryx_profile._log import Log, LostRange, Salvaged, open
from ryx_profile._parquet import to_parquet
from ryx_profile._parquet_job import Exported
from ryx_profile._table import Table

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
