#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the files of a release, of the commit that is checked out: the Debian packages, the Python
# wheel, the source, and their checksums: release.sh FOLDER
# The same commit gives the same bytes, in whatever folder it is built. Takes a package index for
# what builds the wheel.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
source scripts/python-environment.sh

if [ $# != 1 ] || [[ $1 == -* ]]; then
  echo "usage: scripts/release.sh FOLDER" >&2
  exit 2
fi
out=$(realpath -m "$1")
if [ -e "$out" ] && [ -n "$(ls -A "$out")" ]; then
  echo "release.sh: $1 is not empty" >&2
  exit 1
fi
if [ -n "$(git status --porcelain)" ]; then
  echo "release.sh: there are changes that are not committed, which no release can have:" >&2
  git status --short >&2
  exit 1
fi
scripts/install-packages.sh "${build_packages[@]}" "${page_packages[@]}" "${python_packages[@]}"

version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ "$(git tag --points-at HEAD "v$version")" ] || echo "not tagged v$version: a build to try" >&2
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
mkdir -p "$(dirname "$out")"
work=$(mktemp -d "$out.XXXXXX")
trap 'rm -rf "$work"' EXIT
files=$work/files
mkdir "$files"

# Anew, so that nothing but the preset decides what is built.
cmake --fresh --preset release
cmake --build --preset release
# Builds without node have no pages; such a one is not released.
build/release/bin/ryx-profile-log html samples/text-detection.log -o "$work/run.html"
(cd build/release && cpack -G DEB -B "$work/packages")
mv "$work/packages"/*.*deb "$files"
make_python_environment
rm -f build/python/CMakeCache.txt
make_wheel "$work/wheels"
mv "$work/wheels"/*.whl "$files"
name=ryx-profile-$version
git archive --format=tar --prefix="$name/" HEAD | xz >"$files/$name.tar.xz"
(cd "$files" && sha256sum -- * >SHA256SUMS)

mv -T "$files" "$out"
cat "$out/SHA256SUMS"
