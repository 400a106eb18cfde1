#include "survey/foundation/file_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "survey/foundation/file_item.h"
#include "survey/foundation/file_loop.h"
#include "tests/unit/foundation/file_tree.h"

namespace {

using file_tree::Output;
using file_tree::ScratchFolder;
using file_tree::Split;

FileLocation At(std::string const& path) { return FileLocation(path.c_str()); }

TEST(FileTypeTest, TheTypesAndTheirNumbers) {
  EXPECT_EQ(AdviceFileTypes::Masthead().Number(), 0u);
  EXPECT_EQ(AdviceFileTypes::Pool().Number(), 1u);
  EXPECT_EQ(AdviceFileTypes::Advice().Number(), 2u);
  EXPECT_EQ(AdviceFileTypes::HTML().Number(), 3u);
  EXPECT_EQ(AdviceFileTypes::Text().Number(), 4u);
  EXPECT_EQ(AdviceFileTypes::Log().Number(), 5u);
  EXPECT_EQ(AdviceFileTypes::Surveyor().Number(), 6u);
  EXPECT_EQ(AdviceFileTypes::Notation().Number(), 7u);
  EXPECT_EQ(AdviceFileTypes::Site().Number(), 8u);
  EXPECT_EQ(AdviceFileTypes::Profile().Number(), 9u);
  EXPECT_EQ(AdviceFileTypes::Preferences().Number(), 10u);
  EXPECT_EQ(AdviceFileTypes::Miscellany().Number(), 11u);
  EXPECT_EQ(AdviceFileTypes::BackLog().Number(), 12u);
}

TEST(FileTypeTest, MiscellanyEqualsNoTypeItselfIncluded) {
  FileType const misc = AdviceFileTypes::Miscellany();
  EXPECT_FALSE(misc == misc);
  EXPECT_TRUE(misc != misc);
  EXPECT_FALSE(misc == AdviceFileTypes::Miscellany());
  EXPECT_FALSE(AdviceFileTypes::Log() == misc);
  EXPECT_TRUE(AdviceFileTypes::Log() != misc);
  EXPECT_TRUE(AdviceFileTypes::Log() == AdviceFileTypes::Log());
  EXPECT_FALSE(AdviceFileTypes::Log() != AdviceFileTypes::Log());
  EXPECT_FALSE(AdviceFileTypes::Log() == AdviceFileTypes::BackLog());
}

TEST(FileTypeTest, TheReservedExtensions) {
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_PROFILE, "");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_PREFERENCES, "");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_SITE_DATA, "");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_DLL, ".so");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_NOTATION, ".dat");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_NOTATION_TEMP, ".tmp");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_SITE_BACKUP_LOG_FILE, ".bkg");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_SITE_LOG_FILE, ".log");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_QNA_FILE, ".qna");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_SITE_DEFINITION, ".num");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_ADVICE_POOL, ".nug");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_ADVICE_FILE, ".nuf");
  EXPECT_STREQ(cRESERVED_FILE_EXTENSION_TEXT, ".txt");
  EXPECT_STREQ(cRESERVED_EXTENSION_LONG, ".html");
  EXPECT_STREQ(cRESERVED_EXTENSION, ".htm");
}

TEST(FileTypeTest, TypeOfExtension) {
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".HTML").Number(), 3u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".html").Number(), 3u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".Htm").Number(), 3u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".exe").Number(),
            AdviceFileTypes::Miscellany().Number());
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension("").Number(), AdviceFileTypes::Site().Number());
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".num").Number(), 0u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".NUG").Number(), 1u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".nuf").Number(), 2u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".txt").Number(), 4u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".log").Number(), 5u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".bkg").Number(), 12u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".so").Number(), 6u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".dat").Number(), 7u);
  // Reserved extensions outside the table are miscellany.
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".tmp").Number(), 11u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".qna").Number(), 11u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension("log").Number(), 11u);
  EXPECT_EQ(AdviceFileTypes::TypeOfExtension(".log ").Number(), 11u);
}

TEST(FileTypeTest, ExtensionOfType) {
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::Preferences()), "");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::Profile()), "");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::Site()), "");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::HTML()), ".htm");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::Masthead()), ".num");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::BackLog()), ".bkg");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::Surveyor()), ".so");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(AdviceFileTypes::Miscellany()), "");
  EXPECT_STREQ(AdviceFileTypes::ExtensionOfType(FileType(1000)), "");
}

