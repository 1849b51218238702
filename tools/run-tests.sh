#!/usr/bin/env bash
# Builds vynulib64 and runs every check, one stage after the other; the builds
# come from the presets in CMakePresets.json, with warnings as errors:
#   format  hand-written sources against .clang-format (clang-format 14)
#   gcc     g++ Release (-O3): every test, the Java bridge, the package checks
#           (install and consume, each installed header alone, exported
#           symbols with the bridge) and the fuzz corpus replays
#   clang   clang++ Release (-O3) without the Java bridge: every test, and the
#           exported symbols of that configuration
#   asan    clang++ with AddressSanitizer, UndefinedBehaviorSanitizer and
#           LeakSanitizer: every test and the fuzz corpus replays
#   tsan    clang++ with ThreadSanitizer: every concurrency test and the fuzz
#           corpus replays
#   fuzz    libFuzzer: each fuzz target for FUZZ_SECONDS (default 30) from its
#           corpus (tools/fuzz.sh --no-merge)
# Usage: tools/run-tests.sh [STAGE...]   (default: all six, in this order)
# Build directories: build-gcc, build-clang, build-asan, build-tsan, build-fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-$(nproc)}
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  # Paths relative to the checkout, so that clones share the cache.
  export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
fi
stages=("$@")
[ ${#stages[@]} -gt 0 ] || stages=(format gcc clang asan tsan fuzz)

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

configure() {
  echo "=== ${stage}: configure"
  cmake "$@" "${launcher[@]}" >/dev/null
}

times=()
for stage in "${stages[@]}"; do
  start=${SECONDS}
  case "${stage}" in
  format)
    tools/check-format.sh
    ;;
  gcc | normal)
    configure --preset release -B build-gcc -DCMAKE_CXX_COMPILER=g++
    echo "=== ${stage}: build"
    cmake --build build-gcc -j"${jobs}"
    echo "=== ${stage}: test"
    ctest --test-dir build-gcc --output-on-failure -j"${jobs}"
    ;;
  clang)
    configure --preset release -B build-clang -DCMAKE_CXX_COMPILER=clang++ -DVYN_BUILD_JAVA=OFF
    echo "=== ${stage}: build"
    cmake --build build-clang -j"${jobs}"
    echo "=== ${stage}: test"
    ctest --test-dir build-clang --output-on-failure -j"${jobs}"
    ;;
  asan | tsan)
    configure --preset "${stage}"
    echo "=== ${stage}: build"
    cmake --build --preset "${stage}" -j"${jobs}"
    echo "=== ${stage}: test"
    ctest --preset "${stage}" -j"${jobs}"
    ;;
  fuzz)
    JOBS=${jobs} tools/fuzz.sh --no-merge "${FUZZ_SECONDS:-30}"
    ;;
  *)
    echo "unknown stage ${stage} (format gcc clang asan tsan fuzz)" >&2
    exit 2
    ;;
  esac
  times+=("${stage} $((SECONDS - start)) s")
done
echo "=== all stages passed: ${times[*]}"
