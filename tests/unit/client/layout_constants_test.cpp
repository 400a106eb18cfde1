// The reserved names of the client folder: their texts, their export from
// the library, and the host's layout, which must use the same names.

#include "survey/client/layout.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "host/client/client_folder.h"
#include "tests/support/shell.h"

namespace {

struct Constant {
  char const* name;
  char const* const* value;
  char const* text;
};

#define ROW(constant, text) {#constant, &constant, text}

Constant const kConstants[] = {
    ROW(cRESERVED_FILE_EXTENSION_PROFILE, ""),
    ROW(cRESERVED_FILE_EXTENSION_PREFERENCES, ""),
    ROW(cRESERVED_FILE_EXTENSION_SITE_DATA, ""),
    ROW(cRESERVED_FILE_EXTENSION_DLL, ".so"),
    ROW(cRESERVED_FILE_EXTENSION_NOTATION, ".dat"),
    ROW(cRESERVED_FILE_EXTENSION_NOTATION_TEMP, ".tmp"),
    ROW(cRESERVED_FILE_EXTENSION_SITE_BACKUP_LOG_FILE, ".bkg"),
    ROW(cRESERVED_FILE_EXTENSION_SITE_LOG_FILE, ".log"),
    ROW(cRESERVED_FILE_EXTENSION_QNA_FILE, ".qna"),
    ROW(cRESERVED_FILE_EXTENSION_SITE_DEFINITION, ".num"),
    ROW(cRESERVED_FILE_EXTENSION_ADVICE_POOL, ".nug"),
    ROW(cRESERVED_FILE_EXTENSION_ADVICE_FILE, ".nuf"),
    ROW(cRESERVED_FILE_EXTENSION_TEXT, ".txt"),
    ROW(cRESERVED_EXTENSION_LONG, ".html"),
    ROW(cRESERVED_EXTENSION, ".htm"),
    ROW(cRESERVED_DELETE_PREFIX, "__del"),
    ROW(cRESERVED_EXCEPTION_PREFIX, "__ok"),
    ROW(cRESERVED_MARKER, "__"),
    ROW(cRESERVED_SITE_PROFILE, "SiteVars"),
    ROW(cRESERVED_SITE_SITEDATATEMP, "SiteTemp"),
    ROW(cRESERVED_SITE_SITEDATA, "SiteData"),
    ROW(cRESERVED_SITE_DELETED_STORE, "Deleted"),
    ROW(cRESERVED_SITE_ALTERNATE_MASTHEAD, "masthead"),
    ROW(cRESERVED_SITE_MASTHEAD, "Masthead"),
    ROW(cRESERVED_SITE_FILELIST_NEW, "FileLNew"),
    ROW(cRESERVED_SITE_FILELIST, "FileList"),
    ROW(cRESERVED_SITE_ICONFILENAME_LARGE, "siteicol.bmp"),
    ROW(cRESERVED_SITE_ICONFILENAME_SMALL, "siteicos.bmp"),
    ROW(cRESERVED_SITE_ICONFILENAME, "siteicon.bmp"),
    ROW(cRESERVED_DIRECTORY_GATHERING, "Get"),
    ROW(cRESERVED_DIRECTORY_NOTATIONS, "Tmp"),
    ROW(cRESERVED_DIRECTORY_LOCAL, "__Local"),
    ROW(cRESERVED_DIRECTORY_GLOBAL, "__Global"),
    ROW(cRESERVED_DIRECTORY_COMPLIANCE_DOCS, "__Compliance"),
    ROW(cRESERVED_DIRECTORY_CACHE, "__Cache"),
    ROW(cRESERVED_DIRECTORY_DOWNLOAD, "__Download"),
    ROW(cRESERVED_DIRECTORY_UISESSION, "__UISession"),
    ROW(cRESERVED_DIRECTORY_UICACHE, "__UICache"),
    ROW(cRESERVED_DIRECTORY_UISUPPORT, "__UISupport"),
    ROW(cRESERVED_DIRECTORY_UIREFERENCE, "Reference"),
    ROW(cRESERVED_DIRECTORY_MODULE_STAGE, "__Stage"),
    ROW(cRESERVED_DIRECTORY_DATA, "__QRVData"),
    ROW(cRESERVED_DIRECTORY_LOGGING, "Logs"),
    ROW(cRESERVED_DIRECTORY_ACTIONHISTORY, "ActionHistory.db"),
    ROW(cRESERVED_USAGE_DIRECTORY_STATISTICS, "UsageData"),
    ROW(cRESERVED_DIRECTORY_NEW_SURVEY, "NewSurveyors"),
    ROW(cRESERVED_DIRECTORY_SURVEY, "Surveyors"),
    ROW(cRESERVED_UIIMAGE_FILENAME, "_clientui.ico"),
    ROW(cRESERVED_CREATE_FILENAME, "__createfile"),
    ROW(cRESERVED_APPEND_FILENAME, "__appendfile"),
    ROW(cRESERVED_PROFILE_TEMPNAME, "__ofile.htm"),
    ROW(cRESERVED_PROFILE_FILENAME, "Profile.htm"),
    ROW(cRESERVED_TECH_SUPPRT_SITE_NAME, "Kestrix"),
    ROW(cRESERVED_FILENAME_REPORT_SEQUENCE_DATA, "ReportSequenceData"),
    ROW(cRESERVED_FILENAME_FULL_REPORT_NEEDED, "__fullReportNeeded"),
    ROW(cRESERVED_FILENAME_REVOCATIONDAT, "Revocations.dat"),
    ROW(cRESERVED_FILENAME_REVOCATIONLIST, "Revocations.crl"),
    ROW(cRESERVED_FILENAME_REVOCATIONSTORE, "__revocations"),
    ROW(cRESERVED_FILENAME_RELAYLIST, "Relays.dat"),
    ROW(cRESERVED_FILENAME_ACTION_MASTHEAD, "__action.num"),
    ROW(cRESERVED_FILENAME_TEMPORARY_BITMAP, "addsite.bmp"),
    ROW(cRESERVED_FILENAME_GLOBAL_OPTIONS, "Options"),
    ROW(cRESERVED_FILENAME_ENCRYPTED_REPORT, "__encrypted_report"),
    ROW(cRESERVED_FILENAME_REPORT, "__report"),
};

#undef ROW

TEST(ClientLayoutTest, EachConstantHasItsText) {
  for (Constant const& constant : kConstants) {
    ASSERT_NE(*constant.value, nullptr) << constant.name;
    EXPECT_STREQ(*constant.value, constant.text) << constant.name;
  }
}

// The library exports every constant by its plain name, so that a host
// links against them: the dynamic symbol table of the built library, as nm
// reads it, holds each as an initialised data object.
TEST(ClientLayoutTest, TheLibraryExportsEveryConstant) {
  std::string const command = SURVEY_COMMAND;
  std::string const library = command.substr(0, command.rfind('/')) + "/libSurvey.so";
  survey::testing::ShellResult const symbols =
      survey::testing::RunShell("nm -D --defined-only '" + library + "'");
  ASSERT_EQ(symbols.status, 0) << "nm cannot read " << library;
  std::set<std::string> data;
  std::istringstream lines(symbols.output);
  std::string address, kind, name;
  while (lines >> address >> kind >> name) {
    if (kind == "D" || kind == "R" || kind == "B") data.insert(name);
  }
  for (Constant const& constant : kConstants)
    EXPECT_TRUE(data.count(constant.name) == 1) << constant.name << " is not exported as data";
}

// The host lays out the client folder by the same names.
TEST(ClientLayoutTest, TheHostsLayoutUsesTheReservedNames) {
  EXPECT_STREQ(survey::client::kStorageFolderName, cRESERVED_DIRECTORY_DATA);
  EXPECT_STREQ(survey::client::kUsageFolderName, cRESERVED_USAGE_DIRECTORY_STATISTICS);
  EXPECT_STREQ(survey::client::kSitesFolderName, cRESERVED_DIRECTORY_GLOBAL);
}

}  // namespace
