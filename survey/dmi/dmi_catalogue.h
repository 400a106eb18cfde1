// The vocabulary of the firmware's structures: one value type for each
// structure kind, reached from the world object `dmi` by number or by
// iteration, and one property for each field. Nothing is interpreted: an
// enumeration, a bit field, a handle or a size comes out as the raw integer
// stored in the table, and a string as the table's text.
//
// Every phrase is the structure's or field's name with words joined by
// underscores, and its plural is the singular with one "s" added, whatever
// the word's ending.
#pragma once

#include <cstdint>

#include "survey/dmi/dmi_structures.h"
#include "survey/dmi/dmi_table.h"

// Iterates what a numbered function gives, from number 1 on; the first
// absent number ends the iteration, so a gap is not stepped over.
template <class O, class R, R (*Numbered)(unsigned long long, O const&)>
class DmiListIterator {
 public:
  using Result = R;

  R First(O const& object) { return Numbered(FirstNumber(), object); }
  R Next(O const& object) { return Numbered(NextNumber(), object); }

  // The counter's steps alone, for an adaptor that looks the number up
  // itself: 1 first, then one more at each step.
  std::uint64_t FirstNumber() { return counter_ = 1; }
  std::uint64_t NextNumber() { return ++counter_; }

 private:
  std::uint64_t counter_ = 0;
};

// A structure kind: its value type "dmi <phrase>", a view of the loaded
// structure; the numbered function that gives the structure of that number
// (from 1) among those of its type; and the iterator over all of them.
#define DMI_STRUCTURE(phrase, number)                                                    \
  struct dmi_##phrase : DmiStructureView {                                               \
    static constexpr char const* TypeName() { return "dmi " #phrase; }                   \
    static constexpr std::uint8_t kType = number;                                        \
  };                                                                                     \
  SURVEY_API dmi_##phrase dmi_##phrase##_of(unsigned long long index, dmi const& world); \
  using dmi_##phrase##_iterator = DmiListIterator<dmi, dmi_##phrase, &dmi_##phrase##_of>;

// The structure kinds, by type number.
DMI_STRUCTURE(bios_information, 0)
DMI_STRUCTURE(system_information, 1)
DMI_STRUCTURE(base_board_information, 2)
DMI_STRUCTURE(system_enclosure_or_chassis, 3)
DMI_STRUCTURE(processor_information, 4)
DMI_STRUCTURE(memory_controller_information, 5)
DMI_STRUCTURE(memory_module_information, 6)
DMI_STRUCTURE(cache_information, 7)
DMI_STRUCTURE(port_connector_information, 8)
DMI_STRUCTURE(system_slots, 9)
DMI_STRUCTURE(on_board_devices_information, 10)
DMI_STRUCTURE(bios_language_information, 13)
DMI_STRUCTURE(group_associations, 14)
DMI_STRUCTURE(physical_memory_array, 16)
DMI_STRUCTURE(memory_device, 17)
DMI_STRUCTURE(b32_bit_memory_error_information, 18)
DMI_STRUCTURE(memory_array_mapped_address, 19)
DMI_STRUCTURE(memory_device_mapped_address, 20)
DMI_STRUCTURE(built_in_pointing_device, 21)
DMI_STRUCTURE(portable_battery, 22)
DMI_STRUCTURE(system_reset, 23)
DMI_STRUCTURE(hardware_security, 24)
DMI_STRUCTURE(system_power_controls, 25)
DMI_STRUCTURE(voltage_probe, 26)
DMI_STRUCTURE(cooling_device, 27)
DMI_STRUCTURE(temperature_probe, 28)
DMI_STRUCTURE(electrical_current_probe, 29)
DMI_STRUCTURE(out_of_band_remote_access, 30)
DMI_STRUCTURE(system_boot_information, 32)
DMI_STRUCTURE(b64_bit_memory_error_information, 33)
DMI_STRUCTURE(management_device, 34)
DMI_STRUCTURE(management_device_component, 35)
DMI_STRUCTURE(management_device_threshold_data, 36)
DMI_STRUCTURE(inactive, 126)
DMI_STRUCTURE(end_of_table, 127)

