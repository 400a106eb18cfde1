#include "host/client/sqlite_database.h"

#include <dlfcn.h>
#include <link.h>
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/client/late_library.h"

namespace survey::client {

namespace {

// How long a command waits for another that holds the database.
constexpr int kBusyTimeoutMilliseconds = 30000;

// The functions of SQLite that the host calls, taken from the machine's
// library when the first database is opened (host/client/late_library.h).
#define SURVEY_SQLITE_FUNCTIONS(X) \
  X(bind_blob64)                   \
  X(bind_int64)                    \
  X(bind_null)                     \
  X(busy_timeout)                  \
  X(clear_bindings)                \
  X(close)                         \
  X(column_blob)                   \
  X(column_bytes)                  \
  X(column_int64)                  \
  X(column_type)                   \
  X(errmsg)                        \
  X(errstr)                        \
  X(exec)                          \
  X(extended_result_codes)         \
  X(finalize)                      \
  X(free)                          \
  X(open_v2)                       \
  X(prepare_v3)                    \
  X(reset)                         \
  X(step)

struct SqliteFunctions {
#define SURVEY_SQLITE_POINTER(name) decltype(&::sqlite3_##name) name = nullptr;
  SURVEY_SQLITE_FUNCTIONS(SURVEY_SQLITE_POINTER)
#undef SURVEY_SQLITE_POINTER
};

#ifdef SURVEY_SQLITE_COPY
// The loaded object whose segments hold `address`, as the loader names it;
// empty when none does or it has no name (the program itself).
struct ContainingObject {
  std::uintptr_t address;
  std::string name;
};

int FindContainingObject(dl_phdr_info* info, std::size_t, void* data) {
  auto* const wanted = static_cast<ContainingObject*>(data);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    ElfW(Phdr) const& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD) continue;
    std::uintptr_t const start = info->dlpi_addr + segment.p_vaddr;
    if (wanted->address < start || wanted->address - start >= segment.p_memsz) continue;
    if (info->dlpi_name != nullptr) wanted->name = info->dlpi_name;
    return 1;
  }
  return 0;
}

// The host's own copy of SQLite (host/CMakeLists.txt), in the folder the host
// library itself was loaded from.
std::string CopyBesideTheHost() {
  // The loaded objects' segments tell which one holds this function at the
  // cost of a walk over a dozen of them; dladdr, which also looks for the
  // nearest symbol among all those of the host library, serves where that
  // finds no name.
  ContainingObject host{reinterpret_cast<std::uintptr_t>(&CopyBesideTheHost), std::string()};
  dl_iterate_phdr(&FindContainingObject, &host);
  std::string path = host.name;
  if (path.empty()) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void const*>(&CopyBesideTheHost), &info) == 0 ||
        info.dli_fname == nullptr) {
      return SURVEY_SQLITE_COPY;
    }
    path = info.dli_fname;
  }
  std::string::size_type const slash = path.rfind('/');
  return slash == std::string::npos ? std::string(SURVEY_SQLITE_COPY)
                                    : path.substr(0, slash + 1) + SURVEY_SQLITE_COPY;
}
#endif

// The host's copy of SQLite where it was built and can be opened, the
// machine's library otherwise.
LateLibrary const& SqliteLibrary() {
#ifdef SURVEY_SQLITE_COPY
  try {
    static LateLibrary const copy(CopyBesideTheHost().c_str());
    return copy;
  } catch (LateLibraryError const&) {
  }
#endif
  static LateLibrary const machine("libsqlite3.so.0");
  return machine;
}

SqliteFunctions BindSqlite() {
  LateLibrary const& library = SqliteLibrary();
  SqliteFunctions functions;
#define SURVEY_SQLITE_BIND(name) library.Bind(functions.name, "sqlite3_" #name);
  SURVEY_SQLITE_FUNCTIONS(SURVEY_SQLITE_BIND)
#undef SURVEY_SQLITE_BIND
  return functions;
}

// The functions; LateLibraryError the first time, and at every call after,
// if the library cannot be had.
SqliteFunctions const& Sqlite() {
  static SqliteFunctions const functions = BindSqlite();
  return functions;
}

}  // namespace

// ---------------------------------------------------------------------------
// Database.

