#!/usr/bin/env bash
# Reading inside files: survey beside wc and grep on generated text of 1 MB
# and 100 MB (and 1 GB with --large), from the page cache. Prints the mean
# times, their ratio, and survey's peak memory. Reports only; never fails on
# slowness. Output goes through a pipe, since grep stops at its first match
# when it writes to /dev/null.
#
#   bench/files.sh [--large] [BUILD_DIR]      (default: build/default)
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

tmp=$(mktemp -d "${TMPDIR:-/var/tmp}/survey-files-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
# The command's client folder goes with the data.
export HOME="$tmp/home"
mkdir -p "$HOME"

# Lines of 0 to 14 words, about 36 bytes on average, some holding an "x";
# the file ends with a marker that appears nowhere else.
generate() {
  local megabytes=$1 path=$2
  python3 - "$megabytes" "$path" <<'PY'
import random, sys
megabytes, path = int(sys.argv[1]), sys.argv[2]
random.seed(7)
words = ("alpha beta gamma delta epsilon zeta eta theta iota kappa lambda mu nu "
         "omicron pi rho sigma tau upsilon phi chi psi omega box").split()
seed = "".join(" ".join(random.choice(words) for _ in range(random.randint(0, 14))) + "\n"
               for _ in range(20000)).encode()
marker = b"end-of-data-marker\n"
left = megabytes * 1024 * 1024 - len(marker)
with open(path, "wb") as out:
    while left > 0:
        piece = seed[:left]
        out.write(piece)
        left -= len(piece)
    out.write(marker)
PY
}

# Runs one pair and prints: workload, survey mean, other mean, ratio, the
# throughput of survey, and survey's peak resident memory.
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
  compare "number of lines beside wc -l" "$megabytes" "$runs" \
    "$survey 'number of lines of file \"$data\"'" "wc -l $data"
  compare "number of lines containing \"x\" beside grep -c -F x" "$megabytes" "$runs" \
    "$survey 'number of lines containing \"x\" of file \"$data\"'" "grep -c -F x $data"
  compare "content contains the last line beside grep -q -F" "$megabytes" "$runs" \
    "$survey 'exists file \"$data\" whose (content of it contains \"end-of-data-marker\")'" \
    "grep -q -F end-of-data-marker $data"
  rm -f "$data"
done
