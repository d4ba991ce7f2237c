#!/usr/bin/env bash
# The guide and the reference as pages of HTML, with their links checked: open FOLDER/index.html.
# tools/site.sh [FOLDER]    default: build/site/html. It is made anew.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh cmake ninja-build g++ libgomp1 doxygen python3
out=$(realpath -m "${1:-build/site/html}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S . -B "$work" -G Ninja -DLML_BUILD_DOCS=ON -DLML_BUILD_TESTS=OFF -DLML_BUILD_EXAMPLES=OFF -DLML_BUILD_PICTURES=OFF \
    -DLML_BUILD_COMMAND=OFF -DLML_BUILD_PYTHON=OFF -DLML_WITH_MPI=OFF >"$work/log" || { cat "$work/log" >&2; exit 1; }
cmake --build "$work" --target docs >"$work/log" || { cat "$work/log" >&2; exit 1; }
python3 tests/site_links.py "$work/html"
if [ -e "$out" ] && [ ! -e "$out/doxygen.css" ]; then
    echo "$out exists and is no site: left alone" >&2
    exit 1
fi
rm -rf "$out"
mkdir -p "$(dirname "$out")"
mv "$work/html" "$out"
echo "written: $out/index.html"
