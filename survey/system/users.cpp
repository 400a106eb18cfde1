#include "survey/system/users.h"

#include <pwd.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "survey/foundation/ascii.h"
#include "survey/foundation/data.h"
#include "survey/foundation/file_location.h"
#include "survey/foundation/file_loop.h"
#include "survey/frame/table.h"

static_assert(sizeof(struct utmp) == 384, "utmp records have the C library's 384-byte layout");

namespace {

char const kMachineXServerFolder[] = "/tmp/.X11-unix";

// What tests name in place of the machine's, kept as copies; empty for the
// machine's own folder of X sockets and its account database.
std::string& TestXServerFolder() {
  static std::string path;
  return path;
}
std::string& TestAccountsFile() {
  static std::string path;
  return path;
}

// The longest name or line taken from a record.
constexpr unsigned long kFieldLimit = 32;

// Up to 32 bytes of a record's field, which need not be terminated, and a
// terminator.
void CopyField(char* out, char const* field, unsigned long fieldSize) {
  unsigned long const limit = fieldSize < kFieldLimit ? fieldSize : kFieldLimit;
  unsigned long const length = strnlen(field, limit);
  std::memcpy(out, field, length);
  out[length] = '\0';
}

char const* EvaluationField(char const* field, unsigned long fieldSize) {
  char* const copy = reinterpret_cast<char*>(Allocate_Surveyor_Memory(kFieldLimit + 1));
  CopyField(copy, field, fieldSize);
  return copy;
}

// A zero-terminated text of evaluation memory as a string.
surveyor_string View(char const* text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text), std::strlen(text)};
}

template <std::size_t N>
bool FieldStartsWith(char const (&field)[N], char const* prefix) {
  std::size_t const length = std::strlen(prefix);
  return length <= N && std::strncmp(field, prefix, length) == 0;
}

template <std::size_t N>
bool FieldIsEmpty(char const (&field)[N]) {
  return field[0] == '\0';
}

// The walks of the database end with `endutent` on every way out.
class UtmpWalk {
 public:
  UtmpWalk() { setutent(); }
  ~UtmpWalk() { endutent(); }
  UtmpWalk(UtmpWalk const&) = delete;
  UtmpWalk& operator=(UtmpWalk const&) = delete;
  struct utmp const* Next() {
    return getutent();
  }
};

}  // namespace

// ---------------------------------------------------------------------------
// The copy of the database.

UserEntries::~UserEntries() { std::free(records_); }

void UserEntries::Load() {
  std::free(records_);
  records_ = nullptr;
  count_ = 0;
  unsigned long count = 0;
  {
    UtmpWalk walk;
    while (walk.Next() != nullptr) ++count;
  }
  if (count == 0) return;
  records_ = static_cast<struct utmp*>(std::calloc(count, sizeof(struct utmp)));
  if (records_ == nullptr) throw std::bad_alloc();
  UtmpWalk walk;
  while (count_ < count) {
    struct utmp const* const entry = walk.Next();
    if (entry == nullptr) break;
    records_[count_++] = *entry;
  }
}

struct utmp const& UserEntries::Record(unsigned long index) const {
  if (index >= count_) throw NoSuchObject();
  return records_[index];
}

char const* UserEntries::GetName(unsigned long index) const {
  struct utmp const& record = Record(index);
  return EvaluationField(record.ut_user, sizeof record.ut_user);
}

char const* UserEntries::GetTty(unsigned long index) const {
  struct utmp const& record = Record(index);
  return EvaluationField(record.ut_line, sizeof record.ut_line);
}

bool UserEntries::IsUserType(unsigned long index) const {
  return Record(index).ut_type == USER_PROCESS;
}

// ---------------------------------------------------------------------------
// The logged-in users.

user user_iterator::First() {
  entries_.Load();
  next_ = 0;
  return Next();
}

user user_iterator::Next() {
  while (next_ < entries_.Count()) {
    unsigned long const index = next_++;
    if (entries_.IsUserType(index)) return user{entries_.GetName(index), entries_.GetTty(index)};
  }
  throw NoSuchObject();
}

user nameduser_iterator::First(surveyor_string const& wanted) {
  entries_.Load();
  next_ = 0;
  return Next(wanted);
}

user nameduser_iterator::Next(surveyor_string const& wanted) {
  while (next_ < entries_.Count()) {
    unsigned long const index = next_++;
    if (!entries_.IsUserType(index)) continue;
    char const* const name = entries_.GetName(index);
    if (Ascii::EqualIgnoringCase(ConstData(name), ConstData(wanted))) {
      return user{name, entries_.GetTty(index)};
    }
  }
  throw NoSuchObject();
}

// ---------------------------------------------------------------------------
// The console.

bool GetXServerActive() {
  try {
    FileLoop loop;
    std::string const& test = TestXServerFolder();
    loop.WildcardStart(FileLocation(test.empty() ? kMachineXServerFolder : test.c_str()), "X0*");
    return loop.Unfinished();
  } catch (DebuggableException const&) {
    return false;
  }
}