#undef DMI_STRUCTURE

// The fields, structure by structure: each reads the bytes at its offset or
// the string whose number stands there. Absent fields throw NoSuchObject.

SURVEY_API integer func_length_of(dmi_bios_information const& structure);
SURVEY_API surveyor_string func_vendor_of(dmi_bios_information const& structure);
SURVEY_API surveyor_string func_bios_version_of(dmi_bios_information const& structure);
SURVEY_API integer func_bios_starting_address_segment_of(dmi_bios_information const& structure);
SURVEY_API surveyor_string func_bios_release_date_of(dmi_bios_information const& structure);
SURVEY_API integer func_bios_rom_size_of(dmi_bios_information const& structure);
SURVEY_API integer func_bios_characteristics_of(dmi_bios_information const& structure);

SURVEY_API integer func_length_of(dmi_system_information const& structure);
SURVEY_API surveyor_string func_manufacturer_of(dmi_system_information const& structure);
SURVEY_API surveyor_string func_product_name_of(dmi_system_information const& structure);
SURVEY_API surveyor_string func_version_of(dmi_system_information const& structure);
SURVEY_API surveyor_string func_serial_number_of(dmi_system_information const& structure);
SURVEY_API integer func_wake_up_type_of(dmi_system_information const& structure);

SURVEY_API integer func_length_of(dmi_base_board_information const& structure);
SURVEY_API surveyor_string func_manufacturer_of(dmi_base_board_information const& structure);
SURVEY_API surveyor_string func_product_of(dmi_base_board_information const& structure);
SURVEY_API surveyor_string func_version_of(dmi_base_board_information const& structure);
SURVEY_API surveyor_string func_serial_number_of(dmi_base_board_information const& structure);

SURVEY_API integer func_length_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API surveyor_string func_manufacturer_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API integer func_type_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API surveyor_string func_version_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API surveyor_string func_serial_number_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API surveyor_string
func_asset_tag_number_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API integer func_bootup_state_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API integer func_power_supply_state_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API integer func_thermal_state_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API integer func_security_status_of(dmi_system_enclosure_or_chassis const& structure);
SURVEY_API integer func_oem_defined_of(dmi_system_enclosure_or_chassis const& structure);

SURVEY_API integer func_length_of(dmi_processor_information const& structure);
SURVEY_API surveyor_string func_socket_designation_of(dmi_processor_information const& structure);
SURVEY_API integer func_processor_type_of(dmi_processor_information const& structure);
SURVEY_API integer func_processor_family_of(dmi_processor_information const& structure);
SURVEY_API surveyor_string
func_processor_manufacturer_of(dmi_processor_information const& structure);
SURVEY_API integer func_processor_id_of(dmi_processor_information const& structure);
SURVEY_API surveyor_string func_processor_version_of(dmi_processor_information const& structure);
SURVEY_API integer func_voltage_of(dmi_processor_information const& structure);
SURVEY_API integer func_external_clock_of(dmi_processor_information const& structure);
SURVEY_API integer func_max_speed_of(dmi_processor_information const& structure);
SURVEY_API integer func_current_speed_of(dmi_processor_information const& structure);
SURVEY_API integer func_status_of(dmi_processor_information const& structure);
SURVEY_API integer func_processor_upgrade_of(dmi_processor_information const& structure);
SURVEY_API integer func_l1_cache_handle_of(dmi_processor_information const& structure);
SURVEY_API integer func_l2_cache_handle_of(dmi_processor_information const& structure);
SURVEY_API integer func_l3_cache_handle_of(dmi_processor_information const& structure);

