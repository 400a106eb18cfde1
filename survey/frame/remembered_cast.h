// A cast from the present context to one of its interfaces that is worked
// out once for each kind of context rather than at every call.
//
// A context offers its interfaces as bases of one object, and every use of
// an interface finds it with `dynamic_cast`, a walk of the class hierarchy
// that costs a few thousand instructions for a context of many parts. A
// query calls it several times for every property (the storage folder, the
// settings, the client object), so the walks added up to a sizeable part of
// a short query. The place of a base within an object depends only on the
// object's dynamic type and on which subobject the pointer points at, so the
// answer of one walk holds for every object of that type reached through the
// same subobject. Each thread keeps the last answer for each target type and
// reuses it while both keys match; any other object is cast afresh.
#pragma once

#include <cstddef>
#include <typeinfo>

namespace survey::frame {

// `dynamic_cast<Target*>(object)`, with the answer remembered for the
// object's dynamic type and subobject. `Source` must be polymorphic. Hidden,
// so that each shared object keeps its own answers and their thread-local
// storage is bound when it is linked, not by a symbol lookup at every start.
template <class Target, class Source>
__attribute__((visibility("hidden"))) Target* RememberedCast(Source* object) {
  if (object == nullptr) return nullptr;
  struct Answer {
    std::type_info const* type = nullptr;  // the dynamic type it was found for
    std::ptrdiff_t top = 0;                // the source subobject's place in it
    std::ptrdiff_t shift = 0;              // from the source to the target
    bool found = false;                    // whether the target is there at all
  };
  thread_local Answer answer;
  char* const source = reinterpret_cast<char*>(object);
  std::type_info const* const type = &typeid(*object);
  std::ptrdiff_t const top = source - static_cast<char*>(dynamic_cast<void*>(object));
  if (answer.type != type || answer.top != top) {
    Target* const target = dynamic_cast<Target*>(object);
    answer.type = type;
    answer.top = top;
    answer.found = target != nullptr;
    answer.shift = target != nullptr ? reinterpret_cast<char*>(target) - source : 0;
  }
  return answer.found ? reinterpret_cast<Target*>(source + answer.shift) : nullptr;
}

}  // namespace survey::frame
