// A small owner of one SQLite database connection and its statements.
//
//   Database      the connection: opened in WAL mode with a busy timeout, so
//                 that a second process that finds the database locked
//                 waits for it rather than failing at once;
//   Statement     a prepared statement, prepared once and reset after each
//                 use, so that no read stays open between uses;
//   Transaction   BEGIN IMMEDIATE on construction, ROLLBACK on destruction
//                 unless Commit was called: every change is all or nothing.
//
// Every failure throws DatabaseError with SQLite's own message and the
// database's path.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace survey::client {

class DatabaseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Database;

class Statement {
 public:
  Statement(Database& database, std::string_view sql);
  Statement(Statement const&) = delete;
  Statement& operator=(Statement const&) = delete;
  ~Statement();

  // Binding, by 1-based position. Texts and blobs are copied by SQLite.
  Statement& Bind(int position, std::string_view bytes);
  Statement& Bind(int position, std::int64_t number);
  Statement& BindNull(int position);
  Statement& Bind(int position, std::optional<std::int64_t> number);

  // Runs the statement to its next row: true with a row to read, false when
  // done. The statement resets itself when done, or when it throws.
  bool Step();
  // Runs a statement that gives no row, then resets it.
  void Run();
  // Clears the bindings and the position, ready for the next use.
  void Reset();

  std::string Bytes(int column) const;
  std::int64_t Number(int column) const;
  bool IsNull(int column) const;

 private:
  [[noreturn]] void Fail(int code);

  Database& database_;
  sqlite3_stmt* statement_ = nullptr;
};

class Database {
 public:
  // Opens (or creates) the database file at that path. Throws DatabaseError
  // when it cannot be opened or is not a database.
  explicit Database(std::string const& path);
  Database(Database const&) = delete;
  Database& operator=(Database const&) = delete;
  ~Database();

  // Runs one or more statements that give no rows.
  void Execute(std::string_view sql);
  // PRAGMA user_version.
  int UserVersion();
  void SetUserVersion(int version);

  std::string const& Path() const { return path_; }
  sqlite3* Handle() const { return handle_; }
  // SQLite's message for the last failure, with the path.
  std::string Message(std::string_view what) const;

 private:
  std::string path_;
  sqlite3* handle_ = nullptr;
};

// BEGIN IMMEDIATE: the write lock is taken at once, so two writers never
// both read and then fail to write; the second waits up to the busy timeout.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(Transaction const&) = delete;
  Transaction& operator=(Transaction const&) = delete;
  ~Transaction();
  void Commit();

 private:
  Database& database_;
  bool done_ = false;
};

}  // namespace survey::client
