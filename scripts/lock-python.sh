#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Pins what the Python tests and the notebook take, with the hashes of every file: from each
# python/requirements-*.in the .txt beside it, for every Python from 3.10 on.
set -euo pipefail
cd "$(dirname "$0")/../python"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
python3 -m venv "$work"
"$work/bin/pip" install -q 'uv>=0.13,<0.14'
lock() { # name python-version option...
  UV_CUSTOM_COMPILE_COMMAND="scripts/lock-python.sh" "$work/bin/uv" pip compile --quiet --universal \
    --no-config --python-version "$2" --generate-hashes "${@:3}" \
    "requirements-$1.in" -o "requirements-$1.txt"
}
lock test 3.10
lock pandas3 3.11 --no-deps
lock notebook 3.10
