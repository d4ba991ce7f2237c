#!/usr/bin/env bash
# Makes the pictures of docs/gallery.md, docs/choosing.md and the README from the examples, and those of docs/story.md from its
# programs, with 256 colours each.
# tools/gallery.sh [BUILD]: a configured build folder, build/release by default. Look at what it made before it is committed.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh netpbm
build=${1:-build/release}
examples="picture_hologram field_profile segmented_field shifted_plane zoom tilted_plane point_cloud_hologram device_hologram limits"
# shellcheck disable=SC2086
cmake --build "$build" --target lml_pictures $examples
made=$(mktemp -d)
trap 'rm -rf "$made"' EXIT
for example in $examples; do
    "$build/examples/$example" --out "$made"
done
python3 tests/pages.py "$build" c++ --out "$made" story
for picture in "$made"/*.png; do
    name=$(basename "$picture" .png)
    case "$name" in
        object | hologram | reconstruction) name=picture_$name ;;
        hologram_*) name=picture_${name#hologram_} ;;
    esac
    # Only those that a page shows.
    grep -qs "images/$name.png" README.md docs/*.md || continue
    pngtopnm "$picture" | pnmquant -quiet 256 | pnmtopng -quiet -compression 9 >"docs/images/$name.png"
done