SURVEY_API integer func_length_of(dmi_memory_controller_information const& structure);
SURVEY_API integer
func_error_detecting_method_of(dmi_memory_controller_information const& structure);
SURVEY_API integer
func_error_correcting_capability_of(dmi_memory_controller_information const& structure);
SURVEY_API integer func_supported_interleave_of(dmi_memory_controller_information const& structure);
SURVEY_API integer func_current_interleave_of(dmi_memory_controller_information const& structure);
SURVEY_API integer
func_maximum_memory_module_size_of(dmi_memory_controller_information const& structure);
SURVEY_API integer func_supported_speeds_of(dmi_memory_controller_information const& structure);
SURVEY_API integer
func_supported_memory_types_of(dmi_memory_controller_information const& structure);
SURVEY_API integer
func_memory_module_voltage_of(dmi_memory_controller_information const& structure);
SURVEY_API integer
func_number_of_associated_memory_slots_of(dmi_memory_controller_information const& structure);

SURVEY_API integer func_length_of(dmi_memory_module_information const& structure);
SURVEY_API surveyor_string
func_socket_designation_of(dmi_memory_module_information const& structure);
SURVEY_API integer func_bank_connections_of(dmi_memory_module_information const& structure);
SURVEY_API integer func_current_speed_of(dmi_memory_module_information const& structure);
SURVEY_API integer func_current_memory_type_of(dmi_memory_module_information const& structure);
SURVEY_API integer func_installed_size_of(dmi_memory_module_information const& structure);
SURVEY_API integer func_enabled_size_of(dmi_memory_module_information const& structure);
SURVEY_API integer func_error_status_of(dmi_memory_module_information const& structure);

SURVEY_API integer func_length_of(dmi_cache_information const& structure);
SURVEY_API surveyor_string func_socket_designation_of(dmi_cache_information const& structure);
SURVEY_API integer func_cache_configuration_of(dmi_cache_information const& structure);
SURVEY_API integer func_maximum_cache_size_of(dmi_cache_information const& structure);
SURVEY_API integer func_installed_size_of(dmi_cache_information const& structure);
SURVEY_API integer func_supported_sram_type_of(dmi_cache_information const& structure);
SURVEY_API integer func_current_sram_type_of(dmi_cache_information const& structure);
SURVEY_API integer func_cache_speed_of(dmi_cache_information const& structure);
SURVEY_API integer func_error_correction_type_of(dmi_cache_information const& structure);
SURVEY_API integer func_system_cache_type_of(dmi_cache_information const& structure);
SURVEY_API integer func_associativity_of(dmi_cache_information const& structure);

SURVEY_API integer func_length_of(dmi_port_connector_information const& structure);
SURVEY_API surveyor_string
func_internal_reference_designator_of(dmi_port_connector_information const& structure);
SURVEY_API integer func_internal_connector_type_of(dmi_port_connector_information const& structure);
SURVEY_API surveyor_string
func_external_reference_designator_of(dmi_port_connector_information const& structure);
SURVEY_API integer func_external_connector_type_of(dmi_port_connector_information const& structure);
SURVEY_API integer func_port_type_of(dmi_port_connector_information const& structure);

SURVEY_API integer func_length_of(dmi_system_slots const& structure);
SURVEY_API surveyor_string func_slot_designation_of(dmi_system_slots const& structure);
SURVEY_API integer func_slot_type_of(dmi_system_slots const& structure);
SURVEY_API integer func_slot_data_bus_width_of(dmi_system_slots const& structure);
SURVEY_API integer func_current_usage_of(dmi_system_slots const& structure);
SURVEY_API integer func_slot_length_of(dmi_system_slots const& structure);
SURVEY_API integer func_slot_id_of(dmi_system_slots const& structure);
SURVEY_API integer func_slot_characteristics_1_of(dmi_system_slots const& structure);
SURVEY_API integer func_slot_characteristics_2_of(dmi_system_slots const& structure);

SURVEY_API integer func_length_of(dmi_on_board_devices_information const& structure);
// Device entry n (from 1): its type byte, and its description string.
SURVEY_API integer func_device_type_of(unsigned long long number,
                                       dmi_on_board_devices_information const& structure);
