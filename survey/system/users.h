// Who is logged in, who sits at the console, and the run level, all from the
// utmp database: the world properties "user" (every logged-in user, or those
// of a name), "current user" and "runlevel", with their names, lines and
// levels.
//
// The database is the one the C library's utmp functions read, so that a
// process that names another file with `utmpname` is answered from that one.
#pragma once

#include <utmp.h>

#include <cstdint>

#include "survey/frame/adaptors.h"

// A logged-in user: its name and its line (the tty), each of at most 32
// bytes, zero-terminated, in evaluation memory.
struct SURVEY_API user {
  static constexpr char const* TypeName() { return "user"; }

  char const* name;
  char const* tty;
};

// A copy of every record of the utmp database, taken at `Load`, in one block
// of its own.
class SURVEY_API UserEntries {
 public:
  UserEntries() = default;
  ~UserEntries();
  UserEntries(UserEntries const&) = delete;
  UserEntries& operator=(UserEntries const&) = delete;

  // Drops an earlier copy and copies the database as it now stands: counts
  // its records, then reads that many again, fewer if fewer come.
  void Load();
  unsigned long Count() const { return count_; }
  // The record's user name, or its line, cut at 32 bytes, as a text in
  // evaluation memory. NoSuchObject for an index at or above the count.
  char const* GetName(unsigned long index) const;
  char const* GetTty(unsigned long index) const;
  // Whether the record is of a user's process.
  bool IsUserType(unsigned long index) const;

 private:
  struct utmp const& Record(unsigned long index) const;

  struct utmp* records_ = nullptr;
  unsigned long count_ = 0;
};

// Every logged-in user, in the order of the database.
class SURVEY_API user_iterator {
 public:
  user First();
  user Next();

 private:
  UserEntries entries_;
  unsigned long next_ = 0;
};

// The logged-in users of a name, compared without regard to case.
class SURVEY_API nameduser_iterator {
 public:
  user First(surveyor_string const& wanted);
  user Next(surveyor_string const& wanted);

 private:
  UserEntries entries_;
  unsigned long next_ = 0;
};

// The run level record: the level, the level before it (0 for none) and
// the seconds since 1970 at which it took effect.
struct SURVEY_API runlevel_impl {
  static constexpr char const* TypeName() { return "runlevel"; }

  unsigned char current;
  unsigned char previous;
  std::int32_t seconds;
};

// The room for a name or a line that the console lookup fills: 32 bytes and
// a terminator.
inline constexpr unsigned long kConsoleNameSize = 33;

// Whether an X server runs: its folder of sockets has an entry whose name
// starts with "X0". A folder that cannot be read gives false.
SURVEY_API bool GetXServerActive();

// The user at the machine's console, when an X server runs: the user of the
// first utmp record on display ":0" (a user's process with no host, a host
// starting with "console", or a host starting with ":0"); failing that, the
// user logged in on "tty1" whose home folder holds a non-empty
// ".Xauthority". Fills `name` and, when given, `tty` with at most 32 bytes
// and a terminator. False when no user is found or a buffer is smaller than
// 33 bytes.
SURVEY_API bool GetLocalUserOnConsole(char* name, unsigned long nameSize, char* tty,
                                      unsigned long ttySize);

SURVEY_API user currentUser_of_world();
SURVEY_API surveyor_string name_of_user(user const& value);
SURVEY_API surveyor_string tty_of_user(user const& value);

SURVEY_API runlevel_impl Runlevel_of_world();
SURVEY_API surveyor_string Value_of_runlevel(runlevel_impl const& level);
SURVEY_API surveyor_string PreviousValue_of_runlevel(runlevel_impl const& level);
SURVEY_API moment EffectiveTime_of_runlevel(runlevel_impl const& level);
// The text of the level, as "value" gives it.
SURVEY_API surveyor_string RunlevelAsString(runlevel_impl const& level);

namespace survey::system::testing {

// Looks for the X server's sockets in a copy of `folder` instead of "/tmp/.X11-unix";
// null restores that folder, the only one used outside tests. Tests only:
// no query reaches it.
SURVEY_API void LookForXServerIn(char const* folder);

// Finds home folders in a copy of the password file path `path` instead of through the
// system's account database; null restores the system's lookup, the only
// one used outside tests. Tests only: no query reaches it.
SURVEY_API void ReadAccountsFrom(char const* path);

}  // namespace survey::system::testing
