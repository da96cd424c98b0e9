#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Python package's wheel and tests it, installed, in an environment of its own: lint,
# types, and the tests, which compare it with the tools of build/release. Where no package index can
# be reached, says so and leaves the tests out; in CI that is a failure.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
source scripts/python-environment.sh

pandas3=build/python-pandas3

# The other version of pandas, to be put before the environment's. It takes Python 3.11.
make_pandas3() {
  local lock=python/requirements-pandas3.txt
  "$python" -c 'import sys; sys.exit(sys.version_info >= (3, 11))' && return
  cmp -s "$lock" "$pandas3/lock.txt" && return
  rm -rf "$pandas3" &&
    "$python" -m pip install --quiet --require-hashes --no-deps --target "$pandas3" -r "$lock" &&
    cp "$lock" "$pandas3/lock.txt"
}

scripts/install-packages.sh "${python_packages[@]}"
if ! make_python_environment || ! make_pandas3; then
  echo "the Python package's tests are left out: pip could not fetch what they take" >&2
  [ "${CI:-}" != true ]
  exit
fi

make_wheel build/wheels
"$python" -m pip install --quiet --no-deps --no-index --force-reinstall build/wheels/*.whl

"$python" -m ruff check --quiet
"$python" -m ruff format --quiet --check
"$python" -m mypy
"$python" -m mypy.stubtest --mypy-config-file pyproject.toml ryx_profile._native
"$python" -m pytest --quiet
if [ -d "$pandas3" ]; then
  PYTHONPATH=$pandas3 "$python" -m pytest --quiet python/tests/test_consumers.py
fi
