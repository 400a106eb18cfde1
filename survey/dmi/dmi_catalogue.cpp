#include "survey/dmi/dmi_catalogue.h"

#include <new>

#include "survey/frame/stream_end.h"
#include "survey/frame/table.h"

// The numbered function of each structure kind: the structure of that
// number among those of its type.
#define DMI_NUMBERED(phrase, number)                                     \
  dmi_##phrase dmi_##phrase##_of(unsigned long long index, dmi const&) { \
    dmi_##phrase structure{};                                            \
    GetDMIStructure(number, index, &structure.data, &structure.size);    \
    return structure;                                                    \
  }

DMI_NUMBERED(bios_information, 0)
DMI_NUMBERED(system_information, 1)
DMI_NUMBERED(base_board_information, 2)
DMI_NUMBERED(system_enclosure_or_chassis, 3)
DMI_NUMBERED(processor_information, 4)
DMI_NUMBERED(memory_controller_information, 5)
DMI_NUMBERED(memory_module_information, 6)
DMI_NUMBERED(cache_information, 7)
DMI_NUMBERED(port_connector_information, 8)
DMI_NUMBERED(system_slots, 9)
DMI_NUMBERED(on_board_devices_information, 10)
DMI_NUMBERED(bios_language_information, 13)
DMI_NUMBERED(group_associations, 14)
DMI_NUMBERED(physical_memory_array, 16)
DMI_NUMBERED(memory_device, 17)
DMI_NUMBERED(b32_bit_memory_error_information, 18)
DMI_NUMBERED(memory_array_mapped_address, 19)
DMI_NUMBERED(memory_device_mapped_address, 20)
DMI_NUMBERED(built_in_pointing_device, 21)
DMI_NUMBERED(portable_battery, 22)
DMI_NUMBERED(system_reset, 23)
DMI_NUMBERED(hardware_security, 24)
DMI_NUMBERED(system_power_controls, 25)
DMI_NUMBERED(voltage_probe, 26)
DMI_NUMBERED(cooling_device, 27)
DMI_NUMBERED(temperature_probe, 28)
DMI_NUMBERED(electrical_current_probe, 29)
DMI_NUMBERED(out_of_band_remote_access, 30)
DMI_NUMBERED(system_boot_information, 32)
DMI_NUMBERED(b64_bit_memory_error_information, 33)
DMI_NUMBERED(management_device, 34)
DMI_NUMBERED(management_device_component, 35)
DMI_NUMBERED(management_device_threshold_data, 36)
DMI_NUMBERED(inactive, 126)
DMI_NUMBERED(end_of_table, 127)

#undef DMI_NUMBERED

integer func_length_of(dmi_bios_information const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_vendor_of(dmi_bios_information const& s) {
  return GetString(s.data, s.size, 4);
}
surveyor_string func_bios_version_of(dmi_bios_information const& s) {
  return GetString(s.data, s.size, 5);
}
integer func_bios_starting_address_segment_of(dmi_bios_information const& s) {
  return GetWORD(s.data, s.size, 6);
}
surveyor_string func_bios_release_date_of(dmi_bios_information const& s) {
  return GetString(s.data, s.size, 8);
}
integer func_bios_rom_size_of(dmi_bios_information const& s) { return GetBYTE(s.data, s.size, 9); }
integer func_bios_characteristics_of(dmi_bios_information const& s) {
  return GetQWORD(s.data, s.size, 10);
}

integer func_length_of(dmi_system_information const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_manufacturer_of(dmi_system_information const& s) {
  return GetString(s.data, s.size, 4);
}
surveyor_string func_product_name_of(dmi_system_information const& s) {
  return GetString(s.data, s.size, 5);
}
surveyor_string func_version_of(dmi_system_information const& s) {
  return GetString(s.data, s.size, 6);
}
surveyor_string func_serial_number_of(dmi_system_information const& s) {
  return GetString(s.data, s.size, 7);
}
integer func_wake_up_type_of(dmi_system_information const& s) {
  return GetBYTE(s.data, s.size, 24);
}

integer func_length_of(dmi_base_board_information const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_manufacturer_of(dmi_base_board_information const& s) {
  return GetString(s.data, s.size, 4);
}
surveyor_string func_product_of(dmi_base_board_information const& s) {
  return GetString(s.data, s.size, 5);
}
surveyor_string func_version_of(dmi_base_board_information const& s) {
  return GetString(s.data, s.size, 6);
}
surveyor_string func_serial_number_of(dmi_base_board_information const& s) {
  return GetString(s.data, s.size, 7);
}

integer func_length_of(dmi_system_enclosure_or_chassis const& s) {
  return GetBYTE(s.data, s.size, 1);
}
surveyor_string func_manufacturer_of(dmi_system_enclosure_or_chassis const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_type_of(dmi_system_enclosure_or_chassis const& s) {
  return GetBYTE(s.data, s.size, 5);
}
surveyor_string func_version_of(dmi_system_enclosure_or_chassis const& s) {
  return GetString(s.data, s.size, 6);
}
surveyor_string func_serial_number_of(dmi_system_enclosure_or_chassis const& s) {
  return GetString(s.data, s.size, 7);
}
surveyor_string func_asset_tag_number_of(dmi_system_enclosure_or_chassis const& s) {
  return GetString(s.data, s.size, 8);
}
integer func_bootup_state_of(dmi_system_enclosure_or_chassis const& s) {
  return GetBYTE(s.data, s.size, 9);
}
integer func_power_supply_state_of(dmi_system_enclosure_or_chassis const& s) {
  return GetBYTE(s.data, s.size, 10);
}
integer func_thermal_state_of(dmi_system_enclosure_or_chassis const& s) {
  return GetBYTE(s.data, s.size, 11);
}
integer func_security_status_of(dmi_system_enclosure_or_chassis const& s) {
  return GetBYTE(s.data, s.size, 12);
}
integer func_oem_defined_of(dmi_system_enclosure_or_chassis const& s) {
  return GetDWORD(s.data, s.size, 13);
}

integer func_length_of(dmi_processor_information const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_socket_designation_of(dmi_processor_information const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_processor_type_of(dmi_processor_information const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_processor_family_of(dmi_processor_information const& s) {
  return GetBYTE(s.data, s.size, 6);
}
surveyor_string func_processor_manufacturer_of(dmi_processor_information const& s) {
  return GetString(s.data, s.size, 7);
}
integer func_processor_id_of(dmi_processor_information const& s) {
  return GetQWORD(s.data, s.size, 8);
}
surveyor_string func_processor_version_of(dmi_processor_information const& s) {
  return GetString(s.data, s.size, 16);
}
integer func_voltage_of(dmi_processor_information const& s) { return GetBYTE(s.data, s.size, 17); }
integer func_external_clock_of(dmi_processor_information const& s) {
  return GetWORD(s.data, s.size, 18);
}
integer func_max_speed_of(dmi_processor_information const& s) {
  return GetWORD(s.data, s.size, 20);
}
integer func_current_speed_of(dmi_processor_information const& s) {
  return GetWORD(s.data, s.size, 22);
}
integer func_status_of(dmi_processor_information const& s) { return GetBYTE(s.data, s.size, 24); }
integer func_processor_upgrade_of(dmi_processor_information const& s) {
  return GetBYTE(s.data, s.size, 25);
}
integer func_l1_cache_handle_of(dmi_processor_information const& s) {
  return GetWORD(s.data, s.size, 26);
}
integer func_l2_cache_handle_of(dmi_processor_information const& s) {
  return GetWORD(s.data, s.size, 28);
}
integer func_l3_cache_handle_of(dmi_processor_information const& s) {
  return GetWORD(s.data, s.size, 30);
}

integer func_length_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_error_detecting_method_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 4);
}
integer func_error_correcting_capability_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_supported_interleave_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_current_interleave_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 7);
}
integer func_maximum_memory_module_size_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 8);
}
integer func_supported_speeds_of(dmi_memory_controller_information const& s) {
  return GetWORD(s.data, s.size, 9);
}
integer func_supported_memory_types_of(dmi_memory_controller_information const& s) {
  return GetWORD(s.data, s.size, 11);
}
integer func_memory_module_voltage_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 13);
}
integer func_number_of_associated_memory_slots_of(dmi_memory_controller_information const& s) {
  return GetBYTE(s.data, s.size, 14);
}

