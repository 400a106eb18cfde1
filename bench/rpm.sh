#!/usr/bin/env bash
# Package databases beside rpm itself: the names of all packages ("names of
# packages of rpm ROOT" beside rpm --root ROOT -qa --qf '%{NAME}\n') and the
# installed test ("installed NAME of rpm ROOT" beside rpm --root ROOT -q
# NAME), on databases of 200 and 2000 packages built here by rpmbuild and
# installed as records only. Prints the mean times and their ratio. Reports
# only; never fails on slowness.
#
#   bench/rpm.sh [BUILD_DIR]      (default: build/default)
set -euo pipefail
build=${1:-build/default}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }
command -v rpmbuild >/dev/null || { echo "rpmbuild is missing (scripts/install-deps.sh)" >&2; exit 1; }
survey=$(cd "$(dirname "$survey")" && pwd)/$(basename "$survey")

tmp=$(mktemp -d "${TMPDIR:-/var/tmp}/survey-rpm-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
# The database's place under a root may follow the home folder; both sides
# run with this one.
export HOME="$tmp/home"
mkdir -p "$HOME"

# A root with COUNT packages pkg0000...: one build recipe whose sub-packages
# each have a version, a release, a provide, a require and a file.
make_root() {
  local count=$1 root=$2 top="$tmp/top-$1" recipe="$tmp/bench-$1.recipe"
  python3 - "$count" "$recipe" <<'PY'
import sys
count, path = int(sys.argv[1]), sys.argv[2]
out = ["%define debug_package %{nil}"]
for i in range(count):
    name = "pkg%04d" % i
    if i == 0:
        out += ["Name: " + name, "License: none", "BuildArch: noarch"]
    else:
        out += ["%package -n " + name]
    out += ["Version: %d.%d~rc%d" % (i % 9, i % 13, i % 3), "Release: %d" % (1 + i % 5),
            "Summary: bench", "Provides: feature-%d = 1.%d" % (i % 50, i),
            "Requires: feature-%d >= 1" % ((i + 1) % 50)]
    out += ["%description" if i == 0 else "%description -n " + name, "bench"]
out += ["%install"]
for i in range(count):
    out += ["mkdir -p %%{buildroot}/opt/pkg%04d && echo x > %%{buildroot}/opt/pkg%04d/data" % (i, i)]
for i in range(count):
    out += ["%files" if i == 0 else "%%files -n pkg%04d" % i, "/opt/pkg%04d/data" % i]
open(path, "w").write("\n".join(out) + "\n")
PY
  rpmbuild -bb --quiet --define "_topdir $top" --define "_build_id_links none" \
    --define "_binary_payload w0.gzdio" "$recipe" >/dev/null 2>&1
  mkdir -p "$root"
  rpm --root "$root" --initdb
  find "$top/RPMS" -name '*.rpm' -print0 |
    xargs -0 rpm --root "$root" -i --nodeps --justdb --noscripts --ignorearch --ignoreos 2>/dev/null
}

compare() {
  local name=$1 count=$2 ours=$3 theirs=$4
  hyperfine -N --output=pipe --warmup 2 --runs 20 --export-json "$tmp/r.json" "$ours" "$theirs" \
    >/dev/null 2>&1 || hyperfine --output=pipe --warmup 2 --runs 20 --export-json "$tmp/r.json" \
    "$ours" "$theirs" >/dev/null 2>&1
  python3 - "$name" "$count" "$tmp/r.json" <<'PY'
import json, sys
name, count, path = sys.argv[1], int(sys.argv[2]), sys.argv[3]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"], results[1]["mean"]
print(f"| {name} | {count} packages | {ours * 1000:.1f} ms | {theirs * 1000:.1f} ms | {ours / theirs:.2f} |")
PY
}

echo "| workload | database | survey | rpm | ratio |"
echo "|---|---|---|---|---|"
for count in 200 2000; do
  root="$tmp/root-$count"
  make_root "$count" "$root"
  wanted=$(printf 'pkg%04d' $((count / 2)))
  # The two sides must agree before they are timed.
  ours=$("$survey" "names of packages of rpm \"$root\"" | sort)
  theirs=$(rpm --root "$root" -qa --qf '%{NAME}\n' | sort)
  [ "$ours" = "$theirs" ] || echo "warning: the names of packages differ from rpm -qa" >&2
  [ "$(echo "$ours" | wc -l)" -eq "$count" ] || echo "warning: not $count packages" >&2
  installed=$("$survey" "installed \"$wanted\" of rpm \"$root\"" | tail -n 1 | tr -d ' ')
  [ "$installed" = True ] && rpm --root "$root" -q "$wanted" >/dev/null ||
    echo "warning: $wanted is not installed on both sides" >&2
  compare "names of all packages beside rpm -qa" "$count" \
    "$survey 'names of packages of rpm \"$root\"'" \
    "rpm --root $root -qa --qf '%{NAME}\\n'"
  compare "installed test beside rpm -q" "$count" \
    "$survey 'installed \"$wanted\" of rpm \"$root\"'" \
    "rpm --root $root -q $wanted"
done
