#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the Debian packages of a build, twice, and uses them as a stranger would: installed into a
# root of their own, run, built against, removed: packages_test.sh BUILD_DIR SOURCE_DIR
set -euo pipefail

build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "packages_test: $*" >&2
  exit 1
}

if [ "$(id -u)" != 0 ] || ! command -v dpkg-shlibdeps >/dev/null; then
  echo "only root can install packages, and only where dpkg-dev is: not tested"
  exit 77
fi

make_packages() { # folder umask
  (umask "$2" && cd "$build" && cpack -G DEB -B "$work/$1") >made.txt 2>&1 || { cat made.txt; exit 1; }
  rm -rf "$1/_CPack_Packages"
}
make_packages packages 077
make_packages again 022
diff -r packages again || fail "the packages of one build differ"

version=$(dpkg-deb -f packages/ryx-profile-tools_*.deb Version)
for name in ryx-profile-tools libryx-profile1 libryx-profile-dev; do
  for file in packages/"${name}_${version}"_*.deb; do
    [ -s "$file" ] || fail "there is no package $name"
  done
done
debugFiles=$(for file in packages/*-dbgsym_*; do dpkg-deb -c "$file"; done | grep -c '\.debug$')
[ "$debugFiles" = 5 ] || fail "debug symbols of $debugFiles files instead of 5"

if command -v lintian >/dev/null; then
  lintian --allow-root --fail-on error packages/*.*deb >lintian.txt || { cat lintian.txt; exit 1; }
else
  echo "no lintian here: its opinion is not asked"
fi

root=$work/root
mkdir -p "$root/var/lib/dpkg"/{info,updates,triggers}
touch "$root/var/lib/dpkg/status" "$root/var/lib/dpkg/available"
in_root() {
  dpkg --root="$root" --log=/dev/null --force-depends --force-script-chrootless \
    --path-include='*' "$@" >>dpkg.txt 2>&1 || { cat dpkg.txt; exit 1; }
}
files_in_root() { find "$root" -path "$root/var/lib/dpkg" -prune -o -mindepth 1 -print | sort; }

before=$(files_in_root)
in_root --install packages/*.*deb
# What the packages say that they need is on this machine, but for one another.
for file in packages/*.deb; do
  dpkg-deb -f "$file" Depends | tr ',' '\n' | sed 's/^ *//; s/[ (|].*//; /^libryx-profile1$/d' |
    while read -r needed; do
      dpkg -s "$needed" >/dev/null 2>&1 || fail "$file needs $needed, which is not installed here"
    done
done

usr=$root/usr
about=$usr/share/doc/ryx-profile-tools
log=$about/samples/text-detection.log
"$usr/bin/ryx-profile-log" stats "$log" >stats.txt
grep -q 'Conv.61:Convolution' stats.txt || fail "stats does not print the slowest operator"
"$usr/bin/ryx-profile-viewer" "$log" | cmp - <("$build/bin/ryx-profile-viewer" "$log") ||
  fail "the installed viewer prints something else"
"$usr/bin/ryx-profile-log" --version >version.txt
grep -q "$usr/lib" version.txt || fail "the plug-ins are not the installed ones"
[ -e "$usr/share/ryx-profile/profile_log.fbs" ] || fail "the schema is missing"
[ -e "$usr/share/man/man1/ryx-profile-log-diff.1.gz" ] || fail "manual pages are missing"
[ -s "$about/docs/guide.md" ] || fail "the guide is missing"
if grep -rlF -e "$source/" -e "$build/" "$usr/bin" "$usr/lib"; then
  fail "the files above name the build's own folders"
fi

# Moved, the unpacked tree runs all the same, and what is built against it finds it.
mv "$usr" "$work/moved"
log=$work/moved/share/doc/ryx-profile-tools/samples/text-detection.log
"$work/moved/bin/ryx-profile-viewer" -f json "$log" 2>complaints.txt >moved.json
grep -q 'Conv.61:Convolution' moved.json || fail "the moved viewer's JSON has no operators"
{
  cmake -S "$source/tests/consumer" -B consumer -DCMAKE_PREFIX_PATH="$work/moved" &&
    cmake --build consumer && consumer/consumer written.log && consumer/c-consumer written.log
} >built.txt 2>&1 || { cat built.txt; fail "the consumer does not build or run"; }
mv "$work/moved" "$usr"

mapfile -t names < <(for file in packages/*.*deb; do dpkg-deb -f "$file" Package; done)
in_root --purge "${names[@]}"
[ "$(files_in_root)" = "$before" ] || fail "left after the packages were removed: $(files_in_root)"
