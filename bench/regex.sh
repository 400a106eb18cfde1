#!/usr/bin/env bash
# Regular expressions over the lines of a file beside grep -E, on generated
# data: the rows of compare.sh's "regex" group, which runs them with every
# other comparison.
#
#   bench/regex.sh [--quick] [BUILD_DIR]      (default: build/default)
exec "$(dirname "$0")/compare.sh" --only regex "$@"
