// The built library as a file: its version record, its soname, what it needs
// and what it exports. The bytes are read with the machine's own binary tools
// and compared with the record written out here by hand.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "host/engine/host.h"
#include "tests/load/load_support.h"

namespace {

using survey::host::Host;
using survey::load_test::LibraryPath;
using survey::load_test::Quoted;
using survey::load_test::ReadFile;
using survey::load_test::RunCommand;
using survey::load_test::TemporaryFolder;

// The version record as the table gives it: each key, its value, each ended
// by a NUL, and one NUL more at the end.
std::string ExpectedVersionRecord() {
  static char const* const kPairs[][2] = {
      {"Comments", ""},
      {"CompanyName", "Survey Project"},
      {"FileDescription", "Survey"},
      {"FileVersion", "7.1.1.315"},
      {"InternalName", "Survey"},
      {"LegalTrademarks", ""},
      {"OriginalFilename", "libSurvey.so"},
      {"PrivateBuild", ""},
      {"ProductName", "Survey"},
      {"ProductVersion", "7.1.1.315"},
      {"SpecialBuild", ""},
      {"BuildTarget", "i386_rhe4"},
      {"ModuleName", "libSurvey.so"},
      {"ClientCompatibleSurveyor", "Yes"},
      {"SurveyTwo", "survey2"},
  };
  std::string record;
  for (auto const& pair : kPairs) {
    record += pair[0];
    record += '\0';
    record += pair[1];
    record += '\0';
  }
  record += '\0';
  return record;
}

// The section's bytes, as objcopy extracts them from the file.
std::string SectionBytes() {
  TemporaryFolder folder;
  std::string const out = folder.File("version.bin");
  auto const result =
      RunCommand(std::string(OBJCOPY_PROGRAM) + " -O binary --only-section=VersionStringResource " +
                 Quoted(LibraryPath()) + " " + Quoted(out) + " 2>&1");
  EXPECT_EQ(0, result.status) << result.output;
  return ReadFile(out);
}

// The lines of `readelf -d` that carry a tag, such as "(NEEDED)".
std::vector<std::string> DynamicLines(std::string const& tag) {
  auto const result = RunCommand(std::string(READELF_PROGRAM) + " -d -W " + Quoted(LibraryPath()));
  EXPECT_EQ(0, result.status);
  std::vector<std::string> lines;
  std::istringstream in(result.output);
  for (std::string line; std::getline(in, line);) {
    if (line.find(tag) != std::string::npos) lines.push_back(line);
  }
  return lines;
}

// The text between the brackets of a `readelf -d` line.
std::string Bracketed(std::string const& line) {
  std::size_t const open = line.find('[');
  std::size_t const close = line.rfind(']');
  if (open == std::string::npos || close == std::string::npos || close < open) return "";
  return line.substr(open + 1, close - open - 1);
}

TEST(LibraryFileTest, VersionSectionHoldsExactlyTheVersionRecord) {
  std::string const bytes = SectionBytes();
  std::string const expected = ExpectedVersionRecord();
  EXPECT_EQ(expected.size(), bytes.size());
  EXPECT_EQ(expected, bytes);
}

TEST(LibraryFileTest, EmptyCommentsValueIsALoneNul) {
  std::string const bytes = SectionBytes();
  ASSERT_GE(bytes.size(), 11u);
  EXPECT_EQ(std::string("Comments\0\0C", 11), bytes.substr(0, 11));
  // The record ends with an empty key: the last value's NUL and one more.
  EXPECT_EQ(std::string("survey2\0\0", 9), bytes.substr(bytes.size() - 9));
}

TEST(LibraryFileTest, SonameCarriesTheFullVersion) {
  std::vector<std::string> const lines = DynamicLines("(SONAME)");
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ("libSurvey-7.1.1.315.so", Bracketed(lines[0]));
}

TEST(LibraryFileTest, NeedsNoHostLibrary) {
  std::vector<std::string> const needed = DynamicLines("(NEEDED)");
  // The C runtime at least: the tool was read correctly.
  ASSERT_FALSE(needed.empty());
  bool hasC = false;
  for (std::string const& line : needed) {
    std::string const name = Bracketed(line);
    if (name.rfind("libc.so", 0) == 0) hasC = true;
    for (char const* forbidden :
         {"sqlite", "ssl", "crypto", "xxhash", "rpm", "surveyhost", "readline"}) {
      EXPECT_EQ(std::string::npos, name.find(forbidden)) << name << " is needed";
    }
  }
  EXPECT_TRUE(hasC);
}

// The symbols, as the loader finds them in the loaded library.
class LoadedLibraryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.Load(LibraryPath());
    handle = dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(nullptr, handle);
  }
  void TearDown() override {
    if (handle != nullptr) dlclose(handle);
  }
  Host host;
  void* handle = nullptr;
};

TEST_F(LoadedLibraryTest, SurveyFunctionIsExported) { EXPECT_NE(nullptr, dlsym(handle, "survey")); }

TEST_F(LoadedLibraryTest, ExportedVersionRecordEqualsTheSection) {
  auto const* const record = static_cast<char const*>(dlsym(handle, "KXVerDta"));
  ASSERT_NE(nullptr, record);
  std::string const section = SectionBytes();
  ASSERT_FALSE(section.empty());
  EXPECT_EQ(section, std::string(record, section.size()));
}

TEST_F(LoadedLibraryTest, SectionBoundsEncloseExactlyTheRecord) {
  auto const* const record = static_cast<char const*>(dlsym(handle, "KXVerDta"));
  auto const* const start =
      static_cast<char const*>(dlsym(handle, "__start_VersionStringResource"));
  auto const* const stop = static_cast<char const*>(dlsym(handle, "__stop_VersionStringResource"));
  ASSERT_NE(nullptr, record);
  ASSERT_NE(nullptr, start);
  ASSERT_NE(nullptr, stop);
  EXPECT_EQ(record, start);
  EXPECT_EQ(ExpectedVersionRecord().size(), static_cast<std::size_t>(stop - start));
  EXPECT_EQ(ExpectedVersionRecord(), std::string(start, stop));
}

// The same bounds as nm reads them from the file.
TEST(LibraryFileTest, SymbolTableBoundsTheRecord) {
  auto const result = RunCommand(std::string(NM_PROGRAM) + " " + Quoted(LibraryPath()));
  ASSERT_EQ(0, result.status);
  unsigned long long start = 0, stop = 0, record = 0;
  bool haveStart = false, haveStop = false, haveRecord = false;
  std::istringstream in(result.output);
  for (std::string line; std::getline(in, line);) {
    std::istringstream fields(line);
    std::string address, kind, name;
    if (!(fields >> address >> kind >> name)) continue;
    unsigned long long const value = std::stoull(address, nullptr, 16);
    if (name == "__start_VersionStringResource") {
      start = value;
      haveStart = true;
    } else if (name == "__stop_VersionStringResource") {
      stop = value;
      haveStop = true;
    } else if (name == "KXVerDta") {
      record = value;
      haveRecord = true;
    }
  }
  ASSERT_TRUE(haveStart && haveStop && haveRecord) << result.output;
  EXPECT_EQ(record, start);
  EXPECT_EQ(ExpectedVersionRecord().size(), stop - start);
}

}  // namespace
