#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks the format of every source, its licence, and what clang-tidy and shellcheck find; any finding is
# an error. Everything is checked before the first finding ends it.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}" \
  "${lint_packages[@]}" "${python_packages[@]}"
# clang-tidy reads the release build's compile commands, and the header generated in it; those of
# the Python package's extension are another build's.
configured=$(cmake --preset release -DRYX_BUILD_TESTS=ON -DRYX_BUILD_BENCH=ON 2>&1 &&
  cmake --build --preset release --target ryx_schema 2>&1 &&
  cmake -S . -B build/lint-python -G Ninja -DRYX_BUILD_PYTHON=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON 2>&1 &&
  cmake --build build/lint-python --target ryx_schema 2>&1) || {
  echo "$configured" >&2
  exit 1
}

status=0
mapfile -t elsewhere < <(sed -n 's/^  "\(.*\)",$/:(exclude,glob)\1/p' REUSE.toml)
if git grep -L 'SPDX-License-Identifier: ' -- . "${elsewhere[@]}"; then
  echo "the files above do not say their licence" >&2
  status=1
fi
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror || status=1
git ls-files '*.sh' .ci/run | xargs shellcheck --external-sources --source-path=SCRIPTDIR:. || status=1
# A consumer is built against an installed tree, so no compile command is known for it.
git ls-files '*.cpp' ':!tests/consumer' ':!python' |
  xargs -P "$(nproc)" -n 1 clang-tidy -p build/release --quiet || status=1
git ls-files 'python/*.cpp' |
  xargs -P "$(nproc)" -n 1 clang-tidy -p build/lint-python --quiet || status=1
exit $status
