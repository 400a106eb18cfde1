#!/usr/bin/env bash
# Builds fuzz targets with clang in build/fuzz (a build of its own, apart
# from the presets) and runs each for a while.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     default 60 parse_fuzzer
#
# TARGET is the name of a fuzz target, fuzz/TARGET.cpp; fuzz/CMakeLists.txt
# tells what each one checks.
# BUILD_DIR chooses another build folder; FUZZ_BUILD_ONLY=1 builds the targets
# and runs none.
#
# The targets are built together, in one build. One target runs in the
# foreground with its whole output. Several run JOBS at a time (libFuzzer
# uses one core each), each into its own log under the build folder's logs;
# once all have ended, each one's summary is printed in the order given, with
# the end of its log when it failed.
#
# Each target's corpus grows in its own folder under the build folder
# (corpus for parse_fuzzer, corpus-TARGET for the others) and is kept
# between runs. The query language's starts from the queries of
# tests/queries and the examples of docs/language.md; the numerals' and the
# addresses' from a few written below. Inputs that crash are written to the
# build folder's artifacts; the script then exits with a failing status.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

SECONDS_TO_RUN=${1:-60}
shift || true
TARGETS=("$@")
if [ ${#TARGETS[@]} -eq 0 ]; then TARGETS=(parse_fuzzer); fi
BUILD_DIR=${BUILD_DIR:-build/fuzz}
JOBS=${JOBS:-2}

if ! command -v clang++ >/dev/null; then
  echo "fuzz: clang++ is needed (Debian package clang)" >&2
  exit 1
fi

for target in "${TARGETS[@]}"; do
  if [ ! -f "fuzz/$target.cpp" ]; then
    echo "fuzz: unknown target $target (known: $(cd fuzz && ls *_fuzzer.cpp | sed 's/\.cpp$//' | tr '\n' ' '))" >&2
    exit 2
  fi
done

CC=clang CXX=clang++ cmake -S . -B "$BUILD_DIR" -G Ninja \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSURVEY_BUILD_FUZZ=ON -DSURVEY_BUILD_TESTS=OFF -DSURVEY_BUILD_BENCH=OFF
cmake --build "$BUILD_DIR" -j"$JOBS" --target "${TARGETS[@]}"
if [ "${FUZZ_BUILD_ONLY:-0}" = 1 ]; then exit 0; fi

artifacts="$BUILD_DIR/artifacts"
mkdir -p "$artifacts"

# Makes the seed folder of the target TARGET afresh, and its corpus folder,
# and writes each SEED to a file of its own there: as it stands (literal), or
# with its \x escapes read by printf (escaped).
fresh_seeds() {
  local mode=$1 n=0 seed
  shift
  seeds="$BUILD_DIR/seeds-$TARGET"
  corpus="$BUILD_DIR/corpus-$TARGET"
  rm -rf "$seeds"
  mkdir -p "$corpus" "$seeds"
  for seed in "$@"; do
    if [ "$mode" = escaped ]; then
      printf "$seed" >"$seeds/seed-$n"
    else
      printf '%s' "$seed" >"$seeds/seed-$n"
    fi
    n=$((n + 1))
  done
}

# Sets seeds, corpus, dictionary and max_len for the target TARGET, with the
# seeds written afresh.
prepare_target() {
  if [ "$TARGET" = parse_fuzzer ]; then
    seeds="$BUILD_DIR/seeds"
    corpus="$BUILD_DIR/corpus"
    rm -rf "$seeds"
    mkdir -p "$corpus"
    python3 tests/queries/run.py --corpus "$seeds" tests/queries/*.queries docs/language.md
    dictionary=fuzz/query.dict
    max_len=4096
  elif [ "$TARGET" = ipv4_fuzzer ]; then
    fresh_seeds literal 1.2.3.4 01.02.03.04 0x7f.0.0.1 127.0.1 10.0.1234 0123456 \
      255.255.255.255 0377.0377.0377.0377 0xff.0xff.0xff.0xff 999.1.1.1 1.2.3 1.2.3.4.5 \
      "1.2.3.4 x" 4294967295 0xfffffffe 192.168.1.77
    dictionary=fuzz/ipv4.dict
    max_len=64
  elif [ "$TARGET" = versions_fuzzer ]; then
    # The first byte says where the rest is cut in two.
    fresh_seeds escaped "\x031.91.10" "\x0210\x39" "\x041.011.1" "\x03010\x39" "\x031.01.00" \
      "\x051.0021.0010" "\x012\x32.0" "\x031.51.5a" "\x031.x1.2" "\x051.2.31.2-3" "\x00\x31" \
      "\x041.2A1.2a" "\x031.2\x001.2" "\x140000000000000000000\x39"
    dictionary=fuzz/versions.dict
    max_len=256
  elif [ "$TARGET" = proc_stat_fuzzer ]; then
    # Names with spaces and parentheses, and this process's own stat file.
    fresh_seeds literal \
      "12 (bash) S 1 12 12 0 -1 4194560 10 0 0 0 0 0 0 0 20 0 1 0 4711 1000 20" \
      "13 (a) b (c) S 1 1 1 0 -1 4194560 10 0 0 0 0 0 0 0 20 0 1 0 99 1 2" \
      "14 ()) R  1  1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 18446744073709551616" \
      "15 (x" "16 (y) Z"
    cp /proc/self/stat "$seeds/seed-self"
    dictionary=fuzz/proc_stat.dict
    max_len=1024
  elif [ "$TARGET" = wildcard_fuzzer ]; then
    # The first byte says how long the name is; the pattern follows it.
    fresh_seeds escaped "\x05a.log*.log" "\x04.log*.log" "\x05a.LOG*.log" "\x00*" "\x00**" \
      "\x00?" "\x06abcdef*b*d*f" "\x03abc?b?" "\x0aaaaaaaaaab*a*a*a*a*c" "\x02ab*****"
    dictionary=fuzz/wildcard.dict
    max_len=128
  elif [ "$TARGET" = url_fuzzer ]; then
    # The first byte says where the rest is cut into reference and base.
    fresh_seeds literal "s://u@h:80/p?q#f" "s:a/b" "a/b:c" "%4%zz%41" "s://h:4294967296/" \
      "I../http://a/b/c/d;p?q" "Lg/./http://a/b/c/d;p?q" "file:///etc/passwd" \
      "mailto:a?b#c" "//h:/p" "ftp://me:pw@host:21/x;y?z"
    dictionary=fuzz/url.dict
    max_len=256
  elif [ "$TARGET" = variable_file_fuzzer ]; then
    # Whole files, with a list of values, an empty block, a cut block and a
    # wrong version. The header's numbers are little-endian.
    header='[\x15\x00\x00\x00]>NudgeSite Vars File\x00[\x0f\x00\x00\x00]>Version 1.0.1\x00'
    fresh_seeds escaped \
      "${header}\x16\x00\x00\x00\x03\x00\x00\x00A\x00x\x00a\x00y\x00Fruit\x00pear\x00" \
      "${header}\x00\x00\x00\x00\x00\x00\x00\x00" \
      "${header}\x10\x00\x00\x00\x01\x00\x00\x00Name\x00va" \
      "${header}\x03\x00\x00\x00\x09\x00\x00\x00A\x00bc" \
      "[\x15\x00\x00\x00]>NudgeSite Vars File\x00[\x0f\x00\x00\x00]>Version 1.0.2\x00"
    dictionary=fuzz/variable_file.dict
    max_len=512
  elif [ "$TARGET" = processor_memory_fuzzer ]; then
    # The test fixtures of both files, and this machine's own.
    fresh_seeds literal "processor : 0" "Mem: 1 2 3 4 5 6" "Swap: 1 2 3"
    cp tests/fixtures/cpuinfo/*.txt tests/fixtures/meminfo/*.txt "$seeds"/
    cp /proc/cpuinfo "$seeds/seed-cpuinfo"
    cp /proc/meminfo "$seeds/seed-meminfo"
    dictionary=fuzz/processor_memory.dict
    max_len=16384
  elif [ "$TARGET" = rpm_capability_fuzzer ]; then
    # The first byte says where the rest is cut in two.
    fresh_seeds escaped "\x0afoo >= 1.0foo = 1.0" "\x051.0-11.0" "\x031.a1.1" "\x05007.17.01" \
      "\x06/a b cfoo" "\x09foo  1.0foo =< 2" "\x062:1.0foo <> 1" "\x04foo\x09<\x093"
    dictionary=fuzz/rpm_capability.dict
    max_len=128
  elif [ "$TARGET" = keys_fuzzer ]; then
    # The first byte says how long the key is; the file follows it.
    fresh_seeds escaped "\x01aa=1 ; note\n" "\x04pathPATH: /bin\npathname=x\n" \
      "\x00=x\n:y\n" "\x01x[b]\r\nx=1\r{a}\n[x]\ny=2\n[a]\n" "\x03sec[ Sec ] t\na=b=c\n=x\n" \
      "\x01a[broken\na=1\n\x00a=\xff\n" "\x01ka=1\rb=2\r\nk=3"
    dictionary=fuzz/keys.dict
    max_len=8192
  elif [ "$TARGET" = mounts_fuzzer ]; then
    # The first byte says how long the blocks are; the table follows it.
    fresh_seeds escaped "\x07/dev/sda1 / ext3 rw 0 0\nserver:/e /mnt/n nfs rw 0 0\n" \
      "\x01/dev/sr0 /media/cd cdfs ro\r\n/dev/fd0\t/f\tmsdos\trw\r" "\x03a /a\nlonely:\nb  /b  x" \
      "\x40h:/x /r"
    cp /proc/self/mounts "$seeds/seed-self"
    dictionary=fuzz/mounts.dict
    max_len=4096
  elif [ "$TARGET" = site_banner_fuzzer ]; then
    fresh_seeds literal ">Nudge Remote Site" ">Master Action Site" ">Custom Site:" \
      ">Custom Site:tag" ">Operator Action Site:12:bob" ">Operator Action Site:12" \
      ">Operator Action Site:x:bob" ">Operator Action Site:4294967194:a" \
      ">Operator Action Site:5000000000:a" "http://h/a%20b/%zz#f"
    dictionary=fuzz/site_banner.dict
    max_len=256
  elif [ "$TARGET" = command_input_fuzzer ]; then
    # The first byte: 0 a size, 1 a CSV field, 2 a line typed at the prompt.
    fresh_seeds escaped "\x00512M" "\x000" "\x0018446744073709551615" "\x0016EiB" "\x01a,b" \
      "\x01say \"hi\"" "\x01two\nlines" "\x02(1;\n2)" "\x02\"a(\" // (" "\x02lines contai" \
      "\x02number of unique v"
    dictionary=fuzz/command_input.dict
    max_len=256
  elif [ "$TARGET" = client_import_fuzzer ]; then
    # Import files: settings, sites, actions, state, certificates, servers and
    # usage, taken and refused.
    fresh_seeds plain '{"settings": {"Client": {"k": "v", "d": {"value": "x", "date": 5, "deleted": true}}}}' \
      '{"sites": [{"name": "a", "url": "http://h/a", "groups": [{"id": 1, "member": true}], "settings": {"k": "v"}}]}' \
      '{"actions": [{"id": 12, "current": true, "constraint": 214, "constrained": true, "parameters": {"p": "q"}}]}' \
      '{"actions": [{"id": 18446744073709551615, "sub action ordinal": 0}, {"id": 1, "pending": true}]}' \
      '{"actions": [{"id": 1}, {"id": 1}]}' \
      '{"sites": [{"name": "a", "url": "u", "nudges": [{"id": 3, "relevant": true, "headers": [["a", "b"], ["a", ""]]}]}], "nudge evaluation blocked": true}' \
      '{"state": {"computer id": 5, "action lock controller": "console", "pending restarts": ["b", "a"], "wake on lan subnet": "10.0.0.0/8"}}' \
      '{"certificates": [{"name": "c", "pem": "-----BEGIN CERTIFICATE-----"}, {"name": "s", "file": "/dev/null"}]}' \
      '{"servers": {"registration server": {"name": "b", "version": "9.5"}, "relay": {"version": "1"}, "root server": {"name": "r", "id": 3}, "download server": {"name": "d"}}}' \
      '{"usage": [{"application": "b", "type": "Application Start", "time": 5, "path": "/b", "version info": "1"}, {"application": "a", "type": 9, "time": 0}, {"application": "b", "type": 2, "time": 7, "modification time": 3}]}'
    dictionary=fuzz/client_import.dict
    max_len=1024
  elif [ "$TARGET" = certificate_pem_fuzzer ]; then
    # Certificates made now by the openssl command, one with text around it
    # and two in one text, and texts that only look like one.
    fresh_seeds plain "-----BEGIN CERTIFICATE-----" \
      $'-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n'
    key="$seeds/key.pem"
    for curve in prime256v1 secp384r1; do
      openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:$curve -nodes -keyout "$key" \
        -out "$seeds/seed-$curve" -subj "/CN=$curve" -days 1 2>/dev/null
    done
    rm -f "$key"
    { echo "text before"; cat "$seeds/seed-prime256v1"; echo "text after"; } >"$seeds/seed-around"
    cat "$seeds/seed-prime256v1" "$seeds/seed-secp384r1" >"$seeds/seed-two"
    dictionary=fuzz/certificate_pem.dict
    max_len=2048
  elif [ "$TARGET" = host_selector_fuzzer ]; then
    # Flattened server entries: whole with three gateways, blank, with more
    # addresses than it holds, cut short, and with a name longer than the bytes.
    fresh_seeds escaped \
      "\x00\x00\x00\x0812345678\x5f\x5e\x10\x00\x0a\x01\x02\x03\xcc\x57\x00\x03\x00\x64\x03\x07\x00\x00\x00\x0c\x00\x00\x00\x22\x00\x00\x00\x03\x0a\x01\x02\xfe\x00\x00\x00\x00\xc0\xa8\x00\x01" \
      "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xff\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00" \
      "\x00\x00\x00\x01a\x00\x00\x00\x01\x00\x00\x00\x02\x00\x50\x00\x01\x00\x02\x19\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x19\x01\x01\x01\x01\x02\x02\x02\x02" \
      "\x00\x00\x00\x04ab" "\xff\xff\xff\xffabc"
    dictionary=fuzz/host_selector.dict
    max_len=512
  elif [ "$TARGET" = usage_statistics_fuzzer ]; then
    # Statistics files of the right size and one byte short, and events:
    # a type byte and a two-byte time each.
    fresh_seeds escaped "\x03\x00\x00\x00\x00\x40\x1e\x18\x24\x0a\x06\x00\x00\xa5\xeb\x35\x24\x0a\x06\x00\x00\x29\xc3\x4d\x24\x0a\x06\x00\xa0\x25\x26\x00\x00\x00\x00\x00\x01\x00\x00\x00" "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00" "\x03\x00\x00\x00\x00\x40\x1e\x18\x24\x0a\x06\x00\x00\xa5\xeb\x35\x24\x0a\x06\x00\x00\x29\xc3\x4d\x24\x0a\x06\x00\xa0\x25\x26\x00\x00\x00\x00\x00\x01\x00\x00" "\x00\x00\x0a\x01\x00\x14\x01\x00\x14\x04\x00\x19\x02\x00\x28\x03\x00\x5a"
    dictionary=fuzz/usage_statistics.dict
    max_len=128
  elif [ "$TARGET" = file_lines_fuzzer ]; then
    # The first byte chooses the buffer, the second the memory read ahead,
    # the next four seed the steps; the file follows them.
    fresh_seeds escaped "\x00\x03\x01\x02\x03\x04alpha beta\nwarning1\r\ngamma\n\rdelta\r\rx" \
      "\x02\x01\x07\x00\x00\x09aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\nb\n" \
      "\x01\x02\x55\x66\x77\x88\n\n\n\r\r\n\r\n\rlast" "\x04\x03\x10\x20\x30\x40"
    dictionary=fuzz/file_lines.dict
    max_len=16384
  elif [ "$TARGET" = regular_expressions_fuzzer ]; then
    # The first byte: four times the pattern's length, plus two for UTF-8,
    # plus one to ignore case.
    fresh_seeds escaped "\x08aaaa" "\x0d(a)bab" "\x16[a-c]+abcx" "\x14(a)\\\\1aa" "\x04(x" \
      "\x19a*(b|c)?a b a c" "\x16^a|b\$ab" "\x00" "\x06.\x00a" "\x1e((a*)*)*aaaab" \
      "\x16[^b]+a\xc3\xa9b" "\x2e[[:alpha:]]x\xc3\x84x" "\x1a[0-9]|ax1\xd9\xa3"
    dictionary=fuzz/regular_expressions.dict
    max_len=512
  elif [ "$TARGET" = dmi_structure_fuzzer ]; then
    # Two bytes choose a string number and a device number; a structure
    # follows: whole, short, with an empty block, and without its block's end.
    fresh_seeds escaped "\x01\x01\x00\x18\x00\x00\x01\x02\x00\xf0\x03\x07\x80\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00V\x001.0\x00\x00" \
      "\x02\x01\x0a\x08\x00\x00\x83\x01\x85\x02a\x00b\x00\x00" "\x03\x00\x0b\x05\x00\x00\x03one\x00two\x00" \
      "\x00\x00\x01\x02\x00\x00" "\x01\x05\x11\x04\x00\x00\x00\x00" "\xff\xff\x0a\x00unending"
    # The tables of the test fixtures, from their first structure on.
    for table in tests/fixtures/dmi/*.bin; do
      { printf '\x01\x02'; tail -c +33 "$table"; } >"$seeds/seed-$(basename "$table" .bin)"
    done
    dictionary=fuzz/dmi_structure.dict
    max_len=4096
  elif [ "$TARGET" = dmi_table_fuzzer ]; then
    # The first byte chooses the cut; the tables of the test fixtures, a
    # block without its end and a structure longer than the table.
    fresh_seeds escaped "\x01\x01\x06\x00\x00\x01\x02a\x00b\x00\x00\x7f\x04\x01\x00\x00\x00" \
      "\x00\x10\x06\x00\x00\x01\x02\x7f\x04\x01\x00" "\x01\x01\x04\x00\x00abc" "\x00\x05\xff\x00\x00"
    for fixture in tests/fixtures/dmi/*.bin; do
      { printf '\x01'; tail -c +33 "$fixture"; } >"$seeds/seed-$(basename "$fixture")"
    done
    dictionary=fuzz/dmi_table.dict
    max_len=8192
  elif [ "$TARGET" = dmi_entry_point_fuzzer ]; then
    # Dumps of real tables, of each entry point, and entry points alone.
    fresh_seeds escaped "_SM3_" "_SM_" "_DMI_"
    cp tests/fixtures/dmi/*.bin "$seeds"/
    dictionary=fuzz/dmi_entry_point.dict
    max_len=8192
  else
    fresh_seeds literal 0 7 -1 42 00042 -0 4294967295 4294967296 2147483648 -2147483648 \
      18446744073709551615 18446744073709551616 9223372036854775807 -9223372036854775808 \
      ffffffff FFFFFFFFFFFFFFFF 10000000000000000 deadBEEF 12x "1 " +5
    dictionary=fuzz/numeral.dict
    max_len=64
  fi
}

# Runs the target TARGET for SECONDS_TO_RUN seconds.
run_target() {
  prepare_target
  echo "fuzz: running $TARGET for $SECONDS_TO_RUN seconds"
  "$BUILD_DIR/bin/$TARGET" \
    -max_total_time="$SECONDS_TO_RUN" \
    -timeout=10 \
    -rss_limit_mb=4096 \
    -max_len="$max_len" \
    -print_final_stats=1 \
    -dict="$dictionary" \
    -artifact_prefix="$artifacts/" \
    "$corpus" "$seeds"
}

if [ ${#TARGETS[@]} -eq 1 ]; then
  TARGET=${TARGETS[0]}
  run_target
  exit
fi

logs="$BUILD_DIR/logs"
mkdir -p "$logs"
for TARGET in "${TARGETS[@]}"; do
  while [ "$(jobs -rp | wc -l)" -ge "$JOBS" ]; do wait -n || true; done
  rm -f "$logs/$TARGET.status"
  (
    set +e
    (set -e; run_target) >"$logs/$TARGET.log" 2>&1
    echo $? >"$logs/$TARGET.status"
  ) &
done
wait

failed=0
for TARGET in "${TARGETS[@]}"; do
  status=$(cat "$logs/$TARGET.status" 2>/dev/null || echo 1)
  echo "=== fuzz $TARGET ($SECONDS_TO_RUN s): status $status ==="
  if [ "$status" -eq 0 ]; then
    grep -E '^fuzz:|Done [0-9]+ runs' "$logs/$TARGET.log" || true
  else
    tail -n 40 "$logs/$TARGET.log"
    failed=1
  fi
done
exit "$failed"
