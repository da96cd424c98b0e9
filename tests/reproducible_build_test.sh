#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds a plug-in and the C library once more, in another folder, which must give the same bytes:
# reproducible_build_test.sh BUILD_DIR SOURCE_DIR [CMAKE_OPTION...]
# The options are those that BUILD_DIR was configured with.
set -euo pipefail

build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if [[ $(realpath --relative-to="$source" "$build") == ..* ]]; then
  echo "what is built outside of the source names where that is: not tested"
  exit 77
fi
mkdir "$work/elsewhere"
tar -C "$source" --exclude=node_modules -c CHANGELOG.md CMakeLists.txt cmake docs include packaging page \
  README.md samples src tools | tar -C "$work/elsewhere" -x
again=$work/elsewhere/$(realpath --relative-to="$source" "$build")
[ ! -e "$source/.git" ] || export GIT_DIR=$source/.git
{
  cmake -S "$work/elsewhere" -B "$again" -G Ninja -DRYX_BUILD_TESTS=OFF "${@:3}" &&
    cmake --build "$again" --target RyxProfilingReader ryx_profile
} >"$work/output" 2>&1 || { cat "$work/output"; exit 1; }
for library in libRyxProfilingReader.so libryx_profile.so; do
  cmp "$build/lib/$library" "$again/lib/$library"
done
