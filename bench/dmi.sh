#!/usr/bin/env bash
# DMI tables: the whole process of one query that takes a dump's table
# (survey --dmi-dump FILE 'number of dmis', which copies the table into
# "info.dmi", cuts it into structures and reads back its contents) beside
# dmidecode --from-dump FILE, which decodes and prints every structure, for
# each table of tests/fixtures/dmi. Both sides are first asked whether they
# read the table at all. Prints the mean times and their ratio. Reports
# only; never fails on slowness. The command's own start (loading the
# library, the query 1) is timed beside them, since it is most of
# what a single query costs.
#
#   bench/dmi.sh [BUILD_DIR]      (default: build/default)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/dmi_setup.sh" "$@"

hyperfine -N --output=pipe --warmup 2 --runs 20 --export-json "$tmp/start.json" \
  "$survey --client $client '1'" >/dev/null 2>&1
start=$(python3 -c 'import json, sys; r = json.load(open(sys.argv[1]))["results"][0]; print("%.2f" % (r["mean"] * 1000))' "$tmp/start.json")
echo "survey's start, with the query 1: $start ms"
echo
echo "| table | size | structures | survey | dmidecode | ratio |"
echo "|---|---|---|---|---|---|"
for dump in tests/fixtures/dmi/*.bin; do
  name=$(basename "$dump" .bin)
  answer=$("$survey" --client "$client" --dmi-dump "$dump" 'number of dmis')
  structures=$(dmidecode --from-dump "$dump" 2>/dev/null | grep -c '^Handle 0x' || true)
  if [ "$(echo "$answer" | tail -n 1 | tr -d ' ')" != 1 ] || [ "$structures" = 0 ]; then
    echo "| $name | — | — | not read | | |"
    continue
  fi
  hyperfine -N --output=pipe --warmup 2 --runs 20 --export-json "$tmp/r.json" \
    "$survey --client $client --dmi-dump $dump 'number of dmis'" \
    "dmidecode --from-dump $dump" >/dev/null 2>&1
  python3 - "$name" "$(stat -c %s "$dump")" "$structures" "$tmp/r.json" <<'PY'
import json, sys
name, size, structures, path = sys.argv[1], int(sys.argv[2]), sys.argv[3], sys.argv[4]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"], results[1]["mean"]
print(f"| {name} | {size} B | {structures} | {ours * 1000:.2f} ms | {theirs * 1000:.2f} ms "
      f"| {ours / theirs:.2f} |")
PY
done
