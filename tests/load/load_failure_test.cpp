// Loads that cannot succeed: each is refused with a load error that names the
// file, and leaves the host with its own types alone.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/engine/host.h"
#include "tests/load/load_support.h"

namespace {

using survey::host::ErrorKind;
using survey::host::EvaluationError;
using survey::host::Host;
using survey::host::RegistryEvent;
using survey::load_test::IsMapped;
using survey::load_test::LibraryPath;
using survey::load_test::TemporaryFolder;

using survey::load_test::kHostTypes;
using survey::load_test::LoadError;

void ExpectRefused(std::string const& path, char const* reason) {
  Host host;
  EvaluationError const error = LoadError(host, path);
  EXPECT_EQ(ErrorKind::kLoad, error.Kind());
  std::string const message = error.what();
  EXPECT_NE(std::string::npos, message.find(path)) << message;
  EXPECT_NE(std::string::npos, message.find(reason)) << message;
  EXPECT_FALSE(host.Loaded());
  EXPECT_EQ(kHostTypes, host.GetRegistry().RecordCount());
  EXPECT_EQ(kHostTypes, host.GetRegistry().Types().size());
  // And the host can still load the real library.
  host.Load(LibraryPath());
  EXPECT_TRUE(host.Loaded());
}

TEST(LoadFailureTest, MissingFile) {
  TemporaryFolder folder;
  ExpectRefused(folder.File("libMissing.so"), "No such file or directory");
}

TEST(LoadFailureTest, Folder) {
  TemporaryFolder folder;
  ExpectRefused(folder.Path(), "not a regular file");
}

TEST(LoadFailureTest, FileThatIsNotALibrary) {
  TemporaryFolder folder;
  std::string const path = folder.File("libGarbage.so");
  {
    std::ofstream out(path, std::ios::binary);
    for (int i = 0; i < 4096; ++i) out.put(static_cast<char>((i * 131 + 7) & 0xFF));
  }
  ExpectRefused(path, "cannot load surveyor library");
}

TEST(LoadFailureTest, EmptyFile) {
  TemporaryFolder folder;
  std::string const path = folder.File("libEmpty.so");
  { std::ofstream out(path, std::ios::binary); }
  ExpectRefused(path, "cannot load surveyor library");
}

TEST(LoadFailureTest, FileWithAnElfHeaderAndNothingElse) {
  TemporaryFolder folder;
  std::string const path = folder.File("libTruncated.so");
  {
    std::ofstream out(path, std::ios::binary);
    out.write(
        "\x7f"
        "ELF\x02\x01\x01",
        7);
    for (int i = 0; i < 57; ++i) out.put('\0');
  }
  ExpectRefused(path, "cannot load surveyor library");
}

// A shared library without the function "survey" is no surveyor library.
// What its initialisers registered is undone as the host closes it.
TEST(LoadFailureTest, SharedLibraryWithoutSurveyFunction) {
  std::string const path = NOT_A_SURVEYOR_PATH;
  ExpectRefused(path, "no function \"survey\"");
  EXPECT_FALSE(IsMapped(path));
}

TEST(LoadFailureTest, RegistrationsOfARefusedLibraryAreUndone) {
  std::string const path = NOT_A_SURVEYOR_PATH;
  Host host;
  EXPECT_EQ(ErrorKind::kLoad, LoadError(host, path).Kind());
  auto const& journal = host.GetRegistry().Journal();
  ASSERT_EQ(kHostTypes + 2, journal.size());
  EXPECT_EQ(RegistryEvent::kRegistered, journal[kHostTypes].action);
  EXPECT_EQ("stranger", journal[kHostTypes].name);
  EXPECT_EQ(RegistryEvent::kUnregistered, journal[kHostTypes + 1].action);
  EXPECT_EQ(journal[kHostTypes].record, journal[kHostTypes + 1].record);
  EXPECT_EQ(nullptr, host.GetRegistry().FindType("stranger"));
}

}  // namespace
