// The process environment as the query language sees it: the world property
// "environment", its variables as a stream and by name, and the name, value
// and text form of a variable.
#pragma once

#include "survey/frame/adaptors.h"

// The one value standing for the process environment. Nothing is stored.
class SURVEY_API environment {
 public:
  static constexpr char const* TypeName() { return "environment"; }
};

// A variable: views of its name and its value. Neither owns its bytes.
struct SURVEY_API environment_variable {
  static constexpr char const* TypeName() { return "environment variable"; }

  surveyor_string name;
  surveyor_string value;
};

// Walks the process's array of environment entries.
class SURVEY_API environment_var_iterator {
 public:
  environment_var_iterator();
  ~environment_var_iterator();

  // Starts a new pass at the first entry.
  environment_variable First(environment const&);
  // The next well-formed entry. A malformed entry (no "=", an empty name or
  // an empty value) ends the stream just as the end of the array does.
  environment_variable Next(environment const&);

 private:
  char** slot_;
};

SURVEY_API environment Environment_of_world();
SURVEY_API environment_variable variable_of(unsigned char const* name, unsigned long length,
                                            environment const&);
SURVEY_API surveyor_string name_of(environment_variable const& variable);
SURVEY_API surveyor_string value_of(environment_variable const& variable);
SURVEY_API surveyor_string AsString(environment_variable const& variable);
