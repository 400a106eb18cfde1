// The world property "client": the program of the client itself, as a file,
// with the version that the host gives its own application.
#pragma once

#include "survey/files/filesystem_object.h"
#include "survey/frame/adaptors.h"
#include "survey/values/versions.h"

// "client": the host application's executable, a "file" in every respect.
class SURVEY_API client : public file {
 public:
  static constexpr char const* TypeName() { return "client"; }

  // NoSuchObject when the location is missing or not a regular file.
  explicit client(FileLocation const& location) : file(location, false) {}
};

// The file that the storage context names as the host application's.
// NoSurveyorContext without the context; SurveyorStorageContextError when
// its slot is null.
SURVEY_API client client_of_world();

// The "Version" property of the world library "HostApplication", as a
// version.
SURVEY_API surveyor_version Version_of_client(client const& program);
