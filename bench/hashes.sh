#!/usr/bin/env bash
# File hashes: sha1 of file beside sha1sum, on generated
# data: the rows of compare.sh's "hashes" group, which runs them with every
# other comparison.
#
#   bench/hashes.sh [--quick] [BUILD_DIR]      (default: build/default)
exec "$(dirname "$0")/compare.sh" --only hashes "$@"
