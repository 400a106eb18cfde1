#!/usr/bin/env bash
# Whole-process comparisons: survey beside the tool a user would otherwise
# reach for, timed side by side with hyperfine, printed as a table with the
# ratio of the two means. Reports only; never fails on slowness.
#
#   bench/compare.sh [BUILD_DIR]        (default: build/default)
set -euo pipefail
build=${1:-build/default}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# Runs one pair and prints: name, survey mean, other mean, ratio.
compare() {
  local name=$1 ours=$2 theirs=$3
  hyperfine -N --warmup 5 --runs 100 --export-json "$tmp/r.json" "$ours" "$theirs" >/dev/null 2>&1
  python3 - "$name" "$tmp/r.json" <<'PY'
import json, sys
name, path = sys.argv[1], sys.argv[2]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"] * 1000, results[1]["mean"] * 1000
print(f"| {name} | {ours:.2f} ms | {theirs:.2f} ms | {ours / theirs:.2f} |")
PY
}

echo "| workload | survey | other tool | ratio |"
echo "|---|---|---|---|"
compare "name of operating system beside uname -s" "$survey 'name of operating system'" "uname -s"
compare "a host-only query beside uname -s" "$survey '1 + 1'" "uname -s"
compare "number of variables beside printenv" \
  "$survey 'number of variables of environment'" "printenv"
compare "value of HOME beside printenv HOME" \
  "$survey 'value of variable \"HOME\" of environment'" "printenv HOME"
