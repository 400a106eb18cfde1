#!/usr/bin/env bash
# The walk of a folder tree: survey counting the files below a folder beside
# find listing them, on generated trees of 1 000 and 100 000 files (and of
# 1 000 000 with --large), timed with hyperfine. Prints a table of the mean
# times and their ratio, after checking that both count the same. Reports
# only; never fails on slowness. The trees are made under /var/tmp and
# removed afterwards.
#
# `find -type f` tells files by the type that the directory entry carries
# and looks at no file itself; every file that survey gives out holds the
# record of a stat. The second comparison makes find look at each file as
# well (it prints each size), for the cost of the walk with the looks.
#
#   bench/descendants.sh [--large] [BUILD_DIR]        (default: build/default)
set -euo pipefail
large=0
if [ "${1:-}" = "--large" ]; then
  large=1
  shift
fi
build=${1:-build/default}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }

work=$(mktemp -d /var/tmp/survey-descendants-XXXXXX)
trap 'rm -rf "$work"' EXIT
export HOME="$work/home"
mkdir -p "$HOME"

# Makes a tree of COUNT empty files: 100 files to a folder, 100 folders to a
# folder above them, and so on, with a few sub-folders that hold nothing but
# folders, as real trees have.
make_tree() {
  local root=$1 count=$2
  python3 - "$root" "$count" <<'PY'
import os, sys
root, count = sys.argv[1], int(sys.argv[2])
per_folder = 100
made = 0
leaf = 0
while made < count:
    # The path of leaf folder number `leaf`: its digits, two at a time.
    digits = f"{leaf:06d}"
    folder = os.path.join(root, "d" + digits[0:2], "d" + digits[2:4], "d" + digits[4:6])
    os.makedirs(folder, exist_ok=True)
    for i in range(min(per_folder, count - made)):
        os.close(os.open(os.path.join(folder, f"file{i:03d}.txt"), os.O_CREAT | os.O_WRONLY, 0o644))
    made += per_folder
    leaf += 1
PY
}

# Runs one size and prints its row: size, the means of survey, find and find
# looking at every file, and survey's ratio to each.
compare() {
  local count=$1 runs=$2
  local root="$work/tree-$count"
  make_tree "$root" "$count"
  local ours theirs
  ours=$("$survey" "number of descendants of folder \"$root\"")
  theirs=$(find "$root" -type f | wc -l)
  if [ "$ours" != "$theirs" ]; then
    echo "counts differ for $count files: survey $ours, find $theirs" >&2
    exit 1
  fi
  hyperfine -N --warmup 1 --runs "$runs" --export-json "$work/r.json" \
    "$survey 'number of descendants of folder \"$root\"'" \
    "find $root -type f" \
    "find $root -type f -printf %s" >/dev/null 2>&1
  python3 - "$count" "$work/r.json" <<'PY'
import json, sys
count, path = int(sys.argv[1]), sys.argv[2]
results = json.load(open(path))["results"]
ours, plain, looking = (r["mean"] * 1000 for r in results)
print(f"| {count:,} | {ours:.1f} ms | {plain:.1f} ms | {ours / plain:.2f} "
      f"| {looking:.1f} ms | {ours / looking:.2f} |")
PY
  rm -rf "$root"
}

echo "| files | survey: number of descendants | find -type f | ratio | find -type f -printf %s | ratio |"
echo "|---|---|---|---|---|---|"
compare 1000 30
compare 100000 5
if [ "$large" = 1 ]; then
  compare 1000000 3
fi
