// The client's variable files, and the banners of its data files.
//
// A variable file is a small store of names and values. Every integer is in
// the machine's byte order:
//
//   "[" L1 "]" banner    L1 (4 bytes) counts the banner and its zero byte;
//                        the banner is FILESTR_SITEVARS
//   "[" L2 "]" version   the same for FILESTR_SITEVARS_VERSION
//   size                 4 bytes: the bytes of the variable block
//   count                4 bytes: the variables in it
//   block                `size` bytes: name, zero, value, zero, name, ...
//
// A name may stand more than once: that is how a list of values is kept. The
// library only reads these files; the host writes them.
//
// `ProfileVars` loads a file whole into one block and answers lookups on it;
// `ProfileVarsLoop` walks its variables. Nothing here reports a failure: an
// absent, foreign or damaged file is a store without variables.
#pragma once

#include <cstdint>

#include "survey/foundation/file_location.h"

// The banners of the client's data files. The variable files use the two
// FILESTR_SITEVARS texts; the others name formats that the host reads.
extern char const* const FILESTR_GLOBAL_OPTIONS;
extern char const* const FILESTR_GLOBAL_OPTIONS_VERSION;
extern char const* const FILESTR_SITEVARS;
extern char const* const FILESTR_SITEVARS_VERSION;
extern char const* const FILESTR_LASTCOUNTEDTAG;
extern char const* const FILESTR_VERTAG;
extern char const* const FILESTR_END;
extern char const* const FILESTR_SITE;
// The current site data version, and the older ones, which the host still
// accepts from files that older clients wrote.
extern char const* const FILESTR_SITE_VERSION;
extern char const* const FILESTR_SITE_VERSION_1_1_1;
extern char const* const FILESTR_SITE_VERSION_1_1_0;
extern char const* const FILESTR_SITE_VERSION_1_0_9;
extern char const* const FILESTR_SITE_VERSION_1_0_8;
extern char const* const FILESTR_SITE_VERSION_1_0_7;
extern char const* const FILESTR_SITE_VERSION_1_0_6;
extern char const* const FILESTR_SITE_VERSION_1_0_5;

class ProfileVars {
 public:
  // Keeps the location and loads the file.
  explicit ProfileVars(FileLocation const& location);
  // Copies the location, `loaded`, `size` and the block, but not the count:
  // the copy's count is 0, so the lookups that walk by count (GetValue,
  // HaveValue, MatchesMultiList) find nothing in it, while the two
  // GetNameAndValue and ProfileVarsLoop, which go by size, work.
  ProfileVars(ProfileVars const& other);
  ProfileVars& operator=(ProfileVars const&) = delete;
  ~ProfileVars() { delete[] block_; }

  // Reads the file anew. A file whose banner or version is not exactly the
  // variable file's is no file: nothing is loaded. After a failure part way
  // (a missing file, a short read), `size`, `count` and `loaded` keep what
  // was read, and only the absent block tells that nothing is there.
  void Load();

  // The value of the first variable of that name, names compared without
  // regard to case; null when there is none.
  char const* GetValue(char const* name) const;
  bool HaveValue(char const* name) const;
  // Whether some variable has that name, without regard to case, and
  // exactly that value.
  bool MatchesMultiList(char const* name, char const* value) const;
  // The variable behind the one whose value is `previousValue` (a pointer
  // this store gave), or the first one when that is null. False when there
  // is none in the block.
  bool GetNameAndValue(char const* previousValue, char const** name, char const** value) const;
  // The same, among the variables whose name is the `length` bytes of
  // `wanted`, without regard to case. Bounded by the block's size, not by
  // the count.
  bool GetNameAndValue(unsigned char const* wanted, unsigned long length, char const* previousValue,
                       char const** name, char const** value) const;

  FileLocation const& Location() const { return location_; }
  // The block, or null when nothing was loaded.
  char const* Block() const { return block_; }
  std::uint32_t Size() const { return size_; }
  std::uint32_t Count() const { return count_; }
  // Whether the banner and version were recognised.
  bool Loaded() const { return loaded_; }

 private:
  // The position behind the string at `text`, which lies in the block.
  char const* Behind(char const* text) const;
  char const* BlockEnd() const { return block_ + size_; }

  FileLocation location_;
  // `size_` bytes, and a zero byte behind them that ends any string the
  // file left unended.
  char* block_ = nullptr;
  std::uint32_t size_ = 0;
  std::uint32_t count_ = 0;
  bool loaded_ = false;
};

// Walks the variables of a store in their order.
class ProfileVarsLoop {
 public:
  explicit ProfileVarsLoop(ProfileVars& vars) : vars_(vars) { Start(); }

  void Start();
  void End();
  // At or behind the block's end. With no block, the loop is finished at
  // once only when the size is 0: a store whose block could not be read
  // keeps its size, so its loop is unfinished at the start, gives "" for its
  // name and value, and finishes at the first step.
  bool Finished() const;
  bool Unfinished() const { return !Finished(); }
  // Over the name and, if that leaves it inside the block, over the value.
  ProfileVarsLoop& operator++();
  ProfileVarsLoop operator++(int);

  // "" when finished.
  char const* Name() const;
  char const* Value() const;

 private:
  ProfileVars& vars_;
  // The offset of the present name in the block: positions are counted, so
  // that a store without a block has them too.
  unsigned long offset_ = 0;
};
