#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# tests/tsan/qt.sh: builds Qt Core, Network and Test with ThreadSanitizer, from the sources of the Debian package that is
# installed, and prints the folder with the libraries. Eight minutes on two cores, once: the result is kept in the user's cache.
#
# An uninstrumented Qt hides its locks from ThreadSanitizer: code that a QMutex guards is reported, and what suppressions then
# leave is too little to find a race.
set -euo pipefail

version=$(dpkg-query -W -f '${Version}' libqt5core5a)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/noflailsten/qt-tsan-$version
if [ -f "$cache/complete" ]; then
  echo "$cache/lib"
  exit 0
fi
rm -rf "$cache"
mkdir -p "$cache/apt/lists/partial" "$cache/source" "$cache/build"

# The machine's own sources, asked for source packages, beside its lists of packages instead of in them.
sources=$cache/apt/sources
mkdir -p "$sources"
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
  if [ -f "$file" ]; then
    sed -n 's/^deb /deb-src /p' "$file" | grep -F debian >>"$sources/machine.list" || true
  fi
done
for file in /etc/apt/sources.list.d/*.sources; do
  if [ -f "$file" ] && grep -q '^URIs:.*debian' "$file"; then
    sed 's/^Types:.*/Types: deb-src/' "$file" >"$sources/$(basename "$file")"
  fi
done
apt=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$sources" -o "Dir::State::lists=$cache/apt/lists")
apt-get "${apt[@]}" update -q >&2
(cd "$cache/source" && apt-get "${apt[@]}" source -q "qtbase-opensource-src=$version" >&2)
source=$(find "$cache/source" -maxdepth 1 -type d -name 'qtbase-opensource-src-*')

cd "$cache/build"
"$source/configure" -prefix "$cache" -release -opensource -confirm-license -sanitize thread \
  -no-feature-http -no-feature-ftp -no-feature-statemachine -no-feature-animation -no-gui -no-widgets -no-dbus -no-icu -no-glib -no-openssl -no-feature-sql -qt-pcre -qt-zlib -qt-doubleconversion \
  -nomake examples -nomake tests -nomake tools >&2
make -j "$(nproc)" sub-src-qmake_all >&2
make -j "$(nproc)" -C src sub-corelib sub-network sub-testlib >&2
mkdir -p "$cache/lib"
cp -a lib/libQt5Core.so* lib/libQt5Network.so* lib/libQt5Test.so* "$cache/lib/"
rm -rf "$cache/build" "$cache/source" "$cache/apt"
touch "$cache/complete"
echo "$cache/lib"
