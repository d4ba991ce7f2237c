#!/usr/bin/env bash
# A fair rival: FFTW 3.3.10 in single precision from Debian's own source package, with AVX2 and AVX-512 beside what Debian's
# build has (SSE2, AVX). Prints the prefix under which it lies; builds it the first time (some minutes).
#   ./bench/fftw.sh [DIRECTORY]      default build/fftw
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p "${1:-build/fftw}"
work=$(cd "${1:-build/fftw}" && pwd)
prefix=$work/prefix
if [ ! -e "$prefix/lib/libfftw3f_omp.a" ]; then
    {
        tools/setup.sh gcc make libgomp1
        cd "$work"
        # The source index beside the machine's own lists: nothing of its configuration is changed.
        mkdir -p lists/partial sources
        cat >sources/debian.sources <<'END'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
END
        apt="apt-get -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts=$work/sources -o Dir::State::Lists=$work/lists"
        $apt -qq update
        $apt -qq source --download-only fftw3=3.3.10-1
        tar xf fftw3_3.3.10.orig.tar.gz
        cd fftw-3.3.10
        # Its own choice of compiler options, as -O3 and -mtune=native: none are given.
        ./configure --quiet --prefix="$prefix" --enable-float --enable-sse2 --enable-avx --enable-avx2 --enable-avx512 \
            --enable-openmp --disable-fortran --disable-doc
        make -s -j "$(nproc)"
        make -s install
    } >"$work/log" 2>&1 || {
        tail -20 "$work/log" >&2
        exit 1
    }
fi
echo "$prefix"
