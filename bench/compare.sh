#!/usr/bin/env bash
# Whole-process comparisons in one place: each survey query beside the tool a
# user would otherwise reach for, on generated data of two sizes (three for
# file hashes), from the page cache. The two commands of a row run in turn,
# one after the other, for every run, so that both see the same load; the
# table gives the median of each and the ratio survey / other tool. Where
# both print a count, the counts are compared before anything is timed, and
# a row whose counts differ says so. Reports only; never fails on slowness.
#
#   bench/compare.sh [--only GROUP] [--quick] [BUILD_DIR]    (default: build/default)
#
# GROUP is one of: host, lines, regex, hashes, walks, processes. --quick
# takes the smaller sizes only (1 MB, 1 000 files) and fewer runs. The data
# goes to a folder under $TMPDIR (or /var/tmp) and is removed at the end.
set -euo pipefail
only=
quick=0
while [ $# -gt 0 ]; do
  case $1 in
    --only) only=$2; shift 2 ;;
    --quick) quick=1; shift ;;
    *) break ;;
  esac
done
build=${1:-build/default}
survey="$(cd "$(dirname "$build/bin/survey")" && pwd)/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }

tmp=$(mktemp -d "${TMPDIR:-/var/tmp}/survey-compare.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
# The command's client folder goes with the data.
export HOME="$tmp/home"
mkdir -p "$HOME"

wanted() { [ -z "$only" ] || [ "$only" = "$1" ]; }

# Runs OURS and THEIRS (each a command line for bash) RUNS times in turn,
# after one run of each to warm up, and prints the row: workload, size,
# medians, ratio. Output goes through a pipe, as it would to a user's
# pager: grep stops at its first match when it writes to /dev/null.
#
# A sixth argument names why the counts may differ by design; it is shown
# when they do.
compare() {
  local name=$1 size=$2 runs=$3 ours=$4 theirs=$5 why=${6:-}
  python3 - "$name" "$size" "$runs" "$ours" "$theirs" "$why" <<'PY'
import re, statistics, subprocess, sys, time
name, size, runs, ours, theirs, why = sys.argv[1:7]
runs = int(runs)

def run(command):
    start = time.perf_counter()
    done = subprocess.run(["bash", "-c", "exec " + command], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL)
    return time.perf_counter() - start, done.stdout

def count(output):
    lines = output.decode(errors="replace").split()
    return lines[-1] if lines and re.fullmatch(r"\d+", lines[-1]) else None

_, mine = run(ours)
_, other = run(theirs)
note = ""
if count(mine) is not None and count(other) is not None and count(mine) != count(other):
    note = f" (counts differ: survey {count(mine)}, other {count(other)}{why})"
a, b = [], []
for _ in range(runs):
    a.append(run(ours)[0])
    b.append(run(theirs)[0])
ma, mb = statistics.median(a), statistics.median(b)
print(f"| {name}{note} | {size} | {ma * 1000:.1f} ms | {mb * 1000:.1f} ms | {ma / mb:.2f} |",
      flush=True)
PY
}

# Lines of words of a fixed pseudo-random sequence, each shorter than the
# command's line buffer; one line in twenty holds "warning" and a number, and
# the file ends with a marker that appears nowhere else.
text() {
  local megabytes=$1 path=$2
  python3 - "$megabytes" "$path" <<'PY'
import random, sys
megabytes, path = int(sys.argv[1]), sys.argv[2]
random.seed(7)
words = ["alpha", "beta", "gamma", "delta", "service", "started", "stopped", "level", "disk"]
lines = []
for i in range(20000):
    line = " ".join(random.choice(words) for _ in range(random.randint(0, 14)))
    if i % 20 == 0:
        line += " warning%d" % random.randint(0, 999)
    lines.append(line)
seed = ("\n".join(lines) + "\n").encode()
marker = b"end-of-data-marker\n"
left = megabytes * 1024 * 1024 - len(marker)
with open(path, "wb") as out:
    while left > 0:
        piece = seed[:left]
        out.write(piece)
        left -= len(piece)
    out.write(marker)
PY
  cat "$path" >/dev/null
}

# Bytes of a fixed pseudo-random sequence: no block is all zeros.
bytes() {
  local megabytes=$1 path=$2
  python3 - "$megabytes" "$path" <<'PY'
import random, sys
megabytes, path = int(sys.argv[1]), sys.argv[2]
random.seed(11)
block = random.randbytes(1 << 20)
with open(path, "wb") as out:
    for _ in range(megabytes):
        out.write(block)
PY
  cat "$path" >/dev/null
}

# A tree of COUNT empty files, 100 to a folder, folders three levels deep;
# each leaf folder also holds a link to its grandparent, which a walk that
# follows links must not enter again.
tree() {
  local root=$1 count=$2
  python3 - "$root" "$count" <<'PY'
import os, sys
root, count = sys.argv[1], int(sys.argv[2])
made = leaf = 0
while made < count:
    digits = f"{leaf:06d}"
    folder = os.path.join(root, "d" + digits[0:2], "d" + digits[2:4], "d" + digits[4:6])
    os.makedirs(folder, exist_ok=True)
    for i in range(min(100, count - made)):
        os.close(os.open(os.path.join(folder, f"file{i:03d}.txt"), os.O_CREAT | os.O_WRONLY, 0o644))
    os.symlink("../..", os.path.join(folder, "up"))
    made += 100
    leaf += 1
PY
}

text_sizes=(1 100)
hash_sizes=(1 100 1024)
tree_sizes=(1000 100000)
if [ "$quick" = 1 ]; then
  text_sizes=(1)
  hash_sizes=(1)
  tree_sizes=(1000)
fi
# Fewer runs for the larger data.
runs_for() { if [ "$1" -ge 1000 ]; then echo 3; elif [ "$1" -ge 100 ]; then echo 5; else echo 20; fi; }

echo "| workload | size | survey | other tool | ratio |"
echo "|---|---|---|---|---|"

if wanted host; then
  compare "name of operating system beside uname -s" "-" 30 "$survey 'name of operating system'" "uname -s"
  compare "a host-only query (1 + 1) beside uname -s" "-" 30 "$survey '1 + 1'" "uname -s"
  compare "number of variables of environment beside printenv" "-" 30 \
    "$survey 'number of variables of environment'" "printenv"
  compare "value of variable HOME beside printenv HOME" "-" 30 \
    "$survey 'value of variable \"HOME\" of environment'" "printenv HOME"
fi

if wanted lines || wanted regex; then
  pattern='warn(ing)?[0-9]+'
  for megabytes in "${text_sizes[@]}"; do
    data="$tmp/text-$megabytes"
    text "$megabytes" "$data"
    runs=$(runs_for "$megabytes")
    if wanted lines; then
      compare "number of lines of file beside wc -l" "$megabytes MB" "$runs" \
        "$survey 'number of lines of file \"$data\"'" "wc -l < $data" \
        "; a line ending that is the last byte of a full 2048-byte buffer is dropped"
      compare "number of lines containing \"warning\" beside grep -c -F warning" "$megabytes MB" \
        "$runs" "$survey 'number of lines containing \"warning\" of file \"$data\"'" \
        "grep -c -F warning $data"
      compare "content contains the last line beside grep -q -F" "$megabytes MB" "$runs" \
        "$survey 'exists file \"$data\" whose (content of it contains \"end-of-data-marker\")'" \
        "grep -q -F end-of-data-marker $data"
    fi
    if wanted regex; then
      compare "lines whose (it contains regex) beside grep -E -c" "$megabytes MB" "$runs" \
        "$survey 'number of lines whose (it contains regex \"$pattern\") of file \"$data\"'" \
        "grep -E -c '$pattern' $data"
      compare "matches (regex) of lines beside grep -E -o piped to wc -l" "$megabytes MB" "$runs" \
        "$survey 'number of matches (regex \"$pattern\") of lines of file \"$data\"'" \
        "grep -E -o '$pattern' $data | wc -l"
      # No line of the text holds two matches, so that the count of
      # matches is the count of lines that grep gives.
      compare "matches (regular expression) of lines beside grep -E -c" "$megabytes MB" "$runs" \
        "$survey 'number of matches (regular expression \"$pattern\") of lines of file \"$data\"'" \
        "grep -E -c '$pattern' $data"
    fi
    rm -f "$data"
  done
fi

if wanted hashes; then
  for megabytes in "${hash_sizes[@]}"; do
    data="$tmp/bytes-$megabytes"
    bytes "$megabytes" "$data"
    compare "sha1 of file beside sha1sum" "$megabytes MB" "$(runs_for "$megabytes")" \
      "$survey 'sha1 of file \"$data\"'" "sha1sum $data"
    rm -f "$data"
  done
fi

if wanted walks; then
  for count in "${tree_sizes[@]}"; do
    root="$tmp/tree-$count"
    tree "$root" "$count"
    runs=20
    [ "$count" -ge 100000 ] && runs=5
    compare "number of descendants of folder beside find -L -type f piped to wc -l" "$count files" \
      "$runs" "$survey 'number of descendants of folder \"$root\"'" "find -L $root -type f | wc -l"
    rm -rf "$root"
  done
fi

if wanted processes; then
  compare "number of processes beside ps -e" "this machine" 30 "$survey 'number of processes'" \
    "ps -e"
fi
