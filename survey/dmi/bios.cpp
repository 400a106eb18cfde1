#include "survey/dmi/bios.h"

#include "survey/frame/table.h"

bios Bios_of_world() { throw NoSuchObject(); }

surveyor_string Date_of(bios const&) { throw NoSuchObject(); }

surveyor_string Version_of(bios const&) { throw NoSuchObject(); }

surveyor_string AsString(bios const&) { throw NoSuchObject(); }

// ---------------------------------------------------------------------------
// Registration, in table order.

namespace {

RegistrationTable table{
    TypeRow<bios>(),
    PropertyRow("bios", "bioses", &Bios_of_world, &DependsOnlyOnParameters),
    PropertyRow("date", "dates", &Date_of, &DependsOnlyOnParameters),
    PropertyRow("version", "versions", &Version_of, &DependsOnlyOnParameters),
    CastRow<bios>("string", &AsString, &DependsOnlyOnParameters),
};

}  // namespace