integer func_length_of(dmi_memory_module_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}
surveyor_string func_socket_designation_of(dmi_memory_module_information const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_bank_connections_of(dmi_memory_module_information const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_current_speed_of(dmi_memory_module_information const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_current_memory_type_of(dmi_memory_module_information const& s) {
  return GetWORD(s.data, s.size, 7);
}
integer func_installed_size_of(dmi_memory_module_information const& s) {
  return GetBYTE(s.data, s.size, 9);
}
integer func_enabled_size_of(dmi_memory_module_information const& s) {
  return GetBYTE(s.data, s.size, 10);
}
integer func_error_status_of(dmi_memory_module_information const& s) {
  return GetBYTE(s.data, s.size, 11);
}

integer func_length_of(dmi_cache_information const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_socket_designation_of(dmi_cache_information const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_cache_configuration_of(dmi_cache_information const& s) {
  return GetWORD(s.data, s.size, 5);
}
integer func_maximum_cache_size_of(dmi_cache_information const& s) {
  return GetWORD(s.data, s.size, 7);
}
integer func_installed_size_of(dmi_cache_information const& s) {
  return GetWORD(s.data, s.size, 9);
}
integer func_supported_sram_type_of(dmi_cache_information const& s) {
  return GetWORD(s.data, s.size, 11);
}
integer func_current_sram_type_of(dmi_cache_information const& s) {
  return GetWORD(s.data, s.size, 13);
}
integer func_cache_speed_of(dmi_cache_information const& s) { return GetBYTE(s.data, s.size, 15); }
integer func_error_correction_type_of(dmi_cache_information const& s) {
  return GetBYTE(s.data, s.size, 16);
}
integer func_system_cache_type_of(dmi_cache_information const& s) {
  return GetBYTE(s.data, s.size, 17);
}
integer func_associativity_of(dmi_cache_information const& s) {
  return GetBYTE(s.data, s.size, 18);
}

integer func_length_of(dmi_port_connector_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}
surveyor_string func_internal_reference_designator_of(dmi_port_connector_information const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_internal_connector_type_of(dmi_port_connector_information const& s) {
  return GetBYTE(s.data, s.size, 5);
}
surveyor_string func_external_reference_designator_of(dmi_port_connector_information const& s) {
  return GetString(s.data, s.size, 6);
}
integer func_external_connector_type_of(dmi_port_connector_information const& s) {
  return GetBYTE(s.data, s.size, 7);
}
integer func_port_type_of(dmi_port_connector_information const& s) {
  return GetBYTE(s.data, s.size, 8);
}

integer func_length_of(dmi_system_slots const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_slot_designation_of(dmi_system_slots const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_slot_type_of(dmi_system_slots const& s) { return GetBYTE(s.data, s.size, 5); }
integer func_slot_data_bus_width_of(dmi_system_slots const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_current_usage_of(dmi_system_slots const& s) { return GetBYTE(s.data, s.size, 7); }
integer func_slot_length_of(dmi_system_slots const& s) { return GetBYTE(s.data, s.size, 8); }
integer func_slot_id_of(dmi_system_slots const& s) { return GetWORD(s.data, s.size, 9); }
integer func_slot_characteristics_1_of(dmi_system_slots const& s) {
  return GetBYTE(s.data, s.size, 11);
}
integer func_slot_characteristics_2_of(dmi_system_slots const& s) {
  return GetBYTE(s.data, s.size, 12);
}

integer func_length_of(dmi_on_board_devices_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}

integer func_length_of(dmi_bios_language_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_installable_languages_of(dmi_bios_language_information const& s) {
  return GetBYTE(s.data, s.size, 4);
}
integer func_flags_of(dmi_bios_language_information const& s) { return GetBYTE(s.data, s.size, 5); }
surveyor_string func_current_language_of(dmi_bios_language_information const& s) {
  return GetString(s.data, s.size, 21);
}

integer func_length_of(dmi_group_associations const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_group_name_of(dmi_group_associations const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_item_type_of(dmi_group_associations const& s) { return GetBYTE(s.data, s.size, 5); }
integer func_item_handle_of(dmi_group_associations const& s) { return GetWORD(s.data, s.size, 6); }

integer func_length_of(dmi_physical_memory_array const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_location_of(dmi_physical_memory_array const& s) { return GetBYTE(s.data, s.size, 4); }
integer func_use_of(dmi_physical_memory_array const& s) { return GetBYTE(s.data, s.size, 5); }
integer func_memory_error_correction_of(dmi_physical_memory_array const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_maximum_capacity_of(dmi_physical_memory_array const& s) {
  return GetDWORD(s.data, s.size, 7);
}
integer func_memory_error_information_handle_of(dmi_physical_memory_array const& s) {
  return GetWORD(s.data, s.size, 11);
}
integer func_number_of_memory_devices_of(dmi_physical_memory_array const& s) {
  return GetWORD(s.data, s.size, 13);
}

integer func_length_of(dmi_memory_device const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_memory_array_handle_of(dmi_memory_device const& s) {
  return GetWORD(s.data, s.size, 4);
}
integer func_memory_error_information_handle_of(dmi_memory_device const& s) {
  return GetWORD(s.data, s.size, 6);
}
integer func_total_width_of(dmi_memory_device const& s) { return GetWORD(s.data, s.size, 8); }
integer func_data_width_of(dmi_memory_device const& s) { return GetWORD(s.data, s.size, 10); }
integer func_size_of(dmi_memory_device const& s) { return GetWORD(s.data, s.size, 12); }
integer func_form_factor_of(dmi_memory_device const& s) { return GetBYTE(s.data, s.size, 14); }
integer func_device_set_of(dmi_memory_device const& s) { return GetBYTE(s.data, s.size, 15); }
surveyor_string func_device_locator_of(dmi_memory_device const& s) {
  return GetString(s.data, s.size, 16);
}
surveyor_string func_bank_locator_of(dmi_memory_device const& s) {
  return GetString(s.data, s.size, 17);
}
integer func_memory_type_of(dmi_memory_device const& s) { return GetBYTE(s.data, s.size, 18); }
integer func_type_detail_of(dmi_memory_device const& s) { return GetWORD(s.data, s.size, 19); }
integer func_speed_of(dmi_memory_device const& s) { return GetWORD(s.data, s.size, 21); }

integer func_length_of(dmi_b32_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_error_type_of(dmi_b32_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 4);
}
integer func_error_granularity_of(dmi_b32_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_error_operation_of(dmi_b32_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_vendor_syndrome_of(dmi_b32_bit_memory_error_information const& s) {
  return GetDWORD(s.data, s.size, 7);
}
integer func_memory_array_error_address_of(dmi_b32_bit_memory_error_information const& s) {
  return GetDWORD(s.data, s.size, 11);
}
integer func_device_error_address_of(dmi_b32_bit_memory_error_information const& s) {
  return GetDWORD(s.data, s.size, 15);
}
integer func_error_resolution_of(dmi_b32_bit_memory_error_information const& s) {
  return GetDWORD(s.data, s.size, 19);
}

integer func_length_of(dmi_memory_array_mapped_address const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_starting_address_of(dmi_memory_array_mapped_address const& s) {
  return GetDWORD(s.data, s.size, 4);
}
integer func_ending_address_of(dmi_memory_array_mapped_address const& s) {
  return GetDWORD(s.data, s.size, 8);
}
integer func_memory_array_handle_of(dmi_memory_array_mapped_address const& s) {
  return GetWORD(s.data, s.size, 12);
}
integer func_partition_width_of(dmi_memory_array_mapped_address const& s) {
  return GetBYTE(s.data, s.size, 14);
}

integer func_length_of(dmi_memory_device_mapped_address const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_starting_address_of(dmi_memory_device_mapped_address const& s) {
  return GetDWORD(s.data, s.size, 4);
}
integer func_ending_address_of(dmi_memory_device_mapped_address const& s) {
  return GetDWORD(s.data, s.size, 8);
}
integer func_memory_device_handle_of(dmi_memory_device_mapped_address const& s) {
  return GetWORD(s.data, s.size, 12);
}
integer func_memory_array_mapped_address_handle_of(dmi_memory_device_mapped_address const& s) {
  return GetWORD(s.data, s.size, 14);
}
integer func_partition_row_position_of(dmi_memory_device_mapped_address const& s) {
  return GetBYTE(s.data, s.size, 16);
}
integer func_interleave_position_of(dmi_memory_device_mapped_address const& s) {
  return GetBYTE(s.data, s.size, 17);
}
integer func_interleaved_data_depth_of(dmi_memory_device_mapped_address const& s) {
  return GetBYTE(s.data, s.size, 18);
}

integer func_length_of(dmi_built_in_pointing_device const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_type_of(dmi_built_in_pointing_device const& s) { return GetBYTE(s.data, s.size, 4); }
integer func_interface_of(dmi_built_in_pointing_device const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_number_of_buttons_of(dmi_built_in_pointing_device const& s) {
  return GetBYTE(s.data, s.size, 6);
}

integer func_length_of(dmi_portable_battery const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_location_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 4);
}
surveyor_string func_manufacturer_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 5);
}
surveyor_string func_manufacture_date_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 6);
}
surveyor_string func_serial_number_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 7);
}
surveyor_string func_device_name_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 8);
}
integer func_device_chemistry_of(dmi_portable_battery const& s) {
  return GetBYTE(s.data, s.size, 9);
}
integer func_design_capacity_of(dmi_portable_battery const& s) {
  return GetWORD(s.data, s.size, 10);
}
integer func_design_voltage_of(dmi_portable_battery const& s) {
  return GetWORD(s.data, s.size, 12);
}
surveyor_string func_sbds_version_number_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 14);
}
integer func_maximum_error_in_battery_data_of(dmi_portable_battery const& s) {
  return GetBYTE(s.data, s.size, 15);
}
integer func_sbds_serial_number_of(dmi_portable_battery const& s) {
  return GetWORD(s.data, s.size, 16);
}
integer func_sbds_manufacture_date_of(dmi_portable_battery const& s) {
  return GetWORD(s.data, s.size, 18);
}
surveyor_string func_sbds_device_chemistry_of(dmi_portable_battery const& s) {
  return GetString(s.data, s.size, 20);
}
integer func_design_capacity_multiplier_of(dmi_portable_battery const& s) {
  return GetBYTE(s.data, s.size, 21);
}
integer func_oem_specific_of(dmi_portable_battery const& s) { return GetDWORD(s.data, s.size, 22); }

integer func_length_of(dmi_system_reset const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_capabilities_of(dmi_system_reset const& s) { return GetBYTE(s.data, s.size, 4); }
integer func_reset_count_of(dmi_system_reset const& s) { return GetWORD(s.data, s.size, 5); }
integer func_reset_limit_of(dmi_system_reset const& s) { return GetWORD(s.data, s.size, 7); }
integer func_timer_interval_of(dmi_system_reset const& s) { return GetWORD(s.data, s.size, 9); }
integer func_timeout_of(dmi_system_reset const& s) { return GetWORD(s.data, s.size, 11); }

integer func_length_of(dmi_hardware_security const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_hardware_security_settings_of(dmi_hardware_security const& s) {
  return GetBYTE(s.data, s.size, 4);
}

integer func_length_of(dmi_system_power_controls const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_next_scheduled_power_on_month_of(dmi_system_power_controls const& s) {
  return GetBYTE(s.data, s.size, 4);
}
integer func_next_scheduled_power_on_day_of_month_of(dmi_system_power_controls const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_next_scheduled_power_on_hour_of(dmi_system_power_controls const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_next_scheduled_power_on_minute_of(dmi_system_power_controls const& s) {
  return GetBYTE(s.data, s.size, 7);
}
integer func_next_scheduled_power_on_second_of(dmi_system_power_controls const& s) {
  return GetBYTE(s.data, s.size, 8);
}

integer func_length_of(dmi_voltage_probe const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_description_of(dmi_voltage_probe const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_location_and_status_of(dmi_voltage_probe const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_maximum_value_of(dmi_voltage_probe const& s) { return GetWORD(s.data, s.size, 6); }
integer func_minimum_value_of(dmi_voltage_probe const& s) { return GetWORD(s.data, s.size, 8); }
integer func_resolution_of(dmi_voltage_probe const& s) { return GetWORD(s.data, s.size, 10); }
integer func_tolerance_of(dmi_voltage_probe const& s) { return GetWORD(s.data, s.size, 12); }
integer func_accuracy_of(dmi_voltage_probe const& s) { return GetWORD(s.data, s.size, 14); }
integer func_oem_defined_of(dmi_voltage_probe const& s) { return GetDWORD(s.data, s.size, 16); }
integer func_nominal_value_of(dmi_voltage_probe const& s) { return GetWORD(s.data, s.size, 20); }

integer func_length_of(dmi_cooling_device const& s) { return GetBYTE(s.data, s.size, 1); }
integer func_temperature_probe_handle_of(dmi_cooling_device const& s) {
  return GetWORD(s.data, s.size, 4);
}
integer func_device_type_and_status_of(dmi_cooling_device const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_cooling_unit_group_of(dmi_cooling_device const& s) {
  return GetBYTE(s.data, s.size, 7);
}
integer func_oem_defined_of(dmi_cooling_device const& s) { return GetDWORD(s.data, s.size, 8); }
integer func_nominal_speed_of(dmi_cooling_device const& s) { return GetWORD(s.data, s.size, 12); }

integer func_length_of(dmi_temperature_probe const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_description_of(dmi_temperature_probe const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_location_and_status_of(dmi_temperature_probe const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_maximum_value_of(dmi_temperature_probe const& s) { return GetWORD(s.data, s.size, 6); }
integer func_minimum_value_of(dmi_temperature_probe const& s) { return GetWORD(s.data, s.size, 8); }
integer func_resolution_of(dmi_temperature_probe const& s) { return GetWORD(s.data, s.size, 10); }
integer func_tolerance_of(dmi_temperature_probe const& s) { return GetWORD(s.data, s.size, 12); }
integer func_accuracy_of(dmi_temperature_probe const& s) { return GetWORD(s.data, s.size, 14); }
integer func_oem_defined_of(dmi_temperature_probe const& s) { return GetDWORD(s.data, s.size, 16); }
integer func_nominal_value_of(dmi_temperature_probe const& s) {
  return GetWORD(s.data, s.size, 20);
}

integer func_length_of(dmi_electrical_current_probe const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_description_of(dmi_electrical_current_probe const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_location_and_status_of(dmi_electrical_current_probe const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_maximum_value_of(dmi_electrical_current_probe const& s) {
  return GetWORD(s.data, s.size, 6);
}
integer func_minimum_value_of(dmi_electrical_current_probe const& s) {
  return GetWORD(s.data, s.size, 8);
}
integer func_resolution_of(dmi_electrical_current_probe const& s) {
  return GetWORD(s.data, s.size, 10);
}
integer func_tolerance_of(dmi_electrical_current_probe const& s) {
  return GetWORD(s.data, s.size, 12);
}
integer func_accuracy_of(dmi_electrical_current_probe const& s) {
  return GetWORD(s.data, s.size, 14);
}
integer func_oem_defined_of(dmi_electrical_current_probe const& s) {
  return GetDWORD(s.data, s.size, 16);
}
integer func_nominal_value_of(dmi_electrical_current_probe const& s) {
  return GetWORD(s.data, s.size, 20);
}

integer func_length_of(dmi_out_of_band_remote_access const& s) {
  return GetBYTE(s.data, s.size, 1);
}
surveyor_string func_manufacturer_name_of(dmi_out_of_band_remote_access const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_connections_of(dmi_out_of_band_remote_access const& s) {
  return GetBYTE(s.data, s.size, 5);
}

integer func_length_of(dmi_system_boot_information const& s) { return GetBYTE(s.data, s.size, 1); }

integer func_length_of(dmi_b64_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_error_type_of(dmi_b64_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 4);
}
integer func_error_granularity_of(dmi_b64_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 5);
}
integer func_error_operation_of(dmi_b64_bit_memory_error_information const& s) {
  return GetBYTE(s.data, s.size, 6);
}
integer func_vendor_syndrome_of(dmi_b64_bit_memory_error_information const& s) {
  return GetDWORD(s.data, s.size, 7);
}
integer func_memory_array_error_address_of(dmi_b64_bit_memory_error_information const& s) {
  return GetQWORD(s.data, s.size, 11);
}
integer func_device_error_address_of(dmi_b64_bit_memory_error_information const& s) {
  return GetQWORD(s.data, s.size, 19);
}
integer func_error_resolution_of(dmi_b64_bit_memory_error_information const& s) {
  return GetDWORD(s.data, s.size, 27);
}

integer func_length_of(dmi_management_device const& s) { return GetBYTE(s.data, s.size, 1); }
surveyor_string func_description_of(dmi_management_device const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_type_of(dmi_management_device const& s) { return GetBYTE(s.data, s.size, 5); }
integer func_address_of(dmi_management_device const& s) { return GetDWORD(s.data, s.size, 6); }
integer func_address_type_of(dmi_management_device const& s) { return GetBYTE(s.data, s.size, 10); }

integer func_length_of(dmi_management_device_component const& s) {
  return GetBYTE(s.data, s.size, 1);
}
surveyor_string func_description_of(dmi_management_device_component const& s) {
  return GetString(s.data, s.size, 4);
}
integer func_management_device_handle_of(dmi_management_device_component const& s) {
  return GetWORD(s.data, s.size, 5);
}
integer func_component_handle_of(dmi_management_device_component const& s) {
  return GetWORD(s.data, s.size, 7);
}
integer func_threshold_handle_of(dmi_management_device_component const& s) {
  return GetWORD(s.data, s.size, 9);
}

integer func_length_of(dmi_management_device_threshold_data const& s) {
  return GetBYTE(s.data, s.size, 1);
}
integer func_lower_threshold_non_critical_of(dmi_management_device_threshold_data const& s) {
  return GetWORD(s.data, s.size, 4);
}
integer func_upper_threshold_non_critical_of(dmi_management_device_threshold_data const& s) {
  return GetWORD(s.data, s.size, 6);
}
integer func_lower_threshold_critical_of(dmi_management_device_threshold_data const& s) {
  return GetWORD(s.data, s.size, 8);
}
integer func_upper_threshold_critical_of(dmi_management_device_threshold_data const& s) {
  return GetWORD(s.data, s.size, 10);
}
integer func_lower_threshold_non_recoverable_of(dmi_management_device_threshold_data const& s) {
  return GetWORD(s.data, s.size, 12);
}
integer func_upper_threshold_non_recoverable_of(dmi_management_device_threshold_data const& s) {
  return GetWORD(s.data, s.size, 14);
}

integer func_length_of(dmi_inactive const& s) { return GetBYTE(s.data, s.size, 1); }

integer func_length_of(dmi_end_of_table const& s) { return GetBYTE(s.data, s.size, 1); }

integer func_device_type_of(unsigned long long number, dmi_on_board_devices_information const& s) {
  return DmiDeviceType(s.data, s.size, number);
}

surveyor_string func_device_description_of(unsigned long long number,
                                           dmi_on_board_devices_information const& s) {
  return DmiDeviceDescription(s.data, s.size, number);
}

surveyor_string dmi_oem_string_of(unsigned long long number, dmi const&) {
  return GetStringBlockStringFromPosAndType(number, 11);
}

surveyor_string dmi_system_configuration_option_of(unsigned long long number, dmi const&) {
  return GetStringBlockStringFromPosAndType(number, 12);
}

// ---------------------------------------------------------------------------
// Registration. The load array is cleared, and handed to the snapshot's
// cleanup at unload, before anything is registered; then come the
// structure kinds with their fields in type order, and the two text lists.
// Every property depends on its operands alone: a structure never changes
// once loaded.

namespace {

struct LoadArraySetUp {
  LoadArraySetUp() {
    ClearDmiLoadArray();
    dmiReleaseStructures = &FreeDmiLoadArray;
  }
} loadArraySetUp;

// The adaptor of the structure iterations. It steps the iterator's counter
// and looks the structure up without the numbered function's exception, so
// that for a host that takes a return of 0 as the end of the stream
// (survey/frame/stream_end.h) the end of every iteration, one for each
// structure kind a query walks, costs no exception. For any other host the
// end is NoSuchObject, as the numbered function throws it.
template <class It>
struct StructureSteps {
  using Structure = typename It::Result;

  static int First(void* result, void const*, void const*, void* state, void const*) {
    if (result == nullptr) return 1;
    return Deliver(result, static_cast<It*>(state)->FirstNumber());
  }
  static int Next(void* result, void const*, void const*, void* state, void const*) {
    if (result == nullptr) return 1;
    return Deliver(result, static_cast<It*>(state)->NextNumber());
  }

 private:
  static int Deliver(void* result, std::uint64_t number) {
    Structure structure{};
    if (!FindDMIStructure(Structure::kType, number, &structure.data, &structure.size)) {
      if (survey::frame::HostEndsStreamsOnZero()) return 0;
      throw NoSuchObject();
    }
    ::new (result) Structure(structure);
    return 1;
  }
};

template <class It>
survey::frame::IteratedRowOf<StructureSteps<It>, It, NoType, dmi, typename It::Result, void>
StructureRow(char const* singular, char const* plural, SurveyorDependency dependency) {
  return {singular, plural, dependency};
}

// The adaptor of a string field at a fixed offset. An unset string field
// (number 0) is common in real tables, and the protocol lets a simple
// property say "no value" by returning 0, which costs no exception. The
// record still holds the field's function, which reads the same offset.
template <class Structure, unsigned long Offset>
struct StringField {
  using Function = surveyor_string (*)(Structure const&);

  static int Get(void* result, void const*, void const* object, void*, void const*) {
    if (result == nullptr) return 1;
    Structure const& structure = *static_cast<Structure const*>(object);
    surveyor_string text{};
    if (!FindString(structure.data, structure.size, Offset, text)) return 0;
    ::new (result) surveyor_string(text);
    return 1;
  }
};

template <class Structure, unsigned long Offset>
survey::frame::PropertyRowOf<StringField<Structure, Offset>, NoType, Structure, surveyor_string>
StringRow(char const* singular, char const* plural, surveyor_string (*function)(Structure const&),
          SurveyorDependency dependency) {
  return {singular, plural, function, dependency};
}

RegistrationTable bios_information_table{
    TypeRow<dmi_bios_information>(),
    StructureRow<dmi_bios_information_iterator>("bios_information", "bios_informations",
                                                &DependsOnlyOnParameters),
    IndexedRow("bios_information", "bios_informations", &dmi_bios_information_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_information>("length", "lengths", &func_length_of,
                                      &DependsOnlyOnParameters),
    StringRow<dmi_bios_information, 4>("vendor", "vendors", &func_vendor_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_bios_information, 5>("bios_version", "bios_versions", &func_bios_version_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_information>(
        "bios_starting_address_segment", "bios_starting_address_segments",
        &func_bios_starting_address_segment_of, &DependsOnlyOnParameters),
    StringRow<dmi_bios_information, 8>("bios_release_date", "bios_release_dates",
                                       &func_bios_release_date_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_information>("bios_rom_size", "bios_rom_sizes", &func_bios_rom_size_of,
                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_information>("bios_characteristics", "bios_characteristicss",
                                      &func_bios_characteristics_of, &DependsOnlyOnParameters),
};

RegistrationTable system_information_table{
    TypeRow<dmi_system_information>(),
    StructureRow<dmi_system_information_iterator>("system_information", "system_informations",
                                                  &DependsOnlyOnParameters),
    IndexedRow("system_information", "system_informations", &dmi_system_information_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_system_information>("length", "lengths", &func_length_of,
                                        &DependsOnlyOnParameters),
    StringRow<dmi_system_information, 4>("manufacturer", "manufacturers", &func_manufacturer_of,
                                         &DependsOnlyOnParameters),
    StringRow<dmi_system_information, 5>("product_name", "product_names", &func_product_name_of,
                                         &DependsOnlyOnParameters),
    StringRow<dmi_system_information, 6>("version", "versions", &func_version_of,
                                         &DependsOnlyOnParameters),
    StringRow<dmi_system_information, 7>("serial_number", "serial_numbers", &func_serial_number_of,
                                         &DependsOnlyOnParameters),
    PropertyRow<dmi_system_information>("wake_up_type", "wake_up_types", &func_wake_up_type_of,
                                        &DependsOnlyOnParameters),
};

RegistrationTable base_board_information_table{
    TypeRow<dmi_base_board_information>(),
    StructureRow<dmi_base_board_information_iterator>(
        "base_board_information", "base_board_informations", &DependsOnlyOnParameters),
    IndexedRow("base_board_information", "base_board_informations", &dmi_base_board_information_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_base_board_information>("length", "lengths", &func_length_of,
                                            &DependsOnlyOnParameters),
    StringRow<dmi_base_board_information, 4>("manufacturer", "manufacturers", &func_manufacturer_of,
                                             &DependsOnlyOnParameters),
    StringRow<dmi_base_board_information, 5>("product", "products", &func_product_of,
                                             &DependsOnlyOnParameters),
    StringRow<dmi_base_board_information, 6>("version", "versions", &func_version_of,
                                             &DependsOnlyOnParameters),
    StringRow<dmi_base_board_information, 7>("serial_number", "serial_numbers",
                                             &func_serial_number_of, &DependsOnlyOnParameters),
};

RegistrationTable system_enclosure_or_chassis_table{
    TypeRow<dmi_system_enclosure_or_chassis>(),
    StructureRow<dmi_system_enclosure_or_chassis_iterator>(
        "system_enclosure_or_chassis", "system_enclosure_or_chassiss", &DependsOnlyOnParameters),
    IndexedRow("system_enclosure_or_chassis", "system_enclosure_or_chassiss",
               &dmi_system_enclosure_or_chassis_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>("length", "lengths", &func_length_of,
                                                 &DependsOnlyOnParameters),
    StringRow<dmi_system_enclosure_or_chassis, 4>("manufacturer", "manufacturers",
                                                  &func_manufacturer_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>("type", "types", &func_type_of,
                                                 &DependsOnlyOnParameters),
    StringRow<dmi_system_enclosure_or_chassis, 6>("version", "versions", &func_version_of,
                                                  &DependsOnlyOnParameters),
    StringRow<dmi_system_enclosure_or_chassis, 7>("serial_number", "serial_numbers",
                                                  &func_serial_number_of, &DependsOnlyOnParameters),
    StringRow<dmi_system_enclosure_or_chassis, 8>("asset_tag_number", "asset_tag_numbers",
                                                  &func_asset_tag_number_of,
                                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>("bootup_state", "bootup_states",
                                                 &func_bootup_state_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>("power_supply_state", "power_supply_states",
                                                 &func_power_supply_state_of,
                                                 &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>("thermal_state", "thermal_states",
                                                 &func_thermal_state_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>(
        "security_status", "security_statuss", &func_security_status_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_enclosure_or_chassis>("oem_defined", "oem_defineds",
                                                 &func_oem_defined_of, &DependsOnlyOnParameters),
};

RegistrationTable processor_information_table{
    TypeRow<dmi_processor_information>(),
    StructureRow<dmi_processor_information_iterator>(
        "processor_information", "processor_informations", &DependsOnlyOnParameters),
    IndexedRow("processor_information", "processor_informations", &dmi_processor_information_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("length", "lengths", &func_length_of,
                                           &DependsOnlyOnParameters),
    StringRow<dmi_processor_information, 4>("socket_designation", "socket_designations",
                                            &func_socket_designation_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("processor_type", "processor_types",
                                           &func_processor_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("processor_family", "processor_familys",
                                           &func_processor_family_of, &DependsOnlyOnParameters),
    StringRow<dmi_processor_information, 7>("processor_manufacturer", "processor_manufacturers",
                                            &func_processor_manufacturer_of,
                                            &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("processor_id", "processor_ids", &func_processor_id_of,
                                           &DependsOnlyOnParameters),
    StringRow<dmi_processor_information, 16>("processor_version", "processor_versions",
                                             &func_processor_version_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("voltage", "voltages", &func_voltage_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("external_clock", "external_clocks",
                                           &func_external_clock_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("max_speed", "max_speeds", &func_max_speed_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("current_speed", "current_speeds",
                                           &func_current_speed_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("status", "statuss", &func_status_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("processor_upgrade", "processor_upgrades",
                                           &func_processor_upgrade_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("l1_cache_handle", "l1_cache_handles",
                                           &func_l1_cache_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("l2_cache_handle", "l2_cache_handles",
                                           &func_l2_cache_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_processor_information>("l3_cache_handle", "l3_cache_handles",
                                           &func_l3_cache_handle_of, &DependsOnlyOnParameters),
};

RegistrationTable memory_controller_information_table{
    TypeRow<dmi_memory_controller_information>(),
    StructureRow<dmi_memory_controller_information_iterator>("memory_controller_information",
                                                             "memory_controller_informations",
                                                             &DependsOnlyOnParameters),
    IndexedRow("memory_controller_information", "memory_controller_informations",
               &dmi_memory_controller_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>("length", "lengths", &func_length_of,
                                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>(
        "error_detecting_method", "error_detecting_methods", &func_error_detecting_method_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>(
        "error_correcting_capability", "error_correcting_capabilitys",
        &func_error_correcting_capability_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>("supported_interleave", "supported_interleaves",
                                                   &func_supported_interleave_of,
                                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>("current_interleave", "current_interleaves",
                                                   &func_current_interleave_of,
                                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>(
        "maximum_memory_module_size", "maximum_memory_module_sizes",
        &func_maximum_memory_module_size_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>("supported_speeds", "supported_speedss",
                                                   &func_supported_speeds_of,
                                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>(
        "supported_memory_types", "supported_memory_typess", &func_supported_memory_types_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>(
        "memory_module_voltage", "memory_module_voltages", &func_memory_module_voltage_of,
        &DependsOnlyOnParameters),
};

RegistrationTable memory_module_information_table{
    TypeRow<dmi_memory_module_information>(),
    StructureRow<dmi_memory_module_information_iterator>(
        "memory_module_information", "memory_module_informations", &DependsOnlyOnParameters),
    IndexedRow("memory_module_information", "memory_module_informations",
               &dmi_memory_module_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("length", "lengths", &func_length_of,
                                               &DependsOnlyOnParameters),
    StringRow<dmi_memory_module_information, 4>("socket_designation", "socket_designations",
                                                &func_socket_designation_of,
                                                &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("bank_connections", "bank_connectionss",
                                               &func_bank_connections_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("current_speed", "current_speeds",
                                               &func_current_speed_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("current_memory_type", "current_memory_types",
                                               &func_current_memory_type_of,
                                               &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("installed_size", "installed_sizes",
                                               &func_installed_size_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("enabled_size", "enabled_sizes",
                                               &func_enabled_size_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_module_information>("error_status", "error_statuss",
                                               &func_error_status_of, &DependsOnlyOnParameters),
};

RegistrationTable cache_information_table{
    TypeRow<dmi_cache_information>(),
    StructureRow<dmi_cache_information_iterator>("cache_information", "cache_informations",
                                                 &DependsOnlyOnParameters),
    IndexedRow("cache_information", "cache_informations", &dmi_cache_information_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("length", "lengths", &func_length_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_cache_information, 4>("socket_designation", "socket_designations",
                                        &func_socket_designation_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("cache_configuration", "cache_configurations",
                                       &func_cache_configuration_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("maximum_cache_size", "maximum_cache_sizes",
                                       &func_maximum_cache_size_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("installed_size", "installed_sizes", &func_installed_size_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("supported_sram_type", "supported_sram_types",
                                       &func_supported_sram_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("current_sram_type", "current_sram_types",
                                       &func_current_sram_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("cache_speed", "cache_speeds", &func_cache_speed_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("error_correction_type", "error_correction_types",
                                       &func_error_correction_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("system_cache_type", "system_cache_types",
                                       &func_system_cache_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cache_information>("associativity", "associativitys", &func_associativity_of,
                                       &DependsOnlyOnParameters),
};

RegistrationTable port_connector_information_table{
    TypeRow<dmi_port_connector_information>(),
    StructureRow<dmi_port_connector_information_iterator>(
        "port_connector_information", "port_connector_informations", &DependsOnlyOnParameters),
    IndexedRow("port_connector_information", "port_connector_informations",
               &dmi_port_connector_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_port_connector_information>("length", "lengths", &func_length_of,
                                                &DependsOnlyOnParameters),
    StringRow<dmi_port_connector_information, 4>(
        "internal_reference_designator", "internal_reference_designators",
        &func_internal_reference_designator_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_port_connector_information>(
        "internal_connector_type", "internal_connector_types", &func_internal_connector_type_of,
        &DependsOnlyOnParameters),
    StringRow<dmi_port_connector_information, 6>(
        "external_reference_designator", "external_reference_designators",
        &func_external_reference_designator_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_port_connector_information>(
        "external_connector_type", "external_connector_types", &func_external_connector_type_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_port_connector_information>("port_type", "port_types", &func_port_type_of,
                                                &DependsOnlyOnParameters),
};

RegistrationTable system_slots_table{
    TypeRow<dmi_system_slots>(),
    StructureRow<dmi_system_slots_iterator>("system_slots", "system_slotss",
                                            &DependsOnlyOnParameters),
    IndexedRow("system_slots", "system_slotss", &dmi_system_slots_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
    StringRow<dmi_system_slots, 4>("slot_designation", "slot_designations",
                                   &func_slot_designation_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("slot_type", "slot_types", &func_slot_type_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("slot_data_bus_width", "slot_data_bus_widths",
                                  &func_slot_data_bus_width_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("current_usage", "current_usages", &func_current_usage_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("slot_length", "slot_lengths", &func_slot_length_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("slot_id", "slot_ids", &func_slot_id_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("slot_characteristics_1", "slot_characteristics_1s",
                                  &func_slot_characteristics_1_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_slots>("slot_characteristics_2", "slot_characteristics_2s",
                                  &func_slot_characteristics_2_of, &DependsOnlyOnParameters),
};

RegistrationTable on_board_devices_information_table{
    TypeRow<dmi_on_board_devices_information>(),
    StructureRow<dmi_on_board_devices_information_iterator>(
        "on_board_devices_information", "on_board_devices_informations", &DependsOnlyOnParameters),
    IndexedRow("on_board_devices_information", "on_board_devices_informations",
               &dmi_on_board_devices_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_on_board_devices_information>("length", "lengths", &func_length_of,
                                                  &DependsOnlyOnParameters),
    IteratedRow<dmi_device_type_iterator>("device_type", "device_types", &DependsOnlyOnParameters),
    IndexedRow("device_type", "device_types", &func_device_type_of, &DependsOnlyOnParameters),
    IteratedRow<dmi_device_description_iterator>("device_description", "device_descriptions",
                                                 &DependsOnlyOnParameters),
    IndexedRow("device_description", "device_descriptions", &func_device_description_of,
               &DependsOnlyOnParameters),
};

RegistrationTable bios_language_information_table{
    TypeRow<dmi_bios_language_information>(),
    StructureRow<dmi_bios_language_information_iterator>(
        "bios_language_information", "bios_language_informations", &DependsOnlyOnParameters),
    IndexedRow("bios_language_information", "bios_language_informations",
               &dmi_bios_language_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_language_information>("length", "lengths", &func_length_of,
                                               &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_language_information>("installable_languages", "installable_languagess",
                                               &func_installable_languages_of,
                                               &DependsOnlyOnParameters),
    PropertyRow<dmi_bios_language_information>("flags", "flagss", &func_flags_of,
                                               &DependsOnlyOnParameters),
    StringRow<dmi_bios_language_information, 21>("current_language", "current_languages",
                                                 &func_current_language_of,
                                                 &DependsOnlyOnParameters),
};

RegistrationTable group_associations_table{
    TypeRow<dmi_group_associations>(),
    StructureRow<dmi_group_associations_iterator>("group_associations", "group_associationss",
                                                  &DependsOnlyOnParameters),
    IndexedRow("group_associations", "group_associationss", &dmi_group_associations_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_group_associations>("length", "lengths", &func_length_of,
                                        &DependsOnlyOnParameters),
    StringRow<dmi_group_associations, 4>("group_name", "group_names", &func_group_name_of,
                                         &DependsOnlyOnParameters),
    PropertyRow<dmi_group_associations>("item_type", "item_types", &func_item_type_of,
                                        &DependsOnlyOnParameters),
    PropertyRow<dmi_group_associations>("item_handle", "item_handles", &func_item_handle_of,
                                        &DependsOnlyOnParameters),
};

RegistrationTable physical_memory_array_table{
    TypeRow<dmi_physical_memory_array>(),
    StructureRow<dmi_physical_memory_array_iterator>(
        "physical_memory_array", "physical_memory_arrays", &DependsOnlyOnParameters),
    IndexedRow("physical_memory_array", "physical_memory_arrays", &dmi_physical_memory_array_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>("length", "lengths", &func_length_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>("location", "locations", &func_location_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>("use", "uses", &func_use_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>("memory_error_correction", "memory_error_corrections",
                                           &func_memory_error_correction_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>("maximum_capacity", "maximum_capacitys",
                                           &func_maximum_capacity_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>(
        "memory_error_information_handle", "memory_error_information_handles",
        &func_memory_error_information_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_physical_memory_array>("number_of_memory_devices", "number_of_memory_devicess",
                                           &func_number_of_memory_devices_of,
                                           &DependsOnlyOnParameters),
};

RegistrationTable memory_device_table{
    TypeRow<dmi_memory_device>(),
    StructureRow<dmi_memory_device_iterator>("memory_device", "memory_devices",
                                             &DependsOnlyOnParameters),
    IndexedRow("memory_device", "memory_devices", &dmi_memory_device_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("memory_array_handle", "memory_array_handles",
                                   &func_memory_array_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>(
        "memory_error_information_handle", "memory_error_information_handles",
        &func_memory_error_information_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("total_width", "total_widths", &func_total_width_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("data_width", "data_widths", &func_data_width_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("size", "sizes", &func_size_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("form_factor", "form_factors", &func_form_factor_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("device_set", "device_sets", &func_device_set_of,
                                   &DependsOnlyOnParameters),
    StringRow<dmi_memory_device, 16>("device_locator", "device_locators", &func_device_locator_of,
                                     &DependsOnlyOnParameters),
    StringRow<dmi_memory_device, 17>("bank_locator", "bank_locators", &func_bank_locator_of,
                                     &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("memory_type", "memory_types", &func_memory_type_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("type_detail", "type_details", &func_type_detail_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device>("speed", "speeds", &func_speed_of, &DependsOnlyOnParameters),
};

RegistrationTable b32_bit_memory_error_information_table{
    TypeRow<dmi_b32_bit_memory_error_information>(),
    StructureRow<dmi_b32_bit_memory_error_information_iterator>("b32_bit_memory_error_information",
                                                                "b32_bit_memory_error_informations",
                                                                &DependsOnlyOnParameters),
    IndexedRow("b32_bit_memory_error_information", "b32_bit_memory_error_informations",
               &dmi_b32_bit_memory_error_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>("length", "lengths", &func_length_of,
                                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>(
        "error_type", "error_types", &func_error_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>("error_granularity", "error_granularitys",
                                                      &func_error_granularity_of,
                                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>(
        "error_operation", "error_operations", &func_error_operation_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>(
        "vendor_syndrome", "vendor_syndromes", &func_vendor_syndrome_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>(
        "memory_array_error_address", "memory_array_error_addresss",
        &func_memory_array_error_address_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>(
        "device_error_address", "device_error_addresss", &func_device_error_address_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_b32_bit_memory_error_information>("error_resolution", "error_resolutions",
                                                      &func_error_resolution_of,
                                                      &DependsOnlyOnParameters),
};

RegistrationTable memory_array_mapped_address_table{
    TypeRow<dmi_memory_array_mapped_address>(),
    StructureRow<dmi_memory_array_mapped_address_iterator>(
        "memory_array_mapped_address", "memory_array_mapped_addresss", &DependsOnlyOnParameters),
    IndexedRow("memory_array_mapped_address", "memory_array_mapped_addresss",
               &dmi_memory_array_mapped_address_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_array_mapped_address>("length", "lengths", &func_length_of,
                                                 &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_array_mapped_address>("starting_address", "starting_addresss",
                                                 &func_starting_address_of,
                                                 &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_array_mapped_address>("ending_address", "ending_addresss",
                                                 &func_ending_address_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_array_mapped_address>("memory_array_handle", "memory_array_handles",
                                                 &func_memory_array_handle_of,
                                                 &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_array_mapped_address>(
        "partition_width", "partition_widths", &func_partition_width_of, &DependsOnlyOnParameters),
};

RegistrationTable memory_device_mapped_address_table{
    TypeRow<dmi_memory_device_mapped_address>(),
    StructureRow<dmi_memory_device_mapped_address_iterator>(
        "memory_device_mapped_address", "memory_device_mapped_addresss", &DependsOnlyOnParameters),
    IndexedRow("memory_device_mapped_address", "memory_device_mapped_addresss",
               &dmi_memory_device_mapped_address_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>("length", "lengths", &func_length_of,
                                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>("starting_address", "starting_addresss",
                                                  &func_starting_address_of,
                                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>(
        "ending_address", "ending_addresss", &func_ending_address_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>("memory_device_handle", "memory_device_handles",
                                                  &func_memory_device_handle_of,
                                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>(
        "memory_array_mapped_address_handle", "memory_array_mapped_address_handles",
        &func_memory_array_mapped_address_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>(
        "partition_row_position", "partition_row_positions", &func_partition_row_position_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>("interleave_position", "interleave_positions",
                                                  &func_interleave_position_of,
                                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_device_mapped_address>(
        "interleaved_data_depth", "interleaved_data_depths", &func_interleaved_data_depth_of,
        &DependsOnlyOnParameters),
};

RegistrationTable built_in_pointing_device_table{
    TypeRow<dmi_built_in_pointing_device>(),
    StructureRow<dmi_built_in_pointing_device_iterator>(
        "built_in_pointing_device", "built_in_pointing_devices", &DependsOnlyOnParameters),
    IndexedRow("built_in_pointing_device", "built_in_pointing_devices",
               &dmi_built_in_pointing_device_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_built_in_pointing_device>("length", "lengths", &func_length_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_built_in_pointing_device>("type", "types", &func_type_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_built_in_pointing_device>("interface", "interfaces", &func_interface_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_built_in_pointing_device>("number_of_buttons", "number_of_buttonss",
                                              &func_number_of_buttons_of, &DependsOnlyOnParameters),
};

RegistrationTable portable_battery_table{
    TypeRow<dmi_portable_battery>(),
    StructureRow<dmi_portable_battery_iterator>("portable_battery", "portable_batterys",
                                                &DependsOnlyOnParameters),
    IndexedRow("portable_battery", "portable_batterys", &dmi_portable_battery_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("length", "lengths", &func_length_of,
                                      &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 4>("location", "locations", &func_location_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 5>("manufacturer", "manufacturers", &func_manufacturer_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 6>("manufacture_date", "manufacture_dates",
                                       &func_manufacture_date_of, &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 7>("serial_number", "serial_numbers", &func_serial_number_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 8>("device_name", "device_names", &func_device_name_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("device_chemistry", "device_chemistrys",
                                      &func_device_chemistry_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("design_capacity", "design_capacitys",
                                      &func_design_capacity_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("design_voltage", "design_voltages", &func_design_voltage_of,
                                      &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 14>("sbds_version_number", "sbds_version_numbers",
                                        &func_sbds_version_number_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>(
        "maximum_error_in_battery_data", "maximum_error_in_battery_datas",
        &func_maximum_error_in_battery_data_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("sbds_serial_number", "sbds_serial_numbers",
                                      &func_sbds_serial_number_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("sbds_manufacture_date", "sbds_manufacture_dates",
                                      &func_sbds_manufacture_date_of, &DependsOnlyOnParameters),
    StringRow<dmi_portable_battery, 20>("sbds_device_chemistry", "sbds_device_chemistrys",
                                        &func_sbds_device_chemistry_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("design_capacity_multiplier", "design_capacity_multipliers",
                                      &func_design_capacity_multiplier_of,
                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_portable_battery>("oem_specific", "oem_specifics", &func_oem_specific_of,
                                      &DependsOnlyOnParameters),
};

RegistrationTable system_reset_table{
    TypeRow<dmi_system_reset>(),
    StructureRow<dmi_system_reset_iterator>("system_reset", "system_resets",
                                            &DependsOnlyOnParameters),
    IndexedRow("system_reset", "system_resets", &dmi_system_reset_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_reset>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_reset>("capabilities", "capabilitiess", &func_capabilities_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_reset>("reset_count", "reset_counts", &func_reset_count_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_reset>("reset_limit", "reset_limits", &func_reset_limit_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_reset>("timer_interval", "timer_intervals", &func_timer_interval_of,
                                  &DependsOnlyOnParameters),
    PropertyRow<dmi_system_reset>("timeout", "timeouts", &func_timeout_of,
                                  &DependsOnlyOnParameters),
};

RegistrationTable hardware_security_table{
    TypeRow<dmi_hardware_security>(),
    StructureRow<dmi_hardware_security_iterator>("hardware_security", "hardware_securitys",
                                                 &DependsOnlyOnParameters),
    IndexedRow("hardware_security", "hardware_securitys", &dmi_hardware_security_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_hardware_security>("length", "lengths", &func_length_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_hardware_security>("hardware_security_settings", "hardware_security_settingss",
                                       &func_hardware_security_settings_of,
                                       &DependsOnlyOnParameters),
};

RegistrationTable system_power_controls_table{
    TypeRow<dmi_system_power_controls>(),
    StructureRow<dmi_system_power_controls_iterator>(
        "system_power_controls", "system_power_controlss", &DependsOnlyOnParameters),
    IndexedRow("system_power_controls", "system_power_controlss", &dmi_system_power_controls_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_system_power_controls>("length", "lengths", &func_length_of,
                                           &DependsOnlyOnParameters),
    PropertyRow<dmi_system_power_controls>(
        "next_scheduled_power_on_month", "next_scheduled_power_on_months",
        &func_next_scheduled_power_on_month_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_power_controls>(
        "next_scheduled_power_on_day_of_month", "next_scheduled_power_on_day_of_months",
        &func_next_scheduled_power_on_day_of_month_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_power_controls>(
        "next_scheduled_power_on_hour", "next_scheduled_power_on_hours",
        &func_next_scheduled_power_on_hour_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_power_controls>(
        "next_scheduled_power_on_minute", "next_scheduled_power_on_minutes",
        &func_next_scheduled_power_on_minute_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_power_controls>(
        "next_scheduled_power_on_second", "next_scheduled_power_on_seconds",
        &func_next_scheduled_power_on_second_of, &DependsOnlyOnParameters),
};

RegistrationTable voltage_probe_table{
    TypeRow<dmi_voltage_probe>(),
    StructureRow<dmi_voltage_probe_iterator>("voltage_probe", "voltage_probes",
                                             &DependsOnlyOnParameters),
    IndexedRow("voltage_probe", "voltage_probes", &dmi_voltage_probe_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
    StringRow<dmi_voltage_probe, 4>("description", "descriptions", &func_description_of,
                                    &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("location_and_status", "location_and_statuss",
                                   &func_location_and_status_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("maximum_value", "maximum_values", &func_maximum_value_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("minimum_value", "minimum_values", &func_minimum_value_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("resolution", "resolutions", &func_resolution_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("tolerance", "tolerances", &func_tolerance_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("accuracy", "accuracys", &func_accuracy_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("oem_defined", "oem_defineds", &func_oem_defined_of,
                                   &DependsOnlyOnParameters),
    PropertyRow<dmi_voltage_probe>("nominal_value", "nominal_values", &func_nominal_value_of,
                                   &DependsOnlyOnParameters),
};

RegistrationTable cooling_device_table{
    TypeRow<dmi_cooling_device>(),
    StructureRow<dmi_cooling_device_iterator>("cooling_device", "cooling_devices",
                                              &DependsOnlyOnParameters),
    IndexedRow("cooling_device", "cooling_devices", &dmi_cooling_device_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_cooling_device>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cooling_device>("temperature_probe_handle", "temperature_probe_handles",
                                    &func_temperature_probe_handle_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cooling_device>("device_type_and_status", "device_type_and_statuss",
                                    &func_device_type_and_status_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cooling_device>("cooling_unit_group", "cooling_unit_groups",
                                    &func_cooling_unit_group_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_cooling_device>("oem_defined", "oem_defineds", &func_oem_defined_of,
                                    &DependsOnlyOnParameters),
    PropertyRow<dmi_cooling_device>("nominal_speed", "nominal_speeds", &func_nominal_speed_of,
                                    &DependsOnlyOnParameters),
};

RegistrationTable temperature_probe_table{
    TypeRow<dmi_temperature_probe>(),
    StructureRow<dmi_temperature_probe_iterator>("temperature_probe", "temperature_probes",
                                                 &DependsOnlyOnParameters),
    IndexedRow("temperature_probe", "temperature_probes", &dmi_temperature_probe_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("length", "lengths", &func_length_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_temperature_probe, 4>("description", "descriptions", &func_description_of,
                                        &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("location_and_status", "location_and_statuss",
                                       &func_location_and_status_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("maximum_value", "maximum_values", &func_maximum_value_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("minimum_value", "minimum_values", &func_minimum_value_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("resolution", "resolutions", &func_resolution_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("tolerance", "tolerances", &func_tolerance_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("accuracy", "accuracys", &func_accuracy_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("oem_defined", "oem_defineds", &func_oem_defined_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_temperature_probe>("nominal_value", "nominal_values", &func_nominal_value_of,
                                       &DependsOnlyOnParameters),
};

RegistrationTable electrical_current_probe_table{
    TypeRow<dmi_electrical_current_probe>(),
    StructureRow<dmi_electrical_current_probe_iterator>(
        "electrical_current_probe", "electrical_current_probes", &DependsOnlyOnParameters),
    IndexedRow("electrical_current_probe", "electrical_current_probes",
               &dmi_electrical_current_probe_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("length", "lengths", &func_length_of,
                                              &DependsOnlyOnParameters),
    StringRow<dmi_electrical_current_probe, 4>("description", "descriptions", &func_description_of,
                                               &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("location_and_status", "location_and_statuss",
                                              &func_location_and_status_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("maximum_value", "maximum_values",
                                              &func_maximum_value_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("minimum_value", "minimum_values",
                                              &func_minimum_value_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("resolution", "resolutions", &func_resolution_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("tolerance", "tolerances", &func_tolerance_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("accuracy", "accuracys", &func_accuracy_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("oem_defined", "oem_defineds", &func_oem_defined_of,
                                              &DependsOnlyOnParameters),
    PropertyRow<dmi_electrical_current_probe>("nominal_value", "nominal_values",
                                              &func_nominal_value_of, &DependsOnlyOnParameters),
};

RegistrationTable out_of_band_remote_access_table{
    TypeRow<dmi_out_of_band_remote_access>(),
    StructureRow<dmi_out_of_band_remote_access_iterator>(
        "out_of_band_remote_access", "out_of_band_remote_accesss", &DependsOnlyOnParameters),
    IndexedRow("out_of_band_remote_access", "out_of_band_remote_accesss",
               &dmi_out_of_band_remote_access_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_out_of_band_remote_access>("length", "lengths", &func_length_of,
                                               &DependsOnlyOnParameters),
    StringRow<dmi_out_of_band_remote_access, 4>("manufacturer_name", "manufacturer_names",
                                                &func_manufacturer_name_of,
                                                &DependsOnlyOnParameters),
    PropertyRow<dmi_out_of_band_remote_access>("connections", "connectionss", &func_connections_of,
                                               &DependsOnlyOnParameters),
};

RegistrationTable system_boot_information_table{
    TypeRow<dmi_system_boot_information>(),
    StructureRow<dmi_system_boot_information_iterator>(
        "system_boot_information", "system_boot_informations", &DependsOnlyOnParameters),
    IndexedRow("system_boot_information", "system_boot_informations",
               &dmi_system_boot_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_system_boot_information>("length", "lengths", &func_length_of,
                                             &DependsOnlyOnParameters),
};

RegistrationTable b64_bit_memory_error_information_table{
    TypeRow<dmi_b64_bit_memory_error_information>(),
    StructureRow<dmi_b64_bit_memory_error_information_iterator>("b64_bit_memory_error_information",
                                                                "b64_bit_memory_error_informations",
                                                                &DependsOnlyOnParameters),
    IndexedRow("b64_bit_memory_error_information", "b64_bit_memory_error_informations",
               &dmi_b64_bit_memory_error_information_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>("length", "lengths", &func_length_of,
                                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>(
        "error_type", "error_types", &func_error_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>("error_granularity", "error_granularitys",
                                                      &func_error_granularity_of,
                                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>(
        "error_operation", "error_operations", &func_error_operation_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>(
        "vendor_syndrome", "vendor_syndromes", &func_vendor_syndrome_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>(
        "memory_array_error_address", "memory_array_error_addresss",
        &func_memory_array_error_address_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>(
        "device_error_address", "device_error_addresss", &func_device_error_address_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_b64_bit_memory_error_information>("error_resolution", "error_resolutions",
                                                      &func_error_resolution_of,
                                                      &DependsOnlyOnParameters),
};

RegistrationTable management_device_table{
    TypeRow<dmi_management_device>(),
    StructureRow<dmi_management_device_iterator>("management_device", "management_devices",
                                                 &DependsOnlyOnParameters),
    IndexedRow("management_device", "management_devices", &dmi_management_device_of,
               &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device>("length", "lengths", &func_length_of,
                                       &DependsOnlyOnParameters),
    StringRow<dmi_management_device, 4>("description", "descriptions", &func_description_of,
                                        &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device>("type", "types", &func_type_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device>("address", "addresss", &func_address_of,
                                       &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device>("address_type", "address_types", &func_address_type_of,
                                       &DependsOnlyOnParameters),
};

RegistrationTable management_device_component_table{
    TypeRow<dmi_management_device_component>(),
    StructureRow<dmi_management_device_component_iterator>(
        "management_device_component", "management_device_components", &DependsOnlyOnParameters),
    IndexedRow("management_device_component", "management_device_components",
               &dmi_management_device_component_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_component>("length", "lengths", &func_length_of,
                                                 &DependsOnlyOnParameters),
    StringRow<dmi_management_device_component, 4>("description", "descriptions",
                                                  &func_description_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_component>(
        "management_device_handle", "management_device_handles", &func_management_device_handle_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_component>("component_handle", "component_handles",
                                                 &func_component_handle_of,
                                                 &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_component>("threshold_handle", "threshold_handles",
                                                 &func_threshold_handle_of,
                                                 &DependsOnlyOnParameters),
};

RegistrationTable management_device_threshold_data_table{
    TypeRow<dmi_management_device_threshold_data>(),
    StructureRow<dmi_management_device_threshold_data_iterator>("management_device_threshold_data",
                                                                "management_device_threshold_datas",
                                                                &DependsOnlyOnParameters),
    IndexedRow("management_device_threshold_data", "management_device_threshold_datas",
               &dmi_management_device_threshold_data_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>("length", "lengths", &func_length_of,
                                                      &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>(
        "lower_threshold_non_critical", "lower_threshold_non_criticals",
        &func_lower_threshold_non_critical_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>(
        "upper_threshold_non_critical", "upper_threshold_non_criticals",
        &func_upper_threshold_non_critical_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>(
        "lower_threshold_critical", "lower_threshold_criticals", &func_lower_threshold_critical_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>(
        "upper_threshold_critical", "upper_threshold_criticals", &func_upper_threshold_critical_of,
        &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>(
        "lower_threshold_non_recoverable", "lower_threshold_non_recoverables",
        &func_lower_threshold_non_recoverable_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_management_device_threshold_data>(
        "upper_threshold_non_recoverable", "upper_threshold_non_recoverables",
        &func_upper_threshold_non_recoverable_of, &DependsOnlyOnParameters),
};

RegistrationTable inactive_table{
    TypeRow<dmi_inactive>(),
    StructureRow<dmi_inactive_iterator>("inactive", "inactives", &DependsOnlyOnParameters),
    IndexedRow("inactive", "inactives", &dmi_inactive_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_inactive>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
};

RegistrationTable end_of_table_table{
    TypeRow<dmi_end_of_table>(),
    StructureRow<dmi_end_of_table_iterator>("end_of_table", "end_of_tables",
                                            &DependsOnlyOnParameters),
    IndexedRow("end_of_table", "end_of_tables", &dmi_end_of_table_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_end_of_table>("length", "lengths", &func_length_of, &DependsOnlyOnParameters),
};

RegistrationTable text_list_table{
    TypeRow<dmi_oem_strings>(),
    TypeRow<dmi_system_configuration_option>(),
    IteratedRow<dmi_oem_string_iterator>("oem_string", "oem_strings", &DependsOnlyOnParameters),
    IndexedRow("oem_string", "oem_strings", &dmi_oem_string_of, &DependsOnlyOnParameters),
    IteratedRow<dmi_system_configuration_option_iterator>(
        "system_configuration_option", "system_configuration_options", &DependsOnlyOnParameters),
    IndexedRow("system_configuration_option", "system_configuration_options",
               &dmi_system_configuration_option_of, &DependsOnlyOnParameters),
    PropertyRow<dmi_memory_controller_information>(
        "number_of_associated_memory_slots", "number_of_associated_memory_slotss",
        &func_number_of_associated_memory_slots_of, &DependsOnlyOnParameters),
};

}  // namespace
