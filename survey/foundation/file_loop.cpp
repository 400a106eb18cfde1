#include "survey/foundation/file_loop.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

// ---------------------------------------------------------------------------
// Matching

namespace {

// The recursion of the match over positions in both texts. A pattern byte
// equal to the name's byte is taken literally before anything else, so a "*"
// in the pattern stands for itself where the name has a "*". The pairs of
// positions already found not to match are remembered, so that a pattern
// with many stars costs at most the product of the lengths times the name's
// length, and never an exponential search.
class Matcher {
 public:
  Matcher(char const* name, char const* pattern)
      : name_(name), pattern_(pattern), nameLength_(std::strlen(name)),
        failed_((nameLength_ + 1) * (std::strlen(pattern) + 1), 0) {}

  bool Matches(unsigned long n, unsigned long p) {
    unsigned char& failed = failed_[p * (nameLength_ + 1) + n];
    if (failed) return false;
    bool const result = Step(n, p);
    if (!result) failed = 1;
    return result;
  }

 private:
  bool Step(unsigned long n, unsigned long p) {
    char const pattern = pattern_[p];
    if (name_[n] == '\0') {
      if (pattern == '\0') return true;
      return pattern == '*' && Matches(n, p + 1);
    }
    if (pattern == '?' || pattern == name_[n]) return Matches(n + 1, p + 1);
    if (pattern != '*') return false;
    if (pattern_[p + 1] == '\0') return true;
    for (unsigned long at = n; name_[at] != '\0'; ++at)
      if (Matches(at, p + 1)) return true;
    return false;
  }

  char const* name_;
  char const* pattern_;
  unsigned long nameLength_;
  std::vector<unsigned char> failed_;
};

}  // namespace

bool Match(char const* name, char const* pattern) {
  // Up to the first star the match is a plain walk, in which most names of
  // a folder fail before anything is allocated; the walk takes nothing that
  // the recursion would not take the same way.
  for (; *pattern != '*'; ++name, ++pattern) {
    if (*pattern == '\0') return *name == '\0';
    if (*name == '\0') return false;
    if (*pattern != '?' && *pattern != *name) return false;
  }
  return Matcher(name, pattern).Matches(0, 0);
}

