// Binding the two generations: the older one's names looked up in a file,
// and the permanence of a total failure.

#include <gtest/gtest.h>
#include <dlfcn.h>

#include <string>

#include "survey/rpm/rpm_library.h"
#include "tests/support/shell.h"
#include "tests/unit/rpm/rpm_support.h"

namespace {

using survey::rpmtesting::Quoted;
using survey::testing::Output;
using survey::testing::ScratchFolder;

TEST(OlderBindingTest, AFileWithEveryNameIsBound) {
  void* const handle = RPM3::TryToLoadLibrpm(OLD_LIBRPM_COMPLETE);
  ASSERT_NE(nullptr, handle);
  EXPECT_EQ(dlsym(handle, "rpmdbFindByFile"), reinterpret_cast<void*>(RPM3::rpmdbFindByFile));
  EXPECT_EQ(dlsym(handle, "rpmCheckRpmlibProvides"),
            reinterpret_cast<void*>(RPM3::rpmCheckRpmlibProvides));
  dlclose(handle);
}

TEST(OlderBindingTest, AFileThatLacksOneNameIsNotBound) {
  ASSERT_EQ("", Output("nm -D --defined-only " + Quoted(OLD_LIBRPM_LACKING) +
                       " | grep -w rpmdbFindByFile"));
  EXPECT_EQ(nullptr, RPM3::TryToLoadLibrpm(OLD_LIBRPM_LACKING));
}

TEST(OlderBindingTest, AFileThatDoesNotOpenIsNotBound) {
  EXPECT_EQ(nullptr, RPM3::TryToLoadLibrpm("/no/such/librpm.so"));
}

TEST(OlderBindingTest, TodaysLibrpmLacksTheOlderInterface) {
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm("");
  if (choice.best.empty()) GTEST_SKIP() << "this machine has no librpm for this build";
  std::string const file = RPM4::TargetsOf(choice).rpm;
  // What nm finds of the older names in the machine's librpm.
  std::string const offered =
      Output("nm -D --defined-only " + Quoted(file) +
             " | awk '{print $NF}' | grep -x -E "
             "'rpmdbFindPackage|rpmdbFindByProvides|rpmdbGetRecord|headerGetEntry|"
             "rpmdbFirstRecNum|rpmdbNextRecNum'");
  void* const handle = RPM3::TryToLoadLibrpm(file.c_str());
  if (offered.empty()) {
    EXPECT_EQ(nullptr, handle);
  } else if (handle != nullptr) {
    dlclose(handle);
  }
}

// In a child process of its own, whose load state starts afresh: a first
// call that fails for both generations makes every later call fail at once,
// without making links.
TEST(LoadStateTest, AFailureIsFinalAndTouchesNothingLater) {
  RPM4::LibrpmChoice const choice = RPM4::FindLibrpm("");
  if (!choice.best.empty() && RPM3::TryToLoadLibrpm(RPM4::TargetsOf(choice).rpm.c_str()))
    GTEST_SKIP() << "the machine's librpm has the older interface, so binding cannot fail here";
  ScratchFolder scratch;
  std::string const good = scratch.Path();
  EXPECT_EXIT(
      {
        delete RPMLibrary::theLibrary;
        RPMLibrary::theLibrary = nullptr;
        RPMLibrary::failedToLoadLibrary = false;
        bool firstFailed = false;
        try {
          // No links can be made in a folder that does not exist, and the
          // machine's librpm has none of the older names.
          RPMLibrary::The((good + "/missing").c_str());
        } catch (NoSuchObject const&) {
          firstFailed = true;
        }
        bool laterFailed = false;
        try {
          RPMLibrary::The(good.c_str());
        } catch (NoSuchObject const&) {
          laterFailed = true;
        }
        std::_Exit(firstFailed && laterFailed && RPMLibrary::failedToLoadLibrary ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  EXPECT_EQ("", Output("find " + Quoted(good) + " -mindepth 1")) << "no link was made later";
}

}  // namespace
