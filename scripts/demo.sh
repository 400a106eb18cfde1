#!/usr/bin/env bash
# A short demonstration of the survey command against this machine: each step
# prints the command line, then its answer. Run by `make run` after the default
# preset is built; SURVEY=/path/to/survey picks another build.
set -uo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

BUILD_DIR=${BUILD_DIR:-build/default}
SURVEY=${SURVEY:-}
if [[ -z "$SURVEY" ]]; then
  for candidate in "$BUILD_DIR/bin/survey" "$BUILD_DIR/tools/survey/survey"; do
    if [[ -x "$candidate" ]]; then
      SURVEY=$candidate
      break
    fi
  done
fi
if [[ -z "$SURVEY" || ! -x "$SURVEY" ]]; then
  echo "demo: the survey command was not found (looked for $BUILD_DIR/bin/survey)." >&2
  echo "demo: build it first with 'make build' (or 'make run', which builds and then runs this)." >&2
  exit 1
fi

SURVEY=$(realpath "$SURVEY")

# The command loads libSurvey.so from beside itself or from ../lib. If this
# build keeps it elsewhere, point the command at it.
SURVEY_ARGS=()
survey_dir=$(dirname "$SURVEY")
if [[ ! -e "$survey_dir/libSurvey.so" && ! -e "$survey_dir/../lib/libSurvey.so" ]]; then
  library=$(find "$BUILD_DIR" -name libSurvey.so -print -quit 2>/dev/null || true)
  if [[ -n "$library" ]]; then
    SURVEY_ARGS=(--library "$library")
  fi
fi

failures=0

# The words of a command line as a reader would type them.
shown() {
  local out=() word
  for word in "$@"; do
    if [[ "$word" =~ ^[A-Za-z0-9_./=:+-]+$ ]]; then
      out+=("$word")
    else
      out+=("'${word//\'/\'\\\'\'}'")
    fi
  done
  echo "${out[*]}"
}

# step EXPECT [ENV=VALUE ...] -- ARGS...: runs the command with ARGS, with the
# given environment only when any is given. EXPECT is "ok" or "error": a step
# that shows an error answer is expected to fail.
step() {
  local expect=$1
  shift
  local -a environment=()
  while [[ $# -gt 0 && "$1" != "--" ]]; do
    environment+=("$1")
    shift
  done
  shift
  echo
  if [[ ${#environment[@]} -gt 0 ]]; then
    echo "\$ env -i $(shown "${environment[@]}") survey $(shown "$@")"
  else
    echo "\$ survey $(shown "$@")"
  fi
  local status=0
  if [[ ${#environment[@]} -gt 0 ]]; then
    env -i "${environment[@]}" "$SURVEY" "${SURVEY_ARGS[@]}" "$@" || status=$?
  else
    "$SURVEY" "${SURVEY_ARGS[@]}" "$@" || status=$?
  fi
  if [[ "$expect" == ok && $status -ne 0 ]]; then
    echo "demo: step failed with status $status" >&2
    failures=$((failures + 1))
  elif [[ "$expect" == error && $status -eq 0 ]]; then
    echo "demo: step should have reported an error" >&2
    failures=$((failures + 1))
  fi
}

echo "Survey demonstration, using $SURVEY"

step ok -- --version

# One variable of this program's environment, beside what the shell says.
step ok -- 'value of variable "HOME" of environment'
echo "(the shell says HOME is $HOME)"
step ok -- 'number of variables of environment'
step ok -- 'names of variables whose (name of it starts with "H") of environment'

# A small, known environment: every variable, then one value.
demo_env=(HOME=/home/demo LANG=C.UTF-8 "GREETING=hello from the environment")
step ok "${demo_env[@]}" -- 'variables of environment' \
  'value of variable "GREETING" of environment'

# Strings, numbers and time.
step ok -- 'length of "hello"' '(1 + 2) * 3' '"survey" as uppercase' \
  'concatenation ", " of ("a"; "b"; "c")' 'now'
step ok -- --types 'first 3 of "survey"'
step ok -- --json 'length of "hello"'

# Files and folders: listings, sizes, times, modes and walks of the tree.
step ok -- 'names of files of folder "/etc/default"' \
  'size of file "/etc/passwd"' 'modification time of file "/etc/passwd"' \
  'mode of file "/etc/passwd"' 'user name of file "/etc/passwd"' \
  'ancestors of file "/etc/passwd"' \
  'number of descendants of folder "/usr/include"' \
  'lines containing "root" of file "/etc/passwd"' 'number of lines of file "/etc/passwd"'
echo "(find counts $(find -L /usr/include -type f 2>/dev/null | wc -l) files below /usr/include;" \
  "wc counts $(wc -l </etc/passwd) lines in /etc/passwd)"

# Versions compare by number, not by letter.
step ok -- '"1.10" as version > "1.9" as version' '"1.10" > "1.9"' \
  'maximum of (("1.2"; "1.10"; "1.9") as version)'

# Processes and the running programs.
step ok -- 'number of processes' 'number of processes whose (name of it = "survey")'
echo "(ps counts $(ps -e --no-headers | wc -l) processes)"

# Network addresses of this machine.
step ok -- 'addresses of ip interfaces of network'

# Queries from a file, one per line.
query_dir=$(mktemp -d)
trap 'rm -rf "$query_dir"' EXIT
cat >"$query_dir/queries.txt" <<'QUERIES'
// Comments and blank lines are skipped.
length of "a file of queries"

value of variable "HOME" of environment
QUERIES
pushd "$query_dir" >/dev/null
echo
echo "\$ cat queries.txt"
cat queries.txt
step ok -- -f queries.txt
popd >/dev/null

# The vocabulary: every phrase that mentions "variable".
step ok -- --list variable

# A variable that is not there is an error, not an empty answer.
step error -- 'value of variable "NO_SUCH_VARIABLE" of environment'

echo
if [[ $failures -ne 0 ]]; then
  echo "demo: $failures step(s) did not answer as expected" >&2
  exit 1
fi
echo "demo: done. Try your own queries: $SURVEY 'QUERY', or with no arguments for a prompt."
