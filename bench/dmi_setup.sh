# What the firmware-table benchmarks share, sourced by each with its own
# arguments: the command of the build folder given first (default
# build/default), the tools they compare with checked, and a scratch folder
# with a client folder in it, removed on exit.
#
#   source "$(dirname "${BASH_SOURCE[0]}")/dmi_setup.sh" "$@"
#
# Sets build, survey, tmp and client.
build=${1:-build/default}
survey="$build/bin/survey"
[ -x "$survey" ] || { echo "no $survey: build first (make build)" >&2; exit 1; }
command -v hyperfine >/dev/null || { echo "hyperfine is missing (scripts/install-deps.sh)" >&2; exit 1; }
command -v dmidecode >/dev/null || { echo "dmidecode is missing (scripts/install-deps.sh)" >&2; exit 1; }

tmp=$(mktemp -d "${TMPDIR:-/var/tmp}/survey-dmi-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
client="$tmp/client"
