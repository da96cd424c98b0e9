#!/usr/bin/env bash
# Checks format and clang-tidy findings of every source; any finding is an error.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh clang-format clang-tidy
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
cmake --preset release -DRYX_BUILD_TESTS=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >/dev/null
cmake --build --preset release >/dev/null
git ls-files '*.cpp' ':!tests/consumer' |
  xargs -P "$(nproc)" -n 1 clang-tidy -p build/release --quiet
