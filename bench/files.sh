#!/usr/bin/env bash
# Reading inside files: lines, lines containing a word, and content
# searches beside wc and grep, on generated
# data: the rows of compare.sh's "lines" group, which runs them with every
# other comparison.
#
#   bench/files.sh [--quick] [BUILD_DIR]      (default: build/default)
exec "$(dirname "$0")/compare.sh" --only lines "$@"
