#include "host/client/late_library.h"

#include <dlfcn.h>

namespace survey::client {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

int OpenFlags(LateLibrary::Binding binding) {
  int flags = RTLD_NOW;
#if defined(RTLD_DEEPBIND)
  if (binding == LateLibrary::Binding::kOwnFirst && !kSanitized) flags |= RTLD_DEEPBIND;
#else
  (void)binding;
#endif
  return flags;
}

}  // namespace

LateLibrary::LateLibrary(char const* name, Binding binding)
    : name_(name), handle_(dlopen(name, OpenFlags(binding))) {
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
