#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs samples/notebook.ipynb anew, with the package as it is, and keeps its outputs in it.
set -euo pipefail
cd "$(dirname "$0")/.."

venv=build/python-notebook
python=$venv/bin/python
lock=python/requirements-notebook.txt
export PIP_DISABLE_PIP_VERSION_CHECK=1
if ! cmp -s "$lock" "$venv/lock.txt"; then
  python3 -m venv --clear "$venv"
  "$python" -m pip install --quiet --require-hashes -r "$lock"
  cp "$lock" "$venv/lock.txt"
fi
"$python" -m pip install --quiet --no-deps --force-reinstall .
cd samples
"../$venv/bin/jupyter-execute" --inplace notebook.ipynb
# What differs from run to run says nothing.
"../$python" - <<'PYTHON'
import nbformat

notebook = nbformat.read("notebook.ipynb", as_version=4)
notebook.metadata = {"kernelspec": {"display_name": "Python 3", "language": "python", "name": "python3"}}
for number, cell in enumerate(notebook.cells):
    cell.id = f"cell-{number}"
    cell.metadata = {}
nbformat.write(notebook, "notebook.ipynb")
PYTHON
