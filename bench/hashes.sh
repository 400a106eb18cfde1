#!/usr/bin/env bash
# File hashes: "sha1 of file" beside sha1sum on files of 1 MB and 100 MB
# (and 1 GB with --large) of varied bytes, from the page cache. Prints the
# mean times, their ratio, survey's rate and its peak memory. Reports only;
# never fails on slowness.
#
#   bench/hashes.sh [--large] [BUILD_DIR]      (default: build/default)
#
# The data goes to a folder under $TMPDIR (or /var/tmp) and is removed at
# the end.
set -euo pipefail
sizes=(1 100)
if [ "${1:-}" = "--large" ]; then
  sizes+=(1024)
  shift
fi
build=${1:-build/default}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }

tmp=$(mktemp -d "${TMPDIR:-/var/tmp}/survey-hashes-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
# The command's client folder goes with the data.
export HOME="$tmp/home"
mkdir -p "$HOME"

# Bytes of a fixed pseudo-random sequence, so that every run hashes the same
# data and no block is all zeros.
generate() {
  local megabytes=$1 path=$2
  python3 - "$megabytes" "$path" <<'PY'
import random, sys
megabytes, path = int(sys.argv[1]), sys.argv[2]
random.seed(11)
block = bytes(random.getrandbits(8) for _ in range(1 << 20))
with open(path, "wb") as out:
    for _ in range(megabytes):
        out.write(block)
PY
}

compare() {
  local name=$1 megabytes=$2 runs=$3 ours=$4 theirs=$5
  hyperfine -N --output=pipe --warmup 1 --runs "$runs" --export-json "$tmp/r.json" "$ours" "$theirs" \
    >/dev/null 2>&1
  local peak
  peak=$(bash -c "/usr/bin/time -f %M $ours 2>&1 >/dev/null" | tail -n 1)
  python3 - "$name" "$megabytes" "$peak" "$tmp/r.json" <<'PY'
import json, sys
name, megabytes, peak, path = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"], results[1]["mean"]
rate = megabytes / 1024 / ours
print(f"| {name} | {megabytes} MB | {ours * 1000:.1f} ms | {theirs * 1000:.1f} ms "
      f"| {ours / theirs:.2f} | {rate:.2f} GB/s | {peak / 1024:.1f} MB |")
PY
}

echo "| workload | size | survey | other tool | ratio | survey rate | survey peak RSS |"
echo "|---|---|---|---|---|---|---|"
for megabytes in "${sizes[@]}"; do
  data="$tmp/data-$megabytes"
  generate "$megabytes" "$data"
  cat "$data" >/dev/null  # into the page cache
  runs=20
  [ "$megabytes" -ge 100 ] && runs=5
  [ "$megabytes" -ge 1000 ] && runs=3
  compare "sha1 of file beside sha1sum" "$megabytes" "$runs" \
    "$survey 'sha1 of file \"$data\"'" "sha1sum $data"
  rm -f "$data"
done