SURVEY_API surveyor_string func_device_description_of(
    unsigned long long number, dmi_on_board_devices_information const& structure);

SURVEY_API integer func_length_of(dmi_bios_language_information const& structure);
SURVEY_API integer func_installable_languages_of(dmi_bios_language_information const& structure);
SURVEY_API integer func_flags_of(dmi_bios_language_information const& structure);
SURVEY_API surveyor_string func_current_language_of(dmi_bios_language_information const& structure);

SURVEY_API integer func_length_of(dmi_group_associations const& structure);
SURVEY_API surveyor_string func_group_name_of(dmi_group_associations const& structure);
SURVEY_API integer func_item_type_of(dmi_group_associations const& structure);
SURVEY_API integer func_item_handle_of(dmi_group_associations const& structure);

SURVEY_API integer func_length_of(dmi_physical_memory_array const& structure);
SURVEY_API integer func_location_of(dmi_physical_memory_array const& structure);
SURVEY_API integer func_use_of(dmi_physical_memory_array const& structure);
SURVEY_API integer func_memory_error_correction_of(dmi_physical_memory_array const& structure);
SURVEY_API integer func_maximum_capacity_of(dmi_physical_memory_array const& structure);
SURVEY_API integer
func_memory_error_information_handle_of(dmi_physical_memory_array const& structure);
SURVEY_API integer func_number_of_memory_devices_of(dmi_physical_memory_array const& structure);

SURVEY_API integer func_length_of(dmi_memory_device const& structure);
SURVEY_API integer func_memory_array_handle_of(dmi_memory_device const& structure);
SURVEY_API integer func_memory_error_information_handle_of(dmi_memory_device const& structure);
SURVEY_API integer func_total_width_of(dmi_memory_device const& structure);
SURVEY_API integer func_data_width_of(dmi_memory_device const& structure);
SURVEY_API integer func_size_of(dmi_memory_device const& structure);
SURVEY_API integer func_form_factor_of(dmi_memory_device const& structure);
SURVEY_API integer func_device_set_of(dmi_memory_device const& structure);
SURVEY_API surveyor_string func_device_locator_of(dmi_memory_device const& structure);
SURVEY_API surveyor_string func_bank_locator_of(dmi_memory_device const& structure);
SURVEY_API integer func_memory_type_of(dmi_memory_device const& structure);
SURVEY_API integer func_type_detail_of(dmi_memory_device const& structure);
SURVEY_API integer func_speed_of(dmi_memory_device const& structure);

SURVEY_API integer func_length_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer func_error_type_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer func_error_granularity_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer func_error_operation_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer func_vendor_syndrome_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer
func_memory_array_error_address_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer
func_device_error_address_of(dmi_b32_bit_memory_error_information const& structure);
SURVEY_API integer func_error_resolution_of(dmi_b32_bit_memory_error_information const& structure);

SURVEY_API integer func_length_of(dmi_memory_array_mapped_address const& structure);
SURVEY_API integer func_starting_address_of(dmi_memory_array_mapped_address const& structure);
SURVEY_API integer func_ending_address_of(dmi_memory_array_mapped_address const& structure);
SURVEY_API integer func_memory_array_handle_of(dmi_memory_array_mapped_address const& structure);
SURVEY_API integer func_partition_width_of(dmi_memory_array_mapped_address const& structure);

SURVEY_API integer func_length_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer func_starting_address_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer func_ending_address_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer func_memory_device_handle_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer
func_memory_array_mapped_address_handle_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer
func_partition_row_position_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer func_interleave_position_of(dmi_memory_device_mapped_address const& structure);
SURVEY_API integer
func_interleaved_data_depth_of(dmi_memory_device_mapped_address const& structure);

