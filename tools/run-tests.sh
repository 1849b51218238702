#!/usr/bin/env bash
# Builds vynulib64 and runs every test: a normal build (g++), then one with
# AddressSanitizer + UndefinedBehaviorSanitizer + LeakSanitizer (clang++), then
# the concurrency tests under ThreadSanitizer (clang++).
# Usage: tools/run-tests.sh [normal|asan|tsan]...   (default: all three)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-$(nproc)}
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  export CCACHE_NOHASHDIR=1
fi
stages=("$@")
[ ${#stages[@]} -gt 0 ] || stages=(normal asan tsan)

# run_stage NAME DIR TEST-REGEX TARGETS CMAKE-ARGS...  (empty regex/targets: all)
run_stage() {
  local name=$1 dir=$2 regex=$3 targets=$4
  shift 4
  echo "=== ${name}: configure (${dir})"
  cmake -S . -B "${dir}" "${launcher[@]}" "$@" >/dev/null
  echo "=== ${name}: build"
  # shellcheck disable=SC2086
  cmake --build "${dir}" -j"${jobs}" ${targets:+--target ${targets}}
  echo "=== ${name}: test"
  ctest --test-dir "${dir}" --output-on-failure -j"${jobs}" ${regex:+-R "${regex}"}
}

for stage in "${stages[@]}"; do
  case "${stage}" in
  normal)
    run_stage normal build "" "" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=g++
    ;;
  asan)
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
    run_stage asan build-asan "" "" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ \
      -DVYN_SANITIZE=address,undefined -DVYN_BUILD_JAVA=OFF -DCMAKE_CXX_FLAGS=-O1
    ;;
  tsan)
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    run_stage tsan build-tsan "Concurren|Thread|RaceSafely" "test_concurrency test_uchar test_euc test_gb18030 test_registry" -DCMAKE_BUILD_TYPE=Debug \
      -DCMAKE_CXX_COMPILER=clang++ -DVYN_SANITIZE=thread -DVYN_BUILD_JAVA=OFF \
      -DCMAKE_CXX_FLAGS=-O1
    ;;
  *)
    echo "unknown stage ${stage}" >&2
    exit 2
    ;;
  esac
done
echo "=== all stages passed: ${stages[*]}"
