#include "survey/client/client_object.h"

#include <cstring>

#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

client client_of_world() {
  char const* const path = CallContext<&SurveyorStorageContext::GetClientFile>();
  if (path == nullptr || *path == '\0') throw NoSuchObject();
  return client(FileLocation(path));
}

surveyor_version Version_of_client(client const&) {
  static char const kLibrary[] = "HostApplication";
  static char const kProperty[] = "Version";
  surveyor_library const library =
      Lib_of_world(reinterpret_cast<unsigned char const*>(kLibrary), sizeof kLibrary - 1);
  surveyor_string const text =
      Property_of(reinterpret_cast<unsigned char const*>(kProperty), sizeof kProperty - 1, library);
  return AsVersion(text);
}

// ---------------------------------------------------------------------------
// Registration, in table order. The client's file can be replaced between
// evaluations, so nothing is reused.

namespace {

RegistrationTable table{
    TypeRow<client, file>(),
    PropertyRow("client", "clients", &client_of_world),
    PropertyRow("version", "versions", &Version_of_client),
};

}  // namespace
