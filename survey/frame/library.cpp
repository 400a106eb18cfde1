// What a host looks for in this library: the function `survey`, by which it
// recognises a surveyor library, and the version record `KXVerDta`.

#include "survey/frame/adaptors.h"

extern "C" SURVEY_API void survey() {}

// The version record: pairs of NUL-terminated strings, key then value, an
// empty value being a lone NUL, ended by one further NUL (the literal's own).
// It alone fills the section `VersionStringResource`, so the linker's
// __start_ and __stop_ symbols bound exactly it. The pieces are separate
// literals so that no escape runs into a following digit.
extern "C" SURVEY_API char const KXVerDta[]
    __attribute__((section("VersionStringResource"), used)) =
        "Comments" "\0" "" "\0"
        "CompanyName" "\0" "Survey Project" "\0"
        "FileDescription" "\0" "Survey" "\0"
        "FileVersion" "\0" "7.1.1.315" "\0"
        "InternalName" "\0" "Survey" "\0"
        "LegalTrademarks" "\0" "" "\0"
        "OriginalFilename" "\0" "libSurvey.so" "\0"
        "PrivateBuild" "\0" "" "\0"
        "ProductName" "\0" "Survey" "\0"
        "ProductVersion" "\0" "7.1.1.315" "\0"
        "SpecialBuild" "\0" "" "\0"
        "BuildTarget" "\0" "i386_rhe4" "\0"
        "ModuleName" "\0" "libSurvey.so" "\0"
        "ClientCompatibleSurveyor" "\0" "Yes" "\0"
        "SurveyTwo" "\0" "survey2" "\0";

// The linker defines __start_ and __stop_ for a section only when something
// refers to them; this reference makes it define them, so that a host may
// find the record by its bounds as well as by its name.
extern "C" char const __start_VersionStringResource[];
extern "C" char const __stop_VersionStringResource[];
[[maybe_unused]] __attribute__((used)) static char const* const kVersionRecordBounds[] = {
    __start_VersionStringResource, __stop_VersionStringResource};

void DependsOnlyOnParameters(Fingerprinter&) {}

int GenericNullGetter(void*, void const*, void const*, void*, void const*) { return 0; }