SURVEY_API integer func_length_of(dmi_built_in_pointing_device const& structure);
SURVEY_API integer func_type_of(dmi_built_in_pointing_device const& structure);
SURVEY_API integer func_interface_of(dmi_built_in_pointing_device const& structure);
SURVEY_API integer func_number_of_buttons_of(dmi_built_in_pointing_device const& structure);

SURVEY_API integer func_length_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_location_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_manufacturer_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_manufacture_date_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_serial_number_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_device_name_of(dmi_portable_battery const& structure);
SURVEY_API integer func_device_chemistry_of(dmi_portable_battery const& structure);
SURVEY_API integer func_design_capacity_of(dmi_portable_battery const& structure);
SURVEY_API integer func_design_voltage_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_sbds_version_number_of(dmi_portable_battery const& structure);
SURVEY_API integer func_maximum_error_in_battery_data_of(dmi_portable_battery const& structure);
SURVEY_API integer func_sbds_serial_number_of(dmi_portable_battery const& structure);
SURVEY_API integer func_sbds_manufacture_date_of(dmi_portable_battery const& structure);
SURVEY_API surveyor_string func_sbds_device_chemistry_of(dmi_portable_battery const& structure);
SURVEY_API integer func_design_capacity_multiplier_of(dmi_portable_battery const& structure);
SURVEY_API integer func_oem_specific_of(dmi_portable_battery const& structure);

SURVEY_API integer func_length_of(dmi_system_reset const& structure);
SURVEY_API integer func_capabilities_of(dmi_system_reset const& structure);
SURVEY_API integer func_reset_count_of(dmi_system_reset const& structure);
SURVEY_API integer func_reset_limit_of(dmi_system_reset const& structure);
SURVEY_API integer func_timer_interval_of(dmi_system_reset const& structure);
SURVEY_API integer func_timeout_of(dmi_system_reset const& structure);

SURVEY_API integer func_length_of(dmi_hardware_security const& structure);
SURVEY_API integer func_hardware_security_settings_of(dmi_hardware_security const& structure);

SURVEY_API integer func_length_of(dmi_system_power_controls const& structure);
SURVEY_API integer
func_next_scheduled_power_on_month_of(dmi_system_power_controls const& structure);
SURVEY_API integer
func_next_scheduled_power_on_day_of_month_of(dmi_system_power_controls const& structure);
SURVEY_API integer func_next_scheduled_power_on_hour_of(dmi_system_power_controls const& structure);
SURVEY_API integer
func_next_scheduled_power_on_minute_of(dmi_system_power_controls const& structure);
SURVEY_API integer
func_next_scheduled_power_on_second_of(dmi_system_power_controls const& structure);

SURVEY_API integer func_length_of(dmi_voltage_probe const& structure);
SURVEY_API surveyor_string func_description_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_location_and_status_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_maximum_value_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_minimum_value_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_resolution_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_tolerance_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_accuracy_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_oem_defined_of(dmi_voltage_probe const& structure);
SURVEY_API integer func_nominal_value_of(dmi_voltage_probe const& structure);

SURVEY_API integer func_length_of(dmi_cooling_device const& structure);
SURVEY_API integer func_temperature_probe_handle_of(dmi_cooling_device const& structure);
SURVEY_API integer func_device_type_and_status_of(dmi_cooling_device const& structure);
SURVEY_API integer func_cooling_unit_group_of(dmi_cooling_device const& structure);
SURVEY_API integer func_oem_defined_of(dmi_cooling_device const& structure);
SURVEY_API integer func_nominal_speed_of(dmi_cooling_device const& structure);

SURVEY_API integer func_length_of(dmi_temperature_probe const& structure);
SURVEY_API surveyor_string func_description_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_location_and_status_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_maximum_value_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_minimum_value_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_resolution_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_tolerance_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_accuracy_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_oem_defined_of(dmi_temperature_probe const& structure);
SURVEY_API integer func_nominal_value_of(dmi_temperature_probe const& structure);

