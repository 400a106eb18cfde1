#!/usr/bin/env bash
# The process walk beside ps: survey's names and number of processes against
# `ps -e -o comm`, timed with hyperfine, first on the machine's own process
# table and then with extra sleeping processes that this script starts in a
# session of their own and ends, by their ids, however it exits. Prints a
# table of the mean times and the ratio survey/ps. Reports only.
#
#   bench/processes.sh [BUILD_DIR] [EXTRA]     (defaults: build/default 2000)
set -euo pipefail
build=${1:-build/default}
extra=${2:-2000}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }

tmp=$(mktemp -d)
leader=
starter=

# Ends the sleeping processes: the whole session by its leader's id, then
# each recorded id that is somehow still there.
stop_sleepers() {
  if [ -z "$leader" ] && [ -s "$tmp/leader" ]; then leader=$(cat "$tmp/leader"); fi
  if [ -n "$leader" ]; then
    kill -TERM -- "-$leader" 2>/dev/null || true
    leader=
  fi
  if [ -s "$tmp/sleepers" ]; then
    # Until every recorded id is gone; what still stands after five seconds
    # is killed outright.
    local tries left
    for ((tries = 0; tries < 50; tries++)); do
      left=0
      while read -r pid; do
        if kill -0 "$pid" 2>/dev/null; then left=1; break; fi
      done <"$tmp/sleepers"
      [ "$left" = 0 ] && break
      sleep 0.1
    done
    while read -r pid; do kill -KILL "$pid" 2>/dev/null || true; done <"$tmp/sleepers"
    : >"$tmp/sleepers"
  fi
  if [ -n "$starter" ]; then
    wait "$starter" 2>/dev/null || true
    starter=
  fi
}
trap 'stop_sleepers; rm -rf "$tmp"' EXIT
trap 'exit 130' INT TERM

# Runs one pair and prints: workload, table, survey mean, ps mean, ratio.
compare() {
  local name=$1 table=$2 ours=$3 theirs=$4
  hyperfine -N --warmup 3 --runs "${RUNS:-30}" --export-json "$tmp/r.json" "$ours" "$theirs" \
    >/dev/null 2>&1
  python3 - "$name" "$table" "$tmp/r.json" <<'PY'
import json, sys
name, table, path = sys.argv[1], sys.argv[2], sys.argv[3]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"] * 1000, results[1]["mean"] * 1000
print(f"| {name} | {table} | {ours:.2f} ms | {theirs:.2f} ms | {ours / theirs:.2f} |")
PY
}

count_processes() { ps -e -o pid= | wc -l | tr -d ' '; }

run_all() {
  local table="$(count_processes) processes"
  compare "names of processes / ps -e -o comm" "$table" \
    "$survey 'names of processes'" "ps -e -o comm"
  compare "number of processes / ps -e -o comm" "$table" \
    "$survey 'number of processes'" "ps -e -o comm"
}

echo "| workload | table | survey | ps | ratio |"
echo "|---|---|---|---|---|"
run_all

# The extra processes: a shell in a session of its own starts them and
# records their ids; the session's id is the shell's.
setsid -w bash -c '
  echo $$ >"$0/leader"
  for ((i = 0; i < '"$extra"'; i++)); do sleep 100000 & echo $! >>"$0/sleepers"; done
  echo ready >"$0/ready"
  wait' "$tmp" </dev/null >/dev/null 2>&1 &
starter=$!
for ((i = 0; i < 600; i++)); do
  [ -e "$tmp/ready" ] && break
  sleep 0.1
done
leader=$(cat "$tmp/leader")
[ -e "$tmp/ready" ] || { echo "the sleeping processes did not start" >&2; exit 1; }
run_all
stop_sleepers
