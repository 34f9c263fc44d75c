#!/usr/bin/env bash
# Runs every fuzz target for SECONDS each (default 60) over its seeds, and over the vendor
# corpus when it lies beside the project. Any crash, leak, timeout or out-of-memory fails the
# run; the input that caused it is left in build-fuzz/findings. SEED (default 1) makes a run
# repeatable, as CI wants; 0 lets the fuzzer pick one, for long runs that explore.
set -euo pipefail
seconds="${1:-60}"
seed="${2:-1}"
root="$(cd "$(dirname "$0")/.." && pwd)"
bin="$root/build-fuzz/bin"
grown="$root/build-fuzz/corpus"  # what the fuzzer adds; the seeds in fuzz/corpus stay as they are
findings="$root/build-fuzz/findings"
mkdir -p "$findings"

fuzz() {
  local target="$1" seeds="$2" status=0
  shift 2
  mkdir -p "$grown/$target"
  local log="$grown/$target.log"
  echo "== $target: ${seconds}s"
  "$bin/$target" -max_total_time="$seconds" -seed="$seed" -dict="$root/fuzz/ibis.dict" \
    -max_len=65536 \
    -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$findings/$target-" "$grown/$target" "$root/fuzz/corpus/$seeds" "$@" \
    >"$log" 2>&1 || status=$?
  # The summary lines only; the whole log stays beside the grown corpus.
  grep -E '^(#[0-9]+ +DONE|==[0-9]+==|SUMMARY|stat::number_of_executed_units|Test unit written)' \
    "$log" || true
  return "$status"
}

vendor=()
[ -d "$root/../shared/corpus" ] && vendor=("$root/../shared/corpus")

status=0
fuzz fuzz_read_ibs ibs "${vendor[@]}" || status=1
fuzz fuzz_read_pkg pkg || status=1
fuzz fuzz_read_ebd ebd || status=1
fuzz fuzz_compiled cbs || status=1
fuzz fuzz_listdb ibx || status=1
if [ "$status" != 0 ]; then
  echo "fuzzing found a problem; inputs in $findings:" >&2
  ls "$findings" >&2
fi
exit "$status"
