#!/usr/bin/env bash
# Regular expressions over the lines of a file, beside grep -E: the lines
# that hold a match ("number of lines whose (it contains regex ...)" beside
# grep -E -c) and all the matches ("number of matches (regex ...) of lines"
# beside grep -E -o | wc -l), on generated text of 1 MB and 100 MB, from the
# page cache. Prints the mean times and their ratio. Reports only; never
# fails on slowness.
#
#   bench/regex.sh [BUILD_DIR]      (default: build/default)
set -euo pipefail
build=${1:-build/default}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }

tmp=$(mktemp -d "${TMPDIR:-/var/tmp}/survey-regex-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
export HOME="$tmp/home"
mkdir -p "$HOME"

pattern='warn(ing)?[0-9]+'

# Lines of words of a fixed pseudo-random sequence, one in twenty with a
# match, each line shorter than the command's line buffer.
generate() {
  local megabytes=$1 path=$2
  python3 - "$megabytes" "$path" <<'PY'
import random, sys
megabytes, path = int(sys.argv[1]), sys.argv[2]
random.seed(7)
words = ["alpha", "beta", "gamma", "delta", "service", "started", "stopped", "level", "disk"]
lines = []
for i in range(20000):
    line = " ".join(random.choice(words) for _ in range(random.randint(3, 14)))
    if i % 20 == 0:
        line += " warning%d" % random.randint(0, 999)
    lines.append(line)
block = ("\n".join(lines) + "\n").encode()
with open(path, "wb") as out:
    written = 0
    while written < megabytes << 20:
        out.write(block)
        written += len(block)
PY
}

compare() {
  local name=$1 megabytes=$2 runs=$3 ours=$4 theirs=$5
  hyperfine -N --output=pipe --warmup 1 --runs "$runs" --export-json "$tmp/r.json" "$ours" "$theirs" \
    >/dev/null 2>&1 || hyperfine --output=pipe --warmup 1 --runs "$runs" --export-json "$tmp/r.json" \
    "$ours" "$theirs" >/dev/null 2>&1
  python3 - "$name" "$megabytes" "$tmp/r.json" <<'PY'
import json, sys
name, megabytes, path = sys.argv[1], int(sys.argv[2]), sys.argv[3]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"], results[1]["mean"]
print(f"| {name} | {megabytes} MB | {ours * 1000:.1f} ms | {theirs * 1000:.1f} ms | {ours / theirs:.2f} |")
PY
}

echo "| workload | size | survey | other tool | ratio |"
echo "|---|---|---|---|---|"
for megabytes in 1 100; do
  data="$tmp/data-$megabytes"
  generate "$megabytes" "$data"
  cat "$data" >/dev/null
  runs=10
  [ "$megabytes" -ge 100 ] && runs=3
  # The two sides must agree before they are timed.
  ours=$("$survey" "number of lines whose (it contains regex \"$pattern\") of file \"$data\"" | tail -n 1 | tr -d ' ')
  theirs=$(grep -E -c "$pattern" "$data")
  [ "$ours" = "$theirs" ] || echo "warning: lines with a match: survey $ours, grep $theirs" >&2
  compare "lines with a match beside grep -E -c" "$megabytes" "$runs" \
    "$survey 'number of lines whose (it contains regex \"$pattern\") of file \"$data\"'" \
    "grep -E -c '$pattern' $data"
  compare "matches of lines beside grep -E -o | wc -l" "$megabytes" "$runs" \
    "$survey 'number of matches (regex \"$pattern\") of lines of file \"$data\"'" \
    "bash -c \"grep -E -o '$pattern' $data | wc -l\""
  rm -f "$data"
done
