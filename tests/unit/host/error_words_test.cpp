// Every exception class of the library that can reach the user has words
// of its own: the table is keyed by the names the compiler gives the real
// classes, so a renamed or nested class is caught here.

#include <cxxabi.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <typeinfo>

#include "host/engine/errors.h"
#include "survey/foundation/data.h"
#include "survey/foundation/diagnostics.h"
#include "survey/foundation/file_errors.h"
#include "survey/foundation/file_item.h"
#include "survey/foundation/file_loop.h"
#include "survey/foundation/numeral.h"
#include "survey/foundation/stringy.h"
#include "survey/system/network_interfaces.h"
#include "survey/values/ipv4.h"

namespace {

using survey::host::LibraryErrorWords;

// The class name as the host reads it from a caught exception's what().
template <class Error>
std::string NameOf() {
  Error const error;
  int status = 0;
  char* const plain = abi::__cxa_demangle(error.what(), nullptr, nullptr, &status);
  std::string name = status == 0 && plain != nullptr ? plain : error.what();
  std::free(plain);
  return name;
}

template <class... Errors>
void ExpectWords() {
  for (std::string const& name : {NameOf<Errors>()...}) {
    std::string const words = LibraryErrorWords(name);
    EXPECT_EQ(std::string::npos, words.find("an error of the library")) << name;
    EXPECT_EQ(std::string::npos, words.find(name)) << name;
  }
}

TEST(ErrorWordsTest, EveryLibraryExceptionHasWords) {
  ExpectWords<FileIOError, FileItemError, FilePermissionError, FileSeekError, EndOfFileError,
              FileLockError, FileResourceError, FileNotFoundError, DirectoryNotFoundError,
              FileNotOpenError, FileReadingLoopEndOfFileError, NewFileLoop::Error,
              NewFileLoop::InvalidIteratorPosition, NewFileItem::Error, NewFileItem::Invalid,
              NotANumeral, NumeralTooLarge, SubnetPrefixLengthTooLarge, NonCanonicalSubnetAddress,
              StringyLengthTooLong, DataOverflow, DataTooSmall, ConstDataTooSmall,
              ConstDataCapacityExceeded, NoMoreData, FormatError, ExceptionPL, InterfaceInfoError,
              SurveyorContextError, SurveyorNudgeContextError, SurveyorActionContextError,
              SurveyorAnalysisContextError, SurveyorSettingsContextError,
              SurveyorSystemContextError, SurveyorStorageContextError, SurveyorNetworkContextError,
              SurveyorSiteContextError, SurveyorProcessTableContextError, CannotEvaluateNow,
              NoSurveyorContext>();
}

TEST(ErrorWordsTest, TheFileErrorsSayWhatWentWrong) {
  EXPECT_EQ("permission denied", LibraryErrorWords(NameOf<FilePermissionError>()));
  EXPECT_EQ("no such file", LibraryErrorWords(NameOf<FileNotFoundError>()));
}

TEST(ErrorWordsTest, AnUnknownClassIsNamed) {
  EXPECT_EQ("an error of the library (SomethingNew)", LibraryErrorWords("SomethingNew"));
}

}  // namespace
