// A machine library that the host opens on its first use rather than at the
// start of every program that links the host.
//
// The client's database (SQLite) and the file hashes (libcrypto) serve only
// some queries, yet linking them made the dynamic loader map and relocate
// both, several thousand symbol lookups, at every start of the command,
// before the first query was read. The host now names them by their
// versioned file names and opens each, once, when it is first needed; the
// headers it compiles against are the same.
#pragma once

#include <stdexcept>
#include <string>

namespace survey::client {

// The library cannot be opened, or lacks a function.
class LateLibraryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class LateLibrary {
 public:
  // How the library's references to names are bound.
  enum class Binding {
    // As for any library: the program's names come first.
    kProgramFirst,
    // The library's own names, and those of the libraries it needs, come
    // before the program's: each of its references to itself is then found
    // at the first place looked, rather than after every library of the
    // program. For a large self-contained library this is most of the cost
    // of opening it. Only for a library whose names no part of the program
    // means to replace; and as the sanitizers' runtimes replace the C
    // library's allocator for the whole program, a sanitized build binds as
    // for any library.
    kOwnFirst,
  };

  // Opens the library by its file name (as the dynamic loader looks it up);
  // LateLibraryError when it cannot.
  explicit LateLibrary(char const* name, Binding binding = Binding::kProgramFirst);
  LateLibrary(LateLibrary const&) = delete;
  LateLibrary& operator=(LateLibrary const&) = delete;
  // The library stays open until the program ends: what was taken from it
  // may be in use by static objects to the last.
  ~LateLibrary() = default;

  // The function of that name; LateLibraryError when the library lacks it.
  template <class Function>
  void Bind(Function*& function, char const* symbol) const {
    function = reinterpret_cast<Function*>(Address(symbol));
  }

 private:
  void* Address(char const* symbol) const;

  std::string name_;
  void* handle_;
};

}  // namespace survey::client
