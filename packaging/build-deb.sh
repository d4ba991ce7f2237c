#!/usr/bin/env bash
# Builds the Debian packages of the committed tree and checks them with lintian.
# packaging/build-deb.sh [FOLDER]    where the packages go (default: build/deb)
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh debhelper dh-python lintian fakeroot cmake ninja-build g++ pkg-config libpng-dev libjpeg-dev libcli11-dev pybind11-dev \
    python3-dev python3-numpy python3-setuptools doxygen libgomp1
out=$(realpath -m "${1:-build/deb}")
version=$(sed -n 's/^project(lml VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
rm -rf "$out"
source=$out/lumoralib-$version
mkdir -p "$source"
git archive HEAD | tar -x -C "$source"
cp -r packaging/debian "$source/debian"
date=$(date -R -d "@$(git log -1 --format=%ct)")
sed "s/@VERSION@/$version/g; s/@DATE@/$date/" packaging/debian/changelog.in >"$source/debian/changelog"
licence=$(sed 's/^$/./; s/^/ /' LICENSE)
awk -v text="$licence" '/@LICENSE@/ { print text; next } { print }' packaging/debian/copyright.in >"$source/debian/copyright"
rm -f "$source/debian/changelog.in" "$source/debian/copyright.in"
(cd "$source" && dpkg-buildpackage -us -uc -b)
rm -rf "$source"
lintian --fail-on error "$out"/*.changes
ls -l "$out"/*.deb
