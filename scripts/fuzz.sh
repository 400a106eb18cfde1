#!/usr/bin/env bash
# Builds the fuzz targets with clang in build/fuzz (a build of its own, apart
# from the presets) and runs the query language's target for a while.
#
#   scripts/fuzz.sh [SECONDS]     default 60
#
# The corpus grows in build/fuzz/corpus and is kept between runs; it starts
# from the queries of tests/queries and the examples of docs/language.md.
# Inputs that crash are written to build/fuzz/artifacts; the script then
# exits with the fuzzer's status.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

SECONDS_TO_RUN=${1:-60}
BUILD_DIR=build/fuzz
JOBS=${JOBS:-2}

if ! command -v clang++ >/dev/null; then
  echo "fuzz: clang++ is needed (Debian package clang)" >&2
  exit 1
fi

CC=clang CXX=clang++ cmake -S . -B "$BUILD_DIR" -G Ninja \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSURVEY_BUILD_FUZZ=ON -DSURVEY_BUILD_TESTS=OFF -DSURVEY_BUILD_BENCH=OFF
cmake --build "$BUILD_DIR" -j"$JOBS" --target parse_fuzzer

seeds="$BUILD_DIR/seeds"
corpus="$BUILD_DIR/corpus"
artifacts="$BUILD_DIR/artifacts"
rm -rf "$seeds"
mkdir -p "$corpus" "$artifacts"
python3 tests/queries/run.py --corpus "$seeds" tests/queries/*.queries docs/language.md

echo "fuzz: running parse_fuzzer for $SECONDS_TO_RUN seconds"
"$BUILD_DIR/bin/parse_fuzzer" \
  -max_total_time="$SECONDS_TO_RUN" \
  -timeout=10 \
  -rss_limit_mb=4096 \
  -max_len=4096 \
  -print_final_stats=1 \
  -dict=fuzz/query.dict \
  -artifact_prefix="$artifacts/" \
  "$corpus" "$seeds"