TEST(FileTypeTest, ItemTypesFollowTheExtension) {
  ScratchFolder folder;
  folder.WriteFile("page.HTML", "");
  folder.WriteFile("SiteData", "");
  folder.WriteFile("tool.exe", "");
  folder.MakeFolder("dir.log");
  folder.Link("nowhere.txt", "dangling.txt");
  EXPECT_EQ(FileItem(At(folder / "page.HTML")).Type().Number(), 3u);
  EXPECT_EQ(FileItem(At(folder / "SiteData")).Type().Number(), 8u);
  EXPECT_EQ(FileItem(At(folder / "tool.exe")).Type().Number(), 11u);
  EXPECT_EQ(FileItem(At(folder / "dir.log")).Type().Number(), 5u);
  EXPECT_EQ(NewFileItem(At(folder / "page.HTML")).Type().Number(), 3u);
  EXPECT_EQ(NewFileItem(At(folder / "dir.log")).Type().Number(), 5u);
  // The gates of the other accessors.
  EXPECT_THROW(FileItem().Type(), FileItemError);
  EXPECT_THROW(NewFileItem().Type(), NewFileItem::Invalid);
  NewFileItem dangling;
  dangling.Get(At(folder / "dangling.txt"), true);
  EXPECT_THROW(dangling.Type(), NewFileItem::Invalid);
}

std::vector<std::string> Walk(TypedFileLoop& loop, std::string const& folder) {
  std::vector<std::string> names;
  for (; loop.Unfinished(); ++loop)
    names.push_back(std::string(loop.Location().FullPathName()).substr(folder.size() + 1));
  return names;
}

std::vector<std::string> FindSorted(std::string const& folder, std::string const& pattern) {
  std::vector<std::string> names =
      Split(Output({"find", folder, "-mindepth", "1", "-maxdepth", "1", "-name", pattern,
                    "-printf", "%f\\0"}),
            '\0');
  std::sort(names.begin(), names.end());
  return names;
}

TEST(TypedFileLoopTest, TypesAndPatternsAgainstFind) {
  ScratchFolder folder;
  for (char const* name : {"a.htm", "b.html", "c.HTM", "d.log", "e.bkg", "Masthead.num", "x.num",
                           "noext", "f.txt"})
    folder.WriteFile(name, "");
  TypedFileLoop html(At(folder.Path()), AdviceFileTypes::HTML());
  // The pattern is "*.htm": case counts, and ".html" is not taken.
  EXPECT_EQ(Walk(html, folder.Path()), FindSorted(folder.Path(), "*.htm"));
  TypedFileLoop mastheads(At(folder.Path()), AdviceFileTypes::Masthead());
  EXPECT_EQ(Walk(mastheads, folder.Path()), FindSorted(folder.Path(), "*.num"));
  // Types without an extension take every name.
  TypedFileLoop site(At(folder.Path()), AdviceFileTypes::Site());
  EXPECT_EQ(Walk(site, folder.Path()), FindSorted(folder.Path(), "*"));
  TypedFileLoop pattern(At(folder.Path()), "?.*l");
  EXPECT_EQ(Walk(pattern, folder.Path()), FindSorted(folder.Path(), "?.*l"));
  pattern.Start(At(folder.Path()), AdviceFileTypes::BackLog());
  EXPECT_EQ(Walk(pattern, folder.Path()), std::vector<std::string>({"e.bkg"}));
}

TEST(SurveyorFileLocationTest, AddsTheNameOnTheHeap) {
  std::unique_ptr<FileLocation> joined(SurveyorFileLocation(FileLocation("/var/sites"), "Masthead"));
  EXPECT_STREQ(joined->FullPathName(), "/var/sites/Masthead");
  std::unique_ptr<FileLocation> root(SurveyorFileLocation(FileLocation("/"), "x/"));
  EXPECT_STREQ(root->FullPathName(), "//x");
  std::unique_ptr<FileLocation> none(SurveyorFileLocation(FileLocation(), ""));
  EXPECT_TRUE(none->IsNull());
}

}  // namespace
