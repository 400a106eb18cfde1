#include "host/client/late_library.h"

#include <dlfcn.h>

namespace survey::client {

LateLibrary::LateLibrary(char const* name) : name_(name), handle_(dlopen(name, RTLD_NOW)) {
  if (handle_ == nullptr) {
    char const* const reason = dlerror();
    throw LateLibraryError("cannot load " + name_ + ": " +
                           (reason != nullptr ? reason : "unknown error"));
  }
}

void* LateLibrary::Address(char const* symbol) const {
  dlerror();
  void* const address = dlsym(handle_, symbol);
  if (address == nullptr) {
    throw LateLibraryError(name_ + " has no function " + symbol);
  }
  return address;
}

}  // namespace survey::client
