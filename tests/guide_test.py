# SPDX-License-Identifier: Apache-2.0
"""Runs every command that a page of the documentation shows, and compares what it prints.

The commands are those of blocks fenced as ```console: a line "$ COMMAND", which goes on in the
next line where it ends in a backslash, and below it what the command prints on both outputs. A
line "..." stands for any number of lines, also none; blanks at the ends of lines do not count. The
commands of a page run one after the other in one new folder, which has `samples` in it.

usage: guide_test.py TOOL_FOLDER SAMPLES PAGE...
"""

import os
import pathlib
import subprocess
import sys
import tempfile

# Builds without node make no pages; what needs one is then left out.
NO_PAGES = "this build has no HTML report"


def commands_of(page):
    """The page's commands: the line each stands in, its text, and the lines shown below it."""
    commands = []
    in_block = goes_on = False
    for number, line in enumerate(page.read_text("utf-8").split("\n"), 1):
        if line.startswith("```"):
            in_block, goes_on = line == "```console", False
        elif not in_block:
            continue
        elif goes_on:
            commands[-1][1] += "\n" + line
            goes_on = line.endswith("\\")
        elif line.startswith("$ "):
            commands.append([number, line[2:], []])
            goes_on = line.endswith("\\")
        elif not commands:
            sys.exit(f"{page}:{number}: no command before this line: {line}")
        else:
            commands[-1][2].append(line.rstrip())
    return commands


def parts_of(shown):
    """The lists of lines before, between and after the "..." of what is shown."""
    parts = [[]]
    for line in shown:
        if line == "...":
            parts.append([])
        else:
            parts[-1].append(line)
    return parts


def missing_part(shown, printed):
    """The first part of what is shown that is not among the lines printed, or None."""
    first, *others = parts_of(shown)
    if printed[:len(first)] != first or (not others and len(printed) != len(first)):
        return first or ["(nothing)"]
    at = len(first)
    for i, part in enumerate(others):
        ends = range(at, len(printed) - len(part) + 1)
        if i == len(others) - 1 and part:
            ends = ends[-1:]
        at = next((k + len(part) for k in ends if printed[k:k + len(part)] == part), None)
        if at is None:
            return part
    return None


def check(page, tools, samples):
    path = f"{tools}:{os.environ['PATH']}"
    environment = dict(os.environ, PATH=path, TZ="UTC", LC_ALL="C.UTF-8")
    failures = 0
    commands = commands_of(page)
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(samples, os.path.join(folder, "samples"))
        for number, command, shown in commands:
            done = subprocess.run(["bash", "-c", command], cwd=folder, env=environment,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=600)
            output = done.stdout.decode("utf-8", "replace")
            if NO_PAGES in output:
                continue
            printed = [line.rstrip() for line in output.splitlines()]
            part = missing_part(shown, printed)
            if part is not None:
                failures += 1
                print(f"{page}:{number}: $ {command}", "shows", *part, "but the command prints",
                      *printed, "", sep="\n")
    print(f"{page}: {len(commands)} commands, {failures} of them print something else")
    return failures if commands else 1


def main():
    tools, samples, *pages = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    sys.exit(1 if sum(check(page, tools, samples) for page in pages) else 0)


main()
