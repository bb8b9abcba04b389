#!/usr/bin/env bash
# scripts/fuzz.sh run [TARGET…]      runs each target for FUZZ_SECONDS (60) and tells how far it got
# scripts/fuzz.sh minimise [TARGET…] makes fuzz/corpora of all inputs found so far
set -euo pipefail
cd "$(dirname "$0")/.."

action=${1:?run or minimise}
shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(decode json bvbs document http model sql)
folder=build/fuzz
# Short stacks of allocations and a small quarantine: several times the executions.
export ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=5
# The projects of the model's target.
[ ! -d /dev/shm ] || export TMPDIR=/dev/shm

$folder/fuzz/make_seeds $folder/seeds
mkdir -p $folder/findings

run() {
  local target=$1 flags=() log=$folder/$1.log failed=0
  for dictionary in fuzz/$target.dict $folder/seeds/$target.dict; do
    [ ! -e "$dictionary" ] || flags+=("-dict=$dictionary")
  done
  # Thousands of short inputs are weighed slower than they are run.
  [ "$target" != decode ] || flags+=(-entropic=0)
  [ "$target" != model ] || flags+=(-max_len=512)
  mkdir -p $folder/corpora/"$target" fuzz/corpora/"$target"
  $folder/fuzz/"${target}"_fuzzer -max_total_time="${FUZZ_SECONDS:-60}" -timeout=10 -print_funcs=0 \
    -print_final_stats=1 -artifact_prefix=$folder/findings/"$target"- "${flags[@]}" \
    $folder/corpora/"$target" fuzz/corpora/"$target" $folder/seeds/"$target" >"$log" 2>&1 || failed=1
  if [ $failed -ne 0 ]; then
    echo "$target: a finding; see $log"
    grep -E '^broken promise|SUMMARY|Test unit written' "$log" || true
    return 1
  fi
  local executions coverage
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  coverage=$(sed -n 's/.*DONE *cov: \([0-9]*\) ft: \([0-9]*\).*/\1 branches, \2 features/p' "$log")
  echo "$target: $executions executions, $coverage"
}

minimise() {
  local target=$1 fresh=$folder/minimised/$1
  rm -rf "$fresh"
  mkdir -p "$fresh" $folder/corpora/"$target" fuzz/corpora/"$target"
  $folder/fuzz/"${target}"_fuzzer -set_cover_merge=1 -use_counters=0 "$fresh" \
    fuzz/corpora/"$target" $folder/corpora/"$target" $folder/seeds/"$target" 2>/dev/null
  # The largest take most branches each. Tests replay them all, so they are to stay few.
  find "$fresh" -type f -printf '%s %p\n' | sort -rn | tail -n +301 | cut -d ' ' -f 2 | xargs -r rm
  rm -rf fuzz/corpora/"$target"
  mv "$fresh" fuzz/corpora/"$target"
  echo "$target: $(find fuzz/corpora/"$target" -type f | wc -l) inputs," \
    "$(find fuzz/corpora/"$target" -type f -printf '%s\n' | awk '{sum += $1} END {print sum}') bytes"
}

result=0
for target in "${targets[@]}"; do
  "$action" "$target" || result=1
done
exit $result