SURVEY_API integer func_length_of(dmi_electrical_current_probe const& structure);
SURVEY_API surveyor_string func_description_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_location_and_status_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_maximum_value_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_minimum_value_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_resolution_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_tolerance_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_accuracy_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_oem_defined_of(dmi_electrical_current_probe const& structure);
SURVEY_API integer func_nominal_value_of(dmi_electrical_current_probe const& structure);

SURVEY_API integer func_length_of(dmi_out_of_band_remote_access const& structure);
SURVEY_API surveyor_string
func_manufacturer_name_of(dmi_out_of_band_remote_access const& structure);
SURVEY_API integer func_connections_of(dmi_out_of_band_remote_access const& structure);

SURVEY_API integer func_length_of(dmi_system_boot_information const& structure);

SURVEY_API integer func_length_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer func_error_type_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer func_error_granularity_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer func_error_operation_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer func_vendor_syndrome_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer
func_memory_array_error_address_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer
func_device_error_address_of(dmi_b64_bit_memory_error_information const& structure);
SURVEY_API integer func_error_resolution_of(dmi_b64_bit_memory_error_information const& structure);

SURVEY_API integer func_length_of(dmi_management_device const& structure);
SURVEY_API surveyor_string func_description_of(dmi_management_device const& structure);
SURVEY_API integer func_type_of(dmi_management_device const& structure);
SURVEY_API integer func_address_of(dmi_management_device const& structure);
SURVEY_API integer func_address_type_of(dmi_management_device const& structure);

SURVEY_API integer func_length_of(dmi_management_device_component const& structure);
SURVEY_API surveyor_string func_description_of(dmi_management_device_component const& structure);
SURVEY_API integer
func_management_device_handle_of(dmi_management_device_component const& structure);
SURVEY_API integer func_component_handle_of(dmi_management_device_component const& structure);
SURVEY_API integer func_threshold_handle_of(dmi_management_device_component const& structure);

SURVEY_API integer func_length_of(dmi_management_device_threshold_data const& structure);
SURVEY_API integer
func_lower_threshold_non_critical_of(dmi_management_device_threshold_data const& structure);
SURVEY_API integer
func_upper_threshold_non_critical_of(dmi_management_device_threshold_data const& structure);
SURVEY_API integer
func_lower_threshold_critical_of(dmi_management_device_threshold_data const& structure);
SURVEY_API integer
func_upper_threshold_critical_of(dmi_management_device_threshold_data const& structure);
SURVEY_API integer
func_lower_threshold_non_recoverable_of(dmi_management_device_threshold_data const& structure);
SURVEY_API integer
func_upper_threshold_non_recoverable_of(dmi_management_device_threshold_data const& structure);

SURVEY_API integer func_length_of(dmi_inactive const& structure);

SURVEY_API integer func_length_of(dmi_end_of_table const& structure);

using dmi_device_type_iterator =
    DmiListIterator<dmi_on_board_devices_information, integer, &func_device_type_of>;
using dmi_device_description_iterator =
    DmiListIterator<dmi_on_board_devices_information, surveyor_string, &func_device_description_of>;

// The two text lists that run over all structures of their type: the OEM
// strings (type 11) and the system configuration options (type 12), each
// numbered from 1 over the strings of every structure in table order.
SURVEY_API surveyor_string dmi_oem_string_of(unsigned long long number, dmi const& world);
SURVEY_API surveyor_string dmi_system_configuration_option_of(unsigned long long number,
                                                              dmi const& world);
using dmi_oem_string_iterator = DmiListIterator<dmi, surveyor_string, &dmi_oem_string_of>;
using dmi_system_configuration_option_iterator =
    DmiListIterator<dmi, surveyor_string, &dmi_system_configuration_option_of>;

// Two types that stand in the vocabulary although no property yields them.
struct dmi_oem_strings : DmiStructureView {
  static constexpr char const* TypeName() { return "dmi oem_strings"; }
};
struct dmi_system_configuration_option : DmiStructureView {
  static constexpr char const* TypeName() { return "dmi system_configuration_option"; }
};
