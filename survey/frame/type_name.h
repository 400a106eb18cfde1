// The registered names of value types.
//
// Every value type names itself once, through a static `TypeName()` that
// gives the name the host knows it by: the host's basic types in the
// boundary header, the library's classes beside their layouts, and composed
// types (tuples, values with a multiplicity) from their parts. Registrations
// take the names from there, never from a second spelling.
#pragma once

#include "survey/frame/boundary.h"

// Stands where a registration has no type: a phrase without an index, a
// property of the world, a type without a base.
struct NoType {};

// The registered type name of a value class.
template <class T>
struct SurveyorTypeName {
  static char const* Get() { return T::TypeName(); }
};

// No type is the empty name, as the host reads it for an index or an object.
template <>
struct SurveyorTypeName<NoType> {
  static char const* Get() { return ""; }
};
