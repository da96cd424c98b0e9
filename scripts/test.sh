#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds the release and runs its tests.
#
# With --all, as CI runs it, also: the files of a release, format and lint, every test under the
# address and undefined-behaviour sanitizers, the unit tests under the thread sanitizer, and where the
# environment says CI=true a minute of attacks on the built tools and half of one of each fuzzer.
# Ends with the time that each step took.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh

all=false
case "$*" in
  '') ;;
  --all) all=true ;;
  *)
    echo "usage: scripts/test.sh [--all]" >&2
    exit 2
    ;;
esac

times=()
step() { # what command...
  local what=$1 start=$SECONDS
  shift
  echo "== $what"
  "$@"
  times+=("$(printf '%3d min %02d s  %s' $(((SECONDS - start) / 60)) $(((SECONDS - start) % 60)) "$what")")
}

test_release() {
  cmake --preset release -DRYX_BUILD_TESTS=ON -DRYX_BUILD_BENCH=ON
  cmake --build --preset release
  ctest --preset release
}
test_release_files() {
  if [ -n "$(git status --porcelain)" ] || [ ! -x build/python-tests/bin/python ]; then
    echo "left out: it takes a commit without changes beside it, and the Python environment"
    return
  fi
  rm -rf build/release-files
  scripts/release.sh build/release-files
  (cd build/release-files && sha256sum --check --quiet SHA256SUMS)
}
test_asan() {
  cmake --preset asan -DRYX_BUILD_TESTS=ON
  cmake --build --preset asan
  ctest --preset asan
}
test_tsan() {
  cmake --preset tsan -DRYX_BUILD_TESTS=ON
  cmake --build --preset tsan --target ryx_unit_tests
  ctest --preset tsan --label-regex unit
}

$all || echo "the release build and its tests; from scratch some minutes on two cores"
step "packages" scripts/install-packages.sh \
  "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}" "${page_packages[@]}"
step "release build and tests" test_release
step "page tests" scripts/test-page.sh
step "timelines in another program" scripts/test-timeline.sh
step "Python package" scripts/test-python.sh
if $all; then
  step "files of a release" test_release_files
  step "format and lint" scripts/lint.sh
  step "address and undefined-behaviour sanitizers" test_asan
  step "thread sanitizer" test_tsan
  # These take minutes, each time; what they have found so far is in the tests above.
  [ "${CI:-}" != true ] || step "attacks" scripts/torture.sh 1 60
  [ "${CI:-}" != true ] || step "fuzzers" scripts/fuzz.sh 30 -seed=1
fi

echo "== all passed"
printf '%s\n' "${times[@]}"