int SelectAllFunc(dirent const* entry) {
  char const* name = entry->d_name;
  return !(name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')));
}

// ---------------------------------------------------------------------------
// Scanning, shared by both loops

namespace {

void FreeEntries(dirent** list, int count) {
  for (int i = 0; i < count; ++i) std::free(list[i]);
  std::free(list);
}

// Reads `folder` into `*kept`, the entries that the selector keeps and whose
// names match `pattern`, in `alphasort` order, and gives their number. A
// folder that cannot be read, or whose reading fails part way, gives 0 and
// no list, as does running out of memory for the list.
//
// Each name is tested as it is read and only the kept entries are copied: a
// wildcard that keeps a few names of a folder of thousands copies and sorts
// those few.
int ScanFolder(char const* folder, DirectorySelector selector, char const* pattern,
               dirent*** kept) {
  *kept = nullptr;
  DIR* const directory = opendir(folder);
  if (directory == nullptr) return 0;
  struct Scan {
    DIR* directory;
    std::vector<dirent*> entries;
    ~Scan() {
      for (dirent* entry : entries) std::free(entry);
      closedir(directory);
    }
  } scan{directory, {}};
  int const savedError = errno;
  bool failed = false;
  for (;;) {
    // The end of the folder leaves errno as it was, a failed reading sets it.
    errno = 0;
    dirent const* const entry = readdir(directory);
    if (entry == nullptr) {
      failed = errno != 0;
      break;
    }
    if (selector(entry) == 0 || !Match(entry->d_name, pattern)) continue;
    // Memory running out ends the reading as a failed reading.
    try {
      scan.entries.push_back(nullptr);
    } catch (std::bad_alloc const&) {
      failed = true;
      break;
    }
    std::size_t const size = offsetof(dirent, d_name) + std::strlen(entry->d_name) + 1;
    auto* const copy = static_cast<dirent*>(std::malloc(size));
    if (copy == nullptr) {
      failed = true;
      break;
    }
    std::memcpy(copy, entry, size);
    scan.entries.back() = copy;
  }
  errno = savedError;
  if (failed || scan.entries.empty()) return 0;
  auto** const list =
      static_cast<dirent**>(std::malloc(scan.entries.size() * sizeof(dirent*)));
  if (list == nullptr) return 0;
  std::memcpy(list, scan.entries.data(), scan.entries.size() * sizeof(dirent*));
  int const count = static_cast<int>(scan.entries.size());
  scan.entries.clear();
  std::qsort(list, static_cast<std::size_t>(count), sizeof(dirent*),
             [](void const* a, void const* b) {
               return alphasort(const_cast<dirent const**>(static_cast<dirent const* const*>(a)),
                                const_cast<dirent const**>(static_cast<dirent const* const*>(b)));
             });
  *kept = list;
  return count;
}

// The folder's text, a "/" and the entry's name.
void JoinEntry(FileLocation& location, char const* folder, dirent const* entry) {
  unsigned long const folderLength = std::strlen(folder);
  unsigned long const nameLength = std::strlen(entry->d_name);
  std::vector<char> path(folderLength + 1 + nameLength + 1);
  std::memcpy(path.data(), folder, folderLength);
  path[folderLength] = '/';
  std::memcpy(path.data() + folderLength + 1, entry->d_name, nameLength + 1);
  location.SetFullPathName(path.data());
}

char* CopyFolder(FileLocation const& folder) {
  char* text = strdup(folder.FullPathName());
  if (text == nullptr) throw std::bad_alloc();
  return text;
}

}  // namespace

// ---------------------------------------------------------------------------
// FileLoop

FileLoop::FileLoop() : folder_(nullptr), list_(nullptr), count_(0), index_(0) {}

FileLoop::FileLoop(FileLocation const& folder) : FileLoop() {
  try {
    Start(folder);
  } catch (...) {
    FreeList();
    std::free(folder_);
    folder_ = nullptr;
    throw;
  }
}

FileLoop::~FileLoop() {
  FreeList();
  std::free(folder_);
}

void FileLoop::FreeList() {
  if (list_ != nullptr) FreeEntries(list_, count_);
  list_ = nullptr;
  count_ = 0;
  index_ = 0;
}

void FileLoop::SetFolder(FileLocation const& folder) {
  char* text = CopyFolder(folder);
  std::free(folder_);
  folder_ = text;
}

void FileLoop::Start(FileLocation const& folder) { WildcardStart(folder, "*"); }

void FileLoop::WildcardStart(FileLocation const& folder, char const* pattern) {
  SetFolder(folder);
  DoScanDirectory(SelectAllFunc, pattern);
}

void FileLoop::DoScanDirectory(DirectorySelector selector, char const* pattern) {
  FreeList();
  if (folder_ == nullptr) return;
  dirent** kept = nullptr;
  int const count = ScanFolder(folder_, selector, pattern, &kept);
  if (count < 0) throw std::bad_alloc();
  list_ = kept;
  count_ = count;
  index_ = 0;
  try {
    SetLoopItem();
  } catch (FileIOError const&) {
    ++*this;
  }
}

FileLoop& FileLoop::operator++() {
  while (Unfinished()) {
    ++index_;
    if (index_ >= count_) {
      FreeList();
      break;
    }
    try {
      SetLoopItem();
      break;
    } catch (FileIOError const&) {
      // An item that cannot be looked at is skipped.
    }
  }
  return *this;
}

void FileLoop::SetLoopItem() {
  if (Finished()) return;
  JoinEntry(location_, folder_, list_[index_]);
  item_.Get(location_);
}

// ---------------------------------------------------------------------------
// NewFileLoop

NewFileLoop::NewFileLoop()
    : folder_(nullptr), list_(nullptr), count_(0), index_(0), allowBrokenLink_(false) {}

NewFileLoop::NewFileLoop(FileLocation const& folder) : NewFileLoop() { init(folder, false); }

NewFileLoop::NewFileLoop(FileLocation const& folder, bool allowBrokenLink) : NewFileLoop() {
  init(folder, allowBrokenLink);
}

NewFileLoop::~NewFileLoop() {
  EmptyNameList();
  FreePathName();
}

void NewFileLoop::init(FileLocation const& folder, bool allowBrokenLink) {
  try {
    Start(folder, allowBrokenLink);
  } catch (...) {
    FreePathName();
    EmptyNameList();
    throw;
  }
}

void NewFileLoop::SetFolder(FileLocation const& folder) {
  char* text = CopyFolder(folder);
  FreePathName();
  folder_ = text;
}

void NewFileLoop::FreePathName() {
  std::free(folder_);
  folder_ = nullptr;
}

void NewFileLoop::EmptyScandirList(dirent** list, int count) {
  if (list != nullptr) FreeEntries(list, count);
}

void NewFileLoop::EmptyNameList() {
  EmptyScandirList(list_, count_);
  list_ = nullptr;
  count_ = 0;
  index_ = 0;
}

void NewFileLoop::Start(FileLocation const& folder, bool allowBrokenLink) {
  WildcardStart(folder, "*", allowBrokenLink);
}

void NewFileLoop::WildcardStart(FileLocation const& folder, char const* pattern,
                                bool allowBrokenLink) {
  SetFolder(folder);
  DoScanDirectory(SelectAllFunc, pattern, allowBrokenLink);
}

void NewFileLoop::BuildNameList(DirectorySelector selector, char const* pattern) {
  EmptyNameList();
  if (folder_ == nullptr) return;
  dirent** kept = nullptr;
  int const count = ScanFolder(folder_, selector, pattern, &kept);
  if (count < 0) throw Error();
  list_ = kept;
  count_ = count;
  index_ = 0;
}

void NewFileLoop::DoScanDirectory(DirectorySelector selector, char const* pattern,
                                  bool allowBrokenLink) {
  allowBrokenLink_ = allowBrokenLink;
  DoScanDirectory(selector, pattern);
}

void NewFileLoop::DoScanDirectory(DirectorySelector selector, char const* pattern) {
  BuildNameList(selector, pattern);
  try {
    SetLoopItem(allowBrokenLink_);
  } catch (FileIOError const&) {
    ++*this;
  }
}

NewFileLoop& NewFileLoop::operator++() {
  while (Unfinished()) {
    ++index_;
    if (index_ >= count_) {
      EmptyNameList();
      break;
    }
    try {
      SetLoopItem(allowBrokenLink_);
      break;
    } catch (FileIOError const&) {
      // An item that cannot be looked at is skipped.
    }
  }
  return *this;
}

void NewFileLoop::SetLoopItem(bool allowBrokenLink) {
  if (Finished()) return;
  JoinEntry(location_, folder_, list_[index_]);
  item_.Get(location_, allowBrokenLink);
}

FileLocation const& NewFileLoop::Location() const {
  if (Finished()) throw InvalidIteratorPosition();
  return location_;
}

NewFileItem const& NewFileLoop::Item() const {
  if (Finished()) throw InvalidIteratorPosition();
  return item_;
}

NewFileItem& NewFileLoop::Item() {
  if (Finished()) throw InvalidIteratorPosition();
  return item_;
}

// ---------------------------------------------------------------------------
// TypedFileLoop

TypedFileLoop::TypedFileLoop(FileLocation const& folder, FileType type) { Start(folder, type); }

TypedFileLoop::TypedFileLoop(FileLocation const& folder, char const* pattern) {
  WildcardStart(folder, pattern);
}

void TypedFileLoop::Start(FileLocation const& folder, FileType type) {
  std::string pattern = "*";
  pattern += AdviceFileTypes::ExtensionOfType(type);
  WildcardStart(folder, pattern.c_str());
}
