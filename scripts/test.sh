#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test: the release build, and again under the
# address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

scripts/install-packages.sh "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}"
test_preset() {
  cmake --preset "$1" -DRYX_BUILD_TESTS=ON "${@:2}"
  cmake --build --preset "$1"
  ctest --preset "$1"
}
test_preset release -DRYX_BUILD_BENCH=ON
test_preset asan
# Fuzzing takes minutes, each time; what it has found so far replays in the tests above.
if [ "${CI:-}" = true ]; then
  scripts/fuzz.sh 60
fi
