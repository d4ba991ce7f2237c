#!/usr/bin/env bash
# Makes the figures of docs/reliability.md. Each step builds what it needs.
# tools/reliability.sh coverage   lines and branches that the tests reach, by unit (preset coverage, gcovr)
# tools/reliability.sh memcheck   valgrind over the tests of fields, points, propagations and files (preset release)
# tools/reliability.sh threads    the thread sanitizer over the tests with teams (preset tsan: clang, libomp with Archer)
# tools/reliability.sh faults     every operation with a fault at every allocation and file call (preset release)
# tools/reliability.sh fuzz SECONDS   each fuzz driver so long (preset fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

build() {
    cmake --preset "$1" >/dev/null
    cmake --build "build/$1" -j "$jobs" ${2:+--target "${@:2}"}
}

case "${1:-}" in
    coverage)
        tools/setup.sh gcovr
        build coverage
        ctest --preset coverage
        units() { # the lines of the files that match, as one figure
            gcovr -r . --filter "$1" --exclude-throw-branches --exclude-unreachable-branches --print-summary |
                grep -E '^(lines|branches)'
        }
        gcovr -r . --filter 'lml/' --exclude-throw-branches --exclude-unreachable-branches
        echo "file units:"
        units 'lml/files/'
        echo "all units:"
        units 'lml/'
        ;;
    memcheck)
        tools/setup.sh valgrind
        tests="BasicTest ArithematicTest EmbedTest LocalSystemTest PointArrayTest PointSourceTest PropagateTest FileTest FileTextTest"
        tests="$tests FileLmTest FileNpyTest CloudFileTest WholeFileTest HbiRawTest BmpTest PictureTest"
        # shellcheck disable=SC2086
        build release $tests
        for test in $tests; do
            echo "== $test"
            valgrind --quiet --error-exitcode=9 --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite \
                --suppressions=tests/valgrind.supp "build/release/tests/$test" --gtest_brief=1
        done
        ;;
    threads)
        tools/setup.sh clang libomp-dev llvm
        tests="TeamTest ThreadsTest FftTest FusedTest PointSourceTest MeasureTest PropagateTest"
        # shellcheck disable=SC2086
        build tsan $tests
        ctest --preset tsan -R "^($(tr ' ' '|' <<<"$tests"))\$"
        ;;
    faults)
        build release faults
        build/release/tests/faults
        ;;
    fuzz)
        tests/fuzz/run.sh "${2:?tools/reliability.sh fuzz SECONDS}"
        ;;
    *)
        sed -n '2,8p' "$0" >&2
        exit 2
        ;;
esac
