#!/usr/bin/env bash
# Installs the built packages in a scratch root (a bare Debian 12) and uses each: a program through CMake and pkg-config, the command,
# the Python package. Needs root and the network.
# packaging/test-deb.sh [FOLDER]    with the packages (default: build/deb)
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh debootstrap
debs=$(realpath "${1:-build/deb}")
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
debootstrap --variant=minbase bookworm "$root" "${DEBIAN_MIRROR:-http://deb.debian.org/debian}" >/dev/null
cp -r "$debs" "$root/debs"
mkdir "$root/use"
awk '/^```cpp$/ { inside = 1; next } /^```$/ { inside = 0 } inside' README.md >"$root/use/main.cpp"
cat >"$root/use/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(use CXX)
find_package(lml 2 REQUIRED COMPONENTS pictures)
add_executable(use main.cpp)
target_link_libraries(use PRIVATE lml::lml lml::pictures)
CMAKE
[ -e /etc/apt/apt.conf.d ] && cp -n /etc/apt/apt.conf.d/*proxy* "$root/etc/apt/apt.conf.d/" 2>/dev/null || true
chroot "$root" bash -euc '
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -q >/dev/null
    apt-get install -y -q --no-install-recommends /debs/*.deb g++ cmake make pkg-config >/dev/null
    cd /use
    cmake -B build . >/dev/null && cmake --build build >/dev/null && ./build/use && test -s slit.bmp
    g++ -std=c++17 main.cpp $(pkg-config --cflags --libs lml) -o plain && ./plain
    lml make circle --diameter 1mm --size 512 --pitch 8um --wavelength 633nm spot.lm
    lml info spot.lm
    python3 -c "import lumora, numpy; f = lumora.Field((64, 64)); f.samples[:] = 1; assert f.samples.sum() == 4096"
    test -s /usr/share/doc/lml/html/index.html
    echo "the packages work"'
