#!/usr/bin/env bash
# Fuzzes every target (or the ones named) for SECONDS each, starting from its
# committed seed corpus, then merges the inputs that reach new code into
# fuzz/corpus/<target>/ (libFuzzer -merge=1 -use_counters=0 keeps only inputs
# that reach edges no corpus input reaches). A target with locales (fuzz/CMakeLists.txt) shares its SECONDS
# among them, each run under its own LANG.
#
# Usage: tools/fuzz.sh [--no-merge] SECONDS [TARGET...]
#        tools/fuzz.sh --minimise [TARGET...]
#   --no-merge  leave fuzz/corpus/ as it is (what CI does)
#   --minimise  no fuzzing: rebuild each corpus as the smallest set of its
#               inputs that reaches the same edges (under every locale)
# Builds the `fuzz` preset (clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer) in build-fuzz/. A finding is written to
# build-fuzz/fuzz-findings/<target>/ and makes the script fail; reproduce it
# with build-fuzz/fuzz/<target> <file>, or with any build's
# build/fuzz/<target> <file>.
set -euo pipefail
cd "$(dirname "$0")/.."

merge=1
minimise=0
seconds=0
if [ "${1:-}" = --no-merge ]; then
  merge=0
  shift
elif [ "${1:-}" = --minimise ]; then
  minimise=1
  shift
fi
if [ "${minimise}" = 0 ]; then
  if [ $# -lt 1 ] || ! [[ $1 =~ ^[0-9]+$ ]] || [ "$1" -lt 1 ]; then
    echo "usage: tools/fuzz.sh [--no-merge] SECONDS [TARGET...] | --minimise [TARGET...]" >&2
    exit 2
  fi
  seconds=$1
  shift
fi
jobs=${JOBS:-2}
build=build-fuzz
launcher=()
if command -v ccache >/dev/null 2>&1; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
fi

cmake --preset fuzz "${launcher[@]}" >/dev/null
cmake --build --preset fuzz -j"${jobs}"

# One line per target: name, then its locales (none: LANG unset).
declare -A locales
order=()
while read -r name langs; do
  [ -n "${name}" ] || continue
  order+=("${name}")
  locales[${name}]=${langs}
done <"${build}/fuzz/targets.txt"
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${order[@]}")

export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

# run_env LANG-or-- COMMAND...: the command under that locale only.
run_env() {
  local lang=$1
  shift
  if [ "${lang}" = - ]; then
    env -u LC_ALL -u LC_CTYPE -u LANG "$@"
  else
    env -u LC_ALL -u LC_CTYPE LANG="${lang}" "$@"
  fi
}

if [ "${minimise}" = 1 ]; then
  for t in "${targets[@]}"; do
    [ -n "${locales[${t}]+x}" ] || { echo "unknown fuzz target ${t}" >&2; exit 2; }
    corpus=fuzz/corpus/${t}
    fresh=${build}/fuzz-minimise/${t}
    rm -rf "${fresh}"
    mkdir -p "${fresh}"
    read -r -a langs <<<"${locales[${t}]}"
    [ ${#langs[@]} -gt 0 ] || langs=(-)
    for lang in "${langs[@]}"; do
      run_env "${lang}" "${build}/fuzz/${t}" -merge=1 -use_counters=0 "${fresh}" "${corpus}" \
        >"${fresh}.log" 2>&1
    done
    before=$(find "${corpus}" -type f | wc -l)
    find "${corpus}" -type f -delete
    cp "${fresh}"/* "${corpus}"/
    echo "${t}: ${before} -> $(find "${corpus}" -type f | wc -l) inputs"
  done
  exit 0
fi
findings=${build}/fuzz-findings
work=${build}/fuzz-work
rm -rf "${work}"
mkdir -p "${findings}" "${work}"
summary=()
failed=0

for t in "${targets[@]}"; do
  [ -n "${locales[${t}]+x}" ] || { echo "unknown fuzz target ${t}" >&2; exit 2; }
  bin=${build}/fuzz/${t}
  corpus=fuzz/corpus/${t}
  mkdir -p "${corpus}" "${findings}/${t}"
  read -r -a langs <<<"${locales[${t}]}"
  [ ${#langs[@]} -gt 0 ] || langs=(-)
  share=$((seconds / ${#langs[@]}))
  [ "${share}" -ge 1 ] || share=1
  dict=()
  [ -f "fuzz/${t}.dict" ] && dict=(-dict="fuzz/${t}.dict")
  for lang in "${langs[@]}"; do
    new=${work}/${t}-${lang}
    log=${work}/${t}-${lang}.log
    mkdir -p "${new}"
    echo "=== ${t} LANG=${lang}: ${share} s"
    # New inputs go to ${new}; the committed corpus is only read.
    set +e
    TIMEFORMAT='%U %S'
    { time run_env "${lang}" "${bin}" -max_total_time="${share}" -timeout=10 -rss_limit_mb=2048 \
      -print_final_stats=1 "${dict[@]}" -artifact_prefix="${findings}/${t}/" \
      "${new}" "${corpus}" >"${log}" 2>&1; } 2>"${log}.time"
    rc=$?
    set -e
    cpu=$(awk '{printf "%.1f", $1 + $2}' "${log}.time" 2>/dev/null || echo "?")
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "${log}" | tail -1)
    added=$(sed -n 's/^stat::new_units_added: *//p' "${log}" | tail -1)
    result=ok
    if [ "${rc}" -ne 0 ]; then
      result="FINDING (exit ${rc})"
      failed=1
      grep -E "^==[0-9]+==ERROR|runtime error|SUMMARY|Test unit written" "${log}" | head -5 || true
    fi
    merged=0
    if [ "${merge}" = 1 ] && [ "${rc}" -eq 0 ] && [ -n "$(ls -A "${new}")" ]; then
      before=$(find "${corpus}" -type f | wc -l)
      # Edges only (no hit counts): an input joins the corpus when it reaches
      # code that no input there reaches, which keeps the corpus small.
      run_env "${lang}" "${bin}" -merge=1 -use_counters=0 "${corpus}" "${new}" >"${log}.merge" 2>&1
      merged=$(($(find "${corpus}" -type f | wc -l) - before))
    fi
    summary+=("$(printf '%-18s %-16s %8s %12s %6s %6s  %s' "${t}" "${lang}" "${cpu}" \
      "${execs:-?}" "${added:-?}" "${merged}" "${result}")")
  done
done

echo
printf '%-18s %-16s %8s %12s %6s %6s  %s\n' target LANG cpu_s inputs new merged result
printf '%s\n' "${summary[@]}"
if [ "${failed}" -ne 0 ]; then
  echo "findings in ${findings}/" >&2
  exit 1
fi
