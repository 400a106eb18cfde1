#!/usr/bin/env bash
# The firmware tables of the test fixtures, each read whole: one query that
# gives every string field of every structure (and the OEM strings, the
# configuration options and the device descriptions), through the command
# with the table taken from the dump, beside dmidecode --from-dump on the
# same file. Both are whole processes, as a user runs them. Prints the mean
# times and their ratio. Reports only; never fails on slowness.
#
#   bench/dmi_catalogue.sh [BUILD_DIR]      (default: build/default)
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/dmi_setup.sh" "$@"
export HOME="$tmp/home"
mkdir -p "$HOME"

query='vendors of bios_informations of dmi; bios_versions of bios_informations of dmi; bios_release_dates of bios_informations of dmi; manufacturers of system_informations of dmi; product_names of system_informations of dmi; versions of system_informations of dmi; serial_numbers of system_informations of dmi; manufacturers of base_board_informations of dmi; products of base_board_informations of dmi; versions of base_board_informations of dmi; serial_numbers of base_board_informations of dmi; manufacturers of system_enclosure_or_chassiss of dmi; versions of system_enclosure_or_chassiss of dmi; serial_numbers of system_enclosure_or_chassiss of dmi; asset_tag_numbers of system_enclosure_or_chassiss of dmi; socket_designations of processor_informations of dmi; processor_manufacturers of processor_informations of dmi; processor_versions of processor_informations of dmi; socket_designations of memory_module_informations of dmi; socket_designations of cache_informations of dmi; internal_reference_designators of port_connector_informations of dmi; external_reference_designators of port_connector_informations of dmi; slot_designations of system_slotss of dmi; current_languages of bios_language_informations of dmi; group_names of group_associationss of dmi; device_locators of memory_devices of dmi; bank_locators of memory_devices of dmi; locations of portable_batterys of dmi; manufacturers of portable_batterys of dmi; manufacture_dates of portable_batterys of dmi; serial_numbers of portable_batterys of dmi; device_names of portable_batterys of dmi; sbds_version_numbers of portable_batterys of dmi; sbds_device_chemistrys of portable_batterys of dmi; descriptions of voltage_probes of dmi; descriptions of temperature_probes of dmi; descriptions of electrical_current_probes of dmi; manufacturer_names of out_of_band_remote_accesss of dmi; descriptions of management_devices of dmi; descriptions of management_device_components of dmi; oem_strings of dmi; system_configuration_options of dmi; device_descriptions of on_board_devices_informations of dmi'

echo "| table | structures | strings given | survey | dmidecode | ratio |"
echo "|---|---|---|---|---|---|"
for dump in tests/fixtures/dmi/*.bin; do
  name=$(basename "$dump" .bin)
  # The query must answer before it is timed.
  strings=$("$survey" --client "$client" --dmi-dump "$dump" --json "$query" |
    python3 -c 'import json,sys; a=json.loads(sys.stdin.readline()); print(len(a["values"]) if a["error"] is None else "error: " + a["error"]["message"])')
  structures=$(dmidecode --from-dump "$dump" 2>/dev/null | grep -c '^Handle ' || true)
  hyperfine -N --output=pipe --warmup 2 --runs 20 --export-json "$tmp/r.json" \
    "$survey --client $client --dmi-dump $dump '$query'" "dmidecode --from-dump $dump" >/dev/null 2>&1
  python3 - "$name" "$structures" "$strings" "$tmp/r.json" <<'PY'
import json, sys
name, structures, strings, path = sys.argv[1:5]
results = json.load(open(path))["results"]
ours, theirs = results[0]["mean"], results[1]["mean"]
print(f"| {name} | {structures} | {strings} | {ours * 1000:.1f} ms | {theirs * 1000:.1f} ms | {ours / theirs:.2f} |")
PY
done