namespace {

// The home folder of an account, or false when there is none.
bool HomeOf(char const* name, std::string& home) {
  std::string const& accounts = TestAccountsFile();
  if (accounts.empty()) {
    struct passwd const* const account = getpwnam(name);
    if (account == nullptr || account->pw_dir == nullptr) return false;
    home = account->pw_dir;
    return true;
  }
  std::FILE* const file = std::fopen(accounts.c_str(), "r");
  if (file == nullptr) return false;
  bool found = false;
  while (struct passwd const* const account = fgetpwent(file)) {
    if (std::strcmp(account->pw_name, name) == 0 && account->pw_dir != nullptr) {
      home = account->pw_dir;
      found = true;
      break;
    }
  }
  std::fclose(file);
  return found;
}

// Whether the account's home folder holds a non-empty ".Xauthority".
bool HasXAuthority(char const* name) {
  std::string path;
  if (!HomeOf(name, path)) return false;
  path += !path.empty() && path.back() == '/' ? ".Xauthority" : "/.Xauthority";
  struct stat status;
  return stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

// A record of the first walk: a session on display ":0".
bool OnDisplayZero(struct utmp const& entry) {
  bool const lineOnDisplay = FieldStartsWith(entry.ut_line, ":0");
  if (entry.ut_type == USER_PROCESS && FieldIsEmpty(entry.ut_host) && lineOnDisplay) return true;
  if (FieldStartsWith(entry.ut_host, "console") && lineOnDisplay) return true;
  return FieldStartsWith(entry.ut_host, ":0");
}

void Take(struct utmp const& entry, char* name, char* tty) {
  CopyField(name, entry.ut_user, sizeof entry.ut_user);
  if (tty != nullptr) CopyField(tty, entry.ut_line, sizeof entry.ut_line);
}

}  // namespace

bool GetLocalUserOnConsole(char* name, unsigned long nameSize, char* tty, unsigned long ttySize) {
  if (!GetXServerActive() || name == nullptr || nameSize < kConsoleNameSize) return false;
  if (tty != nullptr && ttySize < kConsoleNameSize) return false;
  {
    UtmpWalk walk;
    while (struct utmp const* const entry = walk.Next()) {
      if (OnDisplayZero(*entry)) {
        Take(*entry, name, tty);
        return true;
      }
    }
  }
  // No session on the display: a user on the first virtual console who has
  // X credentials in the home folder.
  UtmpWalk walk;
  while (struct utmp const* const entry = walk.Next()) {
    if (entry->ut_type != USER_PROCESS || !FieldIsEmpty(entry->ut_host)) continue;
    if (std::strncmp(entry->ut_line, "tty1", sizeof entry->ut_line) != 0) continue;
    char user[kConsoleNameSize];
    CopyField(user, entry->ut_user, sizeof entry->ut_user);
    if (!HasXAuthority(user)) continue;
    Take(*entry, name, tty);
    return true;
  }
  return false;
}

user currentUser_of_world() {
  char name[kConsoleNameSize];
  char tty[kConsoleNameSize];
  if (!GetLocalUserOnConsole(name, sizeof name, tty, sizeof tty) || name[0] == '\0') {
    throw NoSuchObject();
  }
  return user{EvaluationField(name, sizeof name), EvaluationField(tty, sizeof tty)};
}

surveyor_string name_of_user(user const& value) { return View(value.name); }

surveyor_string tty_of_user(user const& value) { return View(value.tty); }

// ---------------------------------------------------------------------------
// The run level.

namespace {

// A level as a text of one character; the level 0 is the empty text.
surveyor_string LevelText(unsigned char level, bool emptyForNone) {
  if (emptyForNone && level == 0) return surveyor_string{nullptr, 0};
  unsigned char* const text = Allocate_Surveyor_Memory(1);
  text[0] = level;
  return surveyor_string{text, 1};
}

}  // namespace

runlevel_impl Runlevel_of_world() {
  UtmpWalk walk;
  while (struct utmp const* const entry = walk.Next()) {
    if (entry->ut_type != RUN_LVL) continue;
    unsigned int const levels = static_cast<unsigned int>(entry->ut_pid);
    unsigned char const previous = static_cast<unsigned char>((levels >> 8) & 0xff);
    return runlevel_impl{static_cast<unsigned char>(levels & 0xff),
                         static_cast<unsigned char>(previous == 'N' ? 0 : previous),
                         static_cast<std::int32_t>(entry->ut_tv.tv_sec)};
  }
  throw NoSuchObject();
}

surveyor_string Value_of_runlevel(runlevel_impl const& level) {
  return LevelText(level.current, false);
}

surveyor_string PreviousValue_of_runlevel(runlevel_impl const& level) {
  return LevelText(level.previous, true);
}

moment EffectiveTime_of_runlevel(runlevel_impl const& level) {
  integer const seconds{level.seconds};
  return january_1_1970() + seconds * second_of();
}

surveyor_string RunlevelAsString(runlevel_impl const& level) {
  return LevelText(level.current, false);
}

void survey::system::testing::LookForXServerIn(char const* folder) {
  TestXServerFolder() = folder != nullptr ? folder : "";
}

void survey::system::testing::ReadAccountsFrom(char const* path) {
  TestAccountsFile() = path != nullptr ? path : "";
}

// ---------------------------------------------------------------------------
// Registration, in table order. The database changes between evaluations;
// a user's name and line depend on the user value alone.

namespace {

RegistrationTable table{
    TypeRow<user>(),
    TypeRow<runlevel_impl>(),
    PropertyRow("current user", "current users", &currentUser_of_world),
    IteratedRow<user_iterator>("user", "users"),
    IteratedRow("user", "users", &nameduser_iterator::First, &nameduser_iterator::Next),
    PropertyRow("name", "names", &name_of_user, &DependsOnlyOnParameters),
    PropertyRow("tty", "ttys", &tty_of_user, &DependsOnlyOnParameters),
    PropertyRow("runlevel", "runlevels", &Runlevel_of_world),
    PropertyRow("value", "values", &Value_of_runlevel),
    PropertyRow("previous value", "previous values", &PreviousValue_of_runlevel),
    PropertyRow("effective time", "effective times", &EffectiveTime_of_runlevel),
    CastRow("string", &RunlevelAsString, &DependsOnlyOnParameters),
};

}  // namespace