Database::Database(std::string const& path) : path_(path) {
  try {
    Sqlite();
  } catch (LateLibraryError const& error) {
    throw DatabaseError("cannot open the database " + path + ": " + error.what());
  }
  int const code = Sqlite().open_v2(
      path.c_str(), &handle_,
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
      nullptr);
  if (code != SQLITE_OK) {
    std::string const message =
        handle_ != nullptr ? Message("cannot open") : "cannot open the database " + path;
    Sqlite().close(handle_);
    handle_ = nullptr;
    throw DatabaseError(message);
  }
  Sqlite().busy_timeout(handle_, kBusyTimeoutMilliseconds);
  Sqlite().extended_result_codes(handle_, 1);
  try {
    // Reading the journal mode is the first read of the file: a file that is
    // not a database fails here.
    Execute("PRAGMA journal_mode=WAL");
    Execute("PRAGMA synchronous=FULL");
    Execute("PRAGMA foreign_keys=ON");
  } catch (...) {
    Sqlite().close(handle_);
    handle_ = nullptr;
    throw;
  }
}

Database::~Database() {
  // Every statement is finalised by its owner before the database goes.
  Sqlite().close(handle_);
}

std::string Database::Message(std::string_view what) const {
  std::string text(what);
  text += " the database ";
  text += path_;
  text += ": ";
  text += handle_ != nullptr ? Sqlite().errmsg(handle_) : "out of memory";
  return text;
}

void Database::Execute(std::string_view sql) {
  std::string const text(sql);
  char* error = nullptr;
  int const code = Sqlite().exec(handle_, text.c_str(), nullptr, nullptr, &error);
  if (code != SQLITE_OK) {
    std::string message = "cannot use the database " + path_ + ": ";
    message += error != nullptr ? error : Sqlite().errstr(code);
    Sqlite().free(error);
    throw DatabaseError(message);
  }
}

int Database::UserVersion() {
  Statement statement(*this, "PRAGMA user_version");
  int version = 0;
  if (statement.Step()) version = static_cast<int>(statement.Number(0));
  statement.Reset();
  return version;
}

void Database::SetUserVersion(int version) {
  Execute("PRAGMA user_version=" + std::to_string(version));
}

// ---------------------------------------------------------------------------
// Statement.

Statement::Statement(Database& database, std::string_view sql) : database_(database) {
  int const code = Sqlite().prepare_v3(database.Handle(), sql.data(), static_cast<int>(sql.size()),
                                       SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
  if (code != SQLITE_OK) {
    Sqlite().finalize(statement_);
    statement_ = nullptr;
    throw DatabaseError(database.Message("cannot prepare a statement for"));
  }
}

Statement::~Statement() { Sqlite().finalize(statement_); }

void Statement::Fail(int) {
  std::string const message = database_.Message("cannot use");
  Reset();
  throw DatabaseError(message);
}

Statement& Statement::Bind(int position, std::string_view bytes) {
  // A blob keeps every byte, NUL included; an empty view binds an empty
  // blob, not a null.
  static char const kEmpty[1] = {};
  int const code =
      Sqlite().bind_blob64(statement_, position, bytes.empty() ? kEmpty : bytes.data(),
                           static_cast<sqlite3_uint64>(bytes.size()), SQLITE_TRANSIENT);
  if (code != SQLITE_OK) Fail(code);
  return *this;
}

Statement& Statement::Bind(int position, std::int64_t number) {
  int const code = Sqlite().bind_int64(statement_, position, number);
  if (code != SQLITE_OK) Fail(code);
  return *this;
}

Statement& Statement::BindNull(int position) {
  int const code = Sqlite().bind_null(statement_, position);
  if (code != SQLITE_OK) Fail(code);
  return *this;
}

Statement& Statement::Bind(int position, std::optional<std::int64_t> number) {
  return number ? Bind(position, *number) : BindNull(position);
}

bool Statement::Step() {
  int const code = Sqlite().step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) {
    Reset();
    return false;
  }
  Fail(code);
}

void Statement::Run() {
  while (Step()) {
  }
}

void Statement::Reset() {
  Sqlite().reset(statement_);
  Sqlite().clear_bindings(statement_);
}

std::string Statement::Bytes(int column) const {
  void const* const data = Sqlite().column_blob(statement_, column);
  int const size = Sqlite().column_bytes(statement_, column);
  if (data == nullptr || size <= 0) return std::string();
  return std::string(static_cast<char const*>(data), static_cast<std::size_t>(size));
}

std::int64_t Statement::Number(int column) const {
  return Sqlite().column_int64(statement_, column);
}

bool Statement::IsNull(int column) const {
  return Sqlite().column_type(statement_, column) == SQLITE_NULL;
}

// ---------------------------------------------------------------------------
// Transaction.

Transaction::Transaction(Database& database) : database_(database) {
  database_.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (done_) return;
  try {
    database_.Execute("ROLLBACK");
  } catch (DatabaseError const&) {
    // A failed statement may have rolled back already; nothing is left.
  }
}

void Transaction::Commit() {
  database_.Execute("COMMIT");
  done_ = true;
}

}  // namespace survey::client
