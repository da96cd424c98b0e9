# SPDX-License-Identifier: Apache-2.0
"""The command line: `python -m ryx_profile parquet LOG... -o FOLDER`.

Exit status: 0 when every log was exported to its end, 1 when one is damaged or could not be opened,
or a file could not be written, 2 for wrong usage.
"""

from __future__ import annotations

import argparse
import signal
import sys
from types import FrameType


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python -m ryx_profile", description="Profiling logs.")
    commands = parser.add_subparsers(required=True, metavar="COMMAND")
    parquet = commands.add_parser(
        "parquet",
        help="write a table of each log as a Parquet file",
        description="Writes a table of each log to FOLDER/table=NAME/. May be interrupted and run"
        " again: files appear when they are whole, and those of logs that have not changed are left"
        " as they are. A damaged log is exported up to its damage, with exit status 1.",
    )
    parquet.add_argument("logs", nargs="+", metavar="LOG")
    parquet.add_argument("-o", "--output", required=True, metavar="FOLDER")
    parquet.add_argument(
        "--table",
        default="events",
        choices=["events", "messages", "executions", "logs"],
        help="default events",
    )
    parquet.add_argument("--columns", metavar="A,B", help="only these columns, in this order")
    parquet.add_argument("--graph", action="append", metavar="NAME", help="may be repeated")
    parquet.add_argument("--method", action="append", metavar="NAME", help="may be repeated")
    parquet.add_argument("--level", type=int, metavar="N", help="only messages below it")
    parquet.add_argument(
        "-j", "--workers", type=int, metavar="N", help="processes; default one a processor"
    )
    parquet.add_argument("-q", "--quiet", action="store_true", help="show no progress")
    parquet.set_defaults(run=_export, refuse=parquet.error)
    return parser


def _export(options: argparse.Namespace) -> int:
    # Imported late: it needs pyarrow, and the help does not.
    from ryx_profile._parquet import export_logs
    from ryx_profile._table import Selection

    columns = options.columns.split(",") if options.columns else None
    try:
        selection = Selection().narrowed(columns, options.graph, options.method, options.level)
        results = export_logs(
            options.logs,
            options.output,
            options.table,
            selection=selection,
            workers=options.workers,
            progress=False if options.quiet else None,
        )
    except ValueError as error:
        options.refuse(str(error))
    except (OSError, ImportError) as error:
        return _complain(str(error))
    damages = [result.damage for result in results if result.damage]
    for damage in damages:
        _complain(damage)
    return 1 if damages else 0


def _complain(text: str) -> int:
    print(f"ryx_profile: {text}", file=sys.stderr)
    return 1


def _end(number: int, _frame: FrameType | None) -> None:
    sys.exit(128 + number)


def main() -> int:
    """Run the command line, and return its exit status."""
    # As an exception, so that what is half written is removed.
    signal.signal(signal.SIGTERM, _end)
    options = _parser().parse_args()
    try:
        status: int = options.run(options)
    except KeyboardInterrupt:
        return 128 + signal.SIGINT
    return status


if __name__ == "__main__":
    sys.exit(main())
