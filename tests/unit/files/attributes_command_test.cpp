// The attributes of files and folders through the command, as a user asks:
// on trees made here (plain files, folders, links, special bits, files of
// other owners, old and large files), every answer is checked against what
// stat reports at test time.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/command_answers.h"
#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::Output;
using survey::files::testing::ScratchTree;
using survey::files::testing::ShellQuoted;

// What a shell command prints, without the line ends at its end.
std::string Line(std::string const& command, int* status = nullptr) {
  std::string text = Output(command, status);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

void Shell(std::string const& command) { EXPECT_EQ(0, std::system(command.c_str())) << command; }

bool Is32BitBuild() { return sizeof(void*) == 4; }

// A regular file in the tree with that content and mode; its path.
std::string MakeFile(ScratchTree const& tree, std::string const& name,
                     std::string const& content = "some text\n", mode_t mode = 0644) {
  tree.File(name, content);
  tree.Mode(name, mode);
  return tree / name;
}

// A folder in the tree with that mode; its path.
std::string MakeFolder(ScratchTree const& tree, std::string const& name, mode_t mode = 0755) {
  tree.Folder(name);
  tree.Mode(name, mode);
  return tree / name;
}

// One query's answer: its values' texts and types, or the kind of its error.
struct Reply {
  std::vector<std::string> texts;
  std::vector<std::string> types;
  std::string error;  // empty when there is none

  std::string Only() const {
    EXPECT_EQ("", error);
    EXPECT_EQ(1u, texts.size());
    return texts.size() == 1 ? texts[0] : std::string("<" + std::to_string(texts.size()) + ">");
  }
  std::string OnlyType() const { return types.size() == 1 ? types[0] : std::string(); }
};

// Runs the queries through the command in one process, from a query file,
// with only TZ=UTC and a home of its own in the environment.
std::vector<Reply> AskAll(std::vector<std::string> const& queries) {
  ScratchTree scratch;
  std::string const file = scratch / "queries";
  {
    std::ofstream out(file);
    for (std::string const& query : queries) out << query << "\n";
  }
  std::string const settings = survey::testing::SanitizerSettings();
  int status = 0;
  std::string const output =
      Line("env -i TZ=UTC HOME=" + ShellQuoted(scratch.Path()) + " " + settings +
               ShellQuoted(SURVEY_COMMAND) + " --json --timeout 300 -f " + ShellQuoted(file),
           &status);
  std::vector<Reply> answers;
  std::size_t at = 0;
  while (at < output.size()) {
    std::size_t end = output.find('\n', at);
    if (end == std::string::npos) end = output.size();
    nlohmann::json const object = nlohmann::json::parse(output.substr(at, end - at), nullptr, false);
    at = end + 1;
    if (object.is_discarded()) {
      ADD_FAILURE() << "not JSON: " << output;
      break;
    }
    Reply answer;
    for (nlohmann::json const& value : object["values"]) {
      answer.texts.push_back(value["text"].get<std::string>());
      answer.types.push_back(value["type"].get<std::string>());
    }
    if (!object["error"].is_null()) answer.error = object["error"]["kind"].get<std::string>();
    answers.push_back(answer);
  }
  EXPECT_EQ(queries.size(), answers.size()) << output;
  answers.resize(queries.size());
  return answers;
}

Reply AskOne(std::string const& query) { return AskAll({query})[0]; }

// A time of the epoch seconds in the command's text form, made by date.
std::string TimeText(long long seconds) {
  return Line("LC_ALL=C date -u -d @" + std::to_string(seconds) +
                " '+%a, %d %b %Y %H:%M:%S +0000'");
}

std::string Truth(bool value) { return value ? "True" : "False"; }

// What stat says of a path, following links as the command does.
struct StatRecord {
  long long size = 0;
  long long modified = 0;
  long long accessed = 0;
  long long changed = 0;
  std::string octal;  // %a
  unsigned raw = 0;   // %f
  unsigned long long links = 0;
  std::string user;
  std::string group;
  unsigned long long uid = 0;
  unsigned long long gid = 0;
  std::string letters;  // %A, with the type letter
};

StatRecord Stat(std::string const& path) {
  std::string const line = Line("LC_ALL=C stat -L -c '%s %Y %X %Z %a %f %h %U %G %u %g %A' " +
                                  ShellQuoted(path));
  StatRecord record;
  char octal[16] = {};
  char user[256] = {};
  char group[256] = {};
  char letters[16] = {};
  int const fields =
      std::sscanf(line.c_str(), "%lld %lld %lld %lld %15s %x %llu %255s %255s %llu %llu %15s",
                  &record.size, &record.modified, &record.accessed, &record.changed, octal,
                  &record.raw, &record.links, user, group, &record.uid, &record.gid, letters);
  EXPECT_EQ(12, fields) << line;
  record.octal = octal;
  record.user = user;
  record.group = group;
  record.letters = letters;
  return record;
}

std::string FourDigits(std::string const& octal) {
  return std::string(octal.size() < 4 ? 4 - octal.size() : 0, '0') + octal;
}

// Asks every attribute of the object that `object` names (a query phrase
// such as `file "/x"`) and checks each against stat's record of `path`.
void ExpectAttributesAsStatHasThem(std::string const& object, std::string const& path,
                                   bool isFile) {
  SCOPED_TRACE(object);
  StatRecord const stat = Stat(path);
  std::vector<std::string> queries = {
      "modification time of " + object,
      "accessed time of " + object,
      "change time of " + object,
      "uid of " + object,
      "gid of " + object,
      "mode of " + object,
      "mode of " + object + " as octal string",
      "link count of " + object,
      "user mask of " + object,
      "group mask of " + object,
      "other mask of " + object,
      "user mask of mode of " + object,
      "group mask of mode of " + object,
      "other mask of mode of " + object,
      "setuid of " + object,
      "setgid of " + object,
      "sticky of mode of " + object,
      "user read of " + object,
      "user write of " + object,
      "user execute of " + object,
      "group read of " + object,
      "group write of " + object,
      "group execute of " + object,
      "other read of " + object,
      "other write of " + object,
      "other execute of " + object,
      object + " as string",
      "user name of " + object,
      "group name of " + object,
      "size of " + object,
  };
  std::vector<Reply> const answers = AskAll(queries);
  ASSERT_EQ(queries.size(), answers.size());
  std::size_t i = 0;
  auto next = [&]() -> Reply const& {
    SCOPED_TRACE(queries[i]);
    return answers[i++];
  };
  EXPECT_EQ(TimeText(stat.modified), next().Only());
  EXPECT_EQ(TimeText(stat.accessed), next().Only());
  EXPECT_EQ(TimeText(stat.changed), next().Only());
  EXPECT_EQ(std::to_string(stat.uid), next().Only());
  EXPECT_EQ(std::to_string(stat.gid), next().Only());
  Reply const& modeReply = next();
  EXPECT_EQ(stat.letters.substr(1), modeReply.Only());
  EXPECT_EQ("mode", modeReply.OnlyType());
  EXPECT_EQ(FourDigits(stat.octal), next().Only());
  Reply const& links = next();
  EXPECT_EQ(std::to_string(stat.links), links.Only());
  EXPECT_EQ("integer", links.OnlyType());
  // The masks of an object are numbers; those of its mode are masks, which
  // print as their letters.
  for (unsigned shift : {6u, 3u, 0u}) {
    Reply const& number = next();
    EXPECT_EQ(std::to_string((stat.raw >> shift) & 7), number.Only());
    EXPECT_EQ("integer", number.OnlyType());
  }
  for (unsigned triple = 0; triple < 3; ++triple) {
    Reply const& mask = next();
    std::string letters = stat.letters.substr(1 + 3 * triple, 3);
    // The listing shows special bits in the execute place; a mask has none.
    letters[2] = (stat.raw >> (6 - 3 * triple) & 1) != 0 ? 'x' : '-';
    EXPECT_EQ(letters, mask.Only());
    EXPECT_EQ("mode_mask", mask.OnlyType());
  }
  EXPECT_EQ(Truth((stat.raw & 04000) != 0), next().Only());
  EXPECT_EQ(Truth((stat.raw & 02000) != 0), next().Only());
  EXPECT_EQ(Truth((stat.raw & 01000) != 0), next().Only());
  for (unsigned bit = 0400; bit != 0; bit >>= 1) {
    Reply const& flag = next();
    EXPECT_EQ(Truth((stat.raw & bit) != 0), flag.Only());
    EXPECT_EQ("boolean", flag.OnlyType());
  }
  EXPECT_EQ(path, next().Only());
  Reply const& user = next();
  if (stat.user == "UNKNOWN") {
    EXPECT_EQ("no value", user.error);
  } else {
    EXPECT_EQ(stat.user, user.Only());
  }
  Reply const& group = next();
  if (stat.group == "UNKNOWN") {
    EXPECT_EQ("no value", group.error);
  } else {
    EXPECT_EQ(stat.group, group.Only());
  }
  Reply const& size = next();
  if (isFile) {
    EXPECT_EQ(std::to_string(stat.size), size.Only());
    EXPECT_EQ("integer", size.OnlyType());
  } else {
    // "size" is a property of files alone.
    EXPECT_EQ("no such property", size.error);
  }
}

// ---------------------------------------------------------------------------
// Every attribute of one object against stat.

TEST(AttributesCommandTest, AttributesOfAPlainFileAreThoseStatReports) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "plain.txt", "hello, world\n", 0640);
  ExpectAttributesAsStatHasThem("file \"" + path + "\"", path, true);
  ExpectAttributesAsStatHasThem("application \"" + path + "\"", path, true);
}

TEST(AttributesCommandTest, AttributesOfAFolderAreThoseStatReports) {
  ScratchTree tree;
  std::string const path = MakeFolder(tree, "sub", 0751);
  tree.Folder("sub/a");
  tree.Folder("sub/b");
  ExpectAttributesAsStatHasThem("folder \"" + path + "\"", path, false);
}

TEST(AttributesCommandTest, AStickyFolderReadsAsRwxrwxrwtAnd1777) {
  ScratchTree tree;
  std::string const path = MakeFolder(tree, "shared", 01777);
  ASSERT_EQ("drwxrwxrwt", Stat(path).letters);
  ExpectAttributesAsStatHasThem("folder \"" + path + "\"", path, false);
  std::vector<Reply> const answers =
      AskAll({"mode of folder \"" + path + "\"", "mode of folder \"" + path + "\" as octal string",
           "sticky of mode of folder \"" + path + "\""});
  EXPECT_EQ("rwxrwxrwt", answers[0].Only());
  EXPECT_EQ("1777", answers[1].Only());
  EXPECT_EQ("True", answers[2].Only());
}

TEST(AttributesCommandTest, SetuidAndSetgidFilesWithAndWithoutTheExecuteBitBeneath) {
  ScratchTree tree;
  std::string const withExecute = MakeFile(tree, "suid-x", "x", 04744);
  std::string const withoutExecute = MakeFile(tree, "suid", "x", 04644);
  std::string const setgid = MakeFile(tree, "sgid", "x", 02750);
  std::string const setgidBare = MakeFile(tree, "sgid-bare", "x", 02740);
  for (std::string const& path : {withExecute, withoutExecute, setgid, setgidBare}) {
    ExpectAttributesAsStatHasThem("file \"" + path + "\"", path, true);
  }
  std::vector<Reply> const answers =
      AskAll({"mode of file \"" + withoutExecute + "\"",
           "mode of file \"" + withoutExecute + "\" as octal string",
           "mode of file \"" + withExecute + "\"",
           "mode of file \"" + withExecute + "\" as octal string",
           "mode of file \"" + setgidBare + "\"", "setuid of file \"" + withoutExecute + "\"",
           "setgid of file \"" + setgid + "\"", "setuid of mode of file \"" + withExecute + "\""});
  EXPECT_EQ("rwSr--r--", answers[0].Only());
  EXPECT_EQ("4644", answers[1].Only());
  EXPECT_EQ("rwsr--r--", answers[2].Only());
  EXPECT_EQ("4744", answers[3].Only());
  EXPECT_EQ("rwxr-S---", answers[4].Only());
  EXPECT_EQ("True", answers[5].Only());
  EXPECT_EQ("True", answers[6].Only());
  EXPECT_EQ("True", answers[7].Only());
}

TEST(AttributesCommandTest, ALinkHasTheAttributesOfWhatItPointsTo) {
  ScratchTree tree;
  std::string const target = MakeFile(tree, "target", "0123456789", 0604);
  std::string const folder = MakeFolder(tree, "folder", 0700);
  std::string const fileLink = (tree / "file-link");
  std::string const folderLink = (tree / "folder-link");
  ASSERT_EQ(0, symlink(target.c_str(), fileLink.c_str()));
  ASSERT_EQ(0, symlink(folder.c_str(), folderLink.c_str()));
  ExpectAttributesAsStatHasThem("file \"" + fileLink + "\"", fileLink, true);
  ExpectAttributesAsStatHasThem("folder \"" + folderLink + "\"", folderLink, false);
  // The link's own mode (lrwxrwxrwx) is not what is read.
  EXPECT_EQ("rw----r--", AskOne("mode of file \"" + fileLink + "\"").Only());
  EXPECT_EQ("10", AskOne("size of file \"" + fileLink + "\"").Only());
}

TEST(AttributesCommandTest, AFifoIsNeitherFileNorFolderSoItsAttributesAreNotReached) {
  ScratchTree tree;
  std::string const fifo = (tree / "fifo");
  ASSERT_EQ(0, mkfifo(fifo.c_str(), 0644));
  ASSERT_EQ("fifo", Line("stat -c %F " + ShellQuoted(fifo)));
  std::vector<Reply> const answers = AskAll(
      {"mode of file \"" + fifo + "\"", "mode of folder \"" + fifo + "\"",
       "exists modification time of file \"" + fifo + "\""});
  EXPECT_EQ("no value", answers[0].error);
  EXPECT_EQ("no value", answers[1].error);
  EXPECT_EQ("False", answers[2].Only());
}

// ---------------------------------------------------------------------------
// Owners.

TEST(AttributesCommandTest, OwnersWithoutAnEntryHaveNumbersButNoNames) {
  if (geteuid() != 0) GTEST_SKIP() << "giving a file to another owner needs root";
  ScratchTree tree;
  // Identifiers that neither the password nor the group database knows.
  unsigned const uid = 54321;
  unsigned const gid = 54322;
  int status = 0;
  Line("getent passwd " + std::to_string(uid), &status);
  if (status == 0) GTEST_SKIP() << "uid " << uid << " has an entry on this machine";
  Line("getent group " + std::to_string(gid), &status);
  if (status == 0) GTEST_SKIP() << "gid " << gid << " has an entry on this machine";
  std::string const path = MakeFile(tree, "orphan", "x", 0644);
  Shell("chown " + std::to_string(uid) + ":" + std::to_string(gid) + " " + ShellQuoted(path));
  StatRecord const stat = Stat(path);
  ASSERT_EQ(uid, stat.uid);
  ASSERT_EQ("UNKNOWN", stat.user);
  ExpectAttributesAsStatHasThem("file \"" + path + "\"", path, true);
  std::string const object = "file \"" + path + "\"";
  std::vector<Reply> const answers =
      AskAll({"user name of " + object, "group name of " + object, "exists user name of " + object,
           "uid of " + object, "gid of " + object});
  EXPECT_EQ("no value", answers[0].error);
  EXPECT_EQ("no value", answers[1].error);
  EXPECT_EQ("False", answers[2].Only());
  EXPECT_EQ("54321", answers[3].Only());
  EXPECT_EQ("54322", answers[4].Only());
}

TEST(AttributesCommandTest, OwnersWithAnEntryHaveTheirNames) {
  if (geteuid() != 0) GTEST_SKIP() << "giving a file to another owner needs root";
  // Some user and group of the machine other than root, as the databases
  // list them.
  std::string const user = Line("getent passwd | awk -F: '$3 != 0 {print $1; exit}'");
  std::string const group = Line("getent group | awk -F: '$3 != 0 {print $1; exit}'");
  if (user.empty() || group.empty()) GTEST_SKIP() << "no user or group other than root here";
  ScratchTree tree;
  std::string const path = MakeFile(tree, "owned", "x", 0644);
  Shell("chown " + ShellQuoted(user) + ":" + ShellQuoted(group) + " " + ShellQuoted(path));
  StatRecord const stat = Stat(path);
  ASSERT_EQ(user, stat.user);
  ASSERT_EQ(group, stat.group);
  ExpectAttributesAsStatHasThem("file \"" + path + "\"", path, true);
}

TEST(AttributesCommandTest, UserReadStatesTheBitOnlyEvenForRoot) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "closed", "secret", 0000);
  ASSERT_EQ("----------", Stat(path).letters);
  if (geteuid() == 0) {
    // Root may read it all the same; the answer does not change.
    ASSERT_EQ(0, access(path.c_str(), R_OK));
  }
  std::string const object = "file \"" + path + "\"";
  std::vector<Reply> const answers =
      AskAll({"user read of " + object, "user write of " + object, "user execute of " + object});
  EXPECT_EQ("False", answers[0].Only());
  EXPECT_EQ("False", answers[1].Only());
  EXPECT_EQ("False", answers[2].Only());
  // Nor does it change for a user without privileges.
  if (geteuid() == 0) {
    survey::files::testing::Answer const unprivileged = survey::files::testing::Ask(
        "user read of " + object, "/", true, survey::files::testing::Unprivileged());
    EXPECT_EQ("", unprivileged.error);
    EXPECT_EQ(std::vector<std::string>{"False"}, unprivileged.values);
  }
}

// ---------------------------------------------------------------------------
// Times and sizes at the edges of the ranges.

TEST(AttributesCommandTest, AFileDatedBefore1970HasAModificationTimeBefore1970) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "old");
  Shell("touch -m -d '1960-06-15 12:34:56 UTC' " + ShellQuoted(path));
  StatRecord const stat = Stat(path);
  ASSERT_LT(stat.modified, 0);
  std::string const expected = TimeText(stat.modified);
  ASSERT_NE(std::string::npos, expected.find("1960")) << expected;
  EXPECT_EQ(expected, AskOne("modification time of file \"" + path + "\"").Only());
  EXPECT_EQ("True", AskOne("(modification time of file \"" + path +
                           "\") < (\"Thu, 01 Jan 1970 00:00:00 +0000\" as time)")
                        .Only());
}

TEST(AttributesCommandTest, AFileDatedAfter2038IsFoundWithItsTimeOnlyIn64Bits) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "future");
  Shell("touch -m -d '2100-03-04 05:06:07 UTC' " + ShellQuoted(path));
  StatRecord const stat = Stat(path);
  ASSERT_GT(stat.modified, 4000000000LL);
  Reply const answer = AskOne("modification time of file \"" + path + "\"");
  if (Is32BitBuild()) {
    // The 32-bit stat entry refuses a time that does not fit its record.
    EXPECT_EQ("no value", answer.error);
  } else {
    EXPECT_EQ(TimeText(stat.modified), answer.Only());
  }
}

TEST(AttributesCommandTest, SizesOfFilesOfAndAbove2GiB) {
  ScratchTree tree;
  long long const sizes[] = {0, 1, 2147483647LL, 2147483648LL, 4294967296LL, 4294967297LL,
                             5368709120LL};
  std::vector<std::string> queries;
  std::vector<std::string> paths;
  for (long long size : sizes) {
    std::string const path = tree / ("sparse-" + std::to_string(size));
    int status = 0;
    std::string const message =
        Line("truncate -s " + std::to_string(size) + " " + ShellQuoted(path) + " 2>&1", &status);
    if (status != 0) GTEST_SKIP() << "cannot make a sparse file of " << size << ": " << message;
    paths.push_back(path);
    queries.push_back("size of file \"" + path + "\"");
  }
  std::vector<Reply> const answers = AskAll(queries);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    SCOPED_TRACE(paths[i]);
    long long const size = Stat(paths[i]).size;
    ASSERT_EQ(sizes[i], size);
    if (Is32BitBuild() && size > 2147483647LL) {
      // The 32-bit stat entry refuses such a file: it is not found at all.
      EXPECT_EQ("no value", answers[i].error);
    } else {
      EXPECT_EQ(std::to_string(size), answers[i].Only());
    }
  }
}

TEST(AttributesCommandTest, LinkCountsOfFilesWithHardLinksAndOfFolders) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "linked");
  ASSERT_EQ(0, link(path.c_str(), (tree / "second").c_str()));
  ASSERT_EQ(0, link(path.c_str(), (tree / "third").c_str()));
  std::string const folder = MakeFolder(tree, "parent");
  for (char const* name : {"parent/a", "parent/b", "parent/c"}) tree.Folder(name);
  std::vector<Reply> const answers = AskAll(
      {"link count of file \"" + path + "\"", "link count of folder \"" + folder + "\""});
  EXPECT_EQ(std::to_string(Stat(path).links), answers[0].Only());
  EXPECT_EQ("3", answers[0].Only());
  EXPECT_EQ(std::to_string(Stat(folder).links), answers[1].Only());
}

// ---------------------------------------------------------------------------
// The text form of an object, the fixed objects, and what is not there.

TEST(AttributesCommandTest, AnObjectAsStringIsItsPathname) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "named");
  std::vector<Reply> const answers =
      AskAll({"file \"" + path + "\" as string", "folder \"/usr/\" as string",
           "folder \"/\" as string", "(file \"named\" of folder \"" + tree.Path() + "\") as string"});
  EXPECT_EQ(path, answers[0].Only());
  EXPECT_EQ("string", answers[0].OnlyType());
  EXPECT_EQ("/usr", answers[1].Only());
  EXPECT_EQ("/", answers[2].Only());
  // The joined path keeps its doubled slash.
  EXPECT_EQ(tree.Path() + "/named", answers[3].Only());
}

TEST(AttributesCommandTest, RootAndSystemFolderAreTheFolderSlash) {
  ExpectAttributesAsStatHasThem("root folder", "/", false);
  ExpectAttributesAsStatHasThem("system folder", "/", false);
  std::vector<Reply> const answers =
      AskAll({"pathname of root folder", "pathname of system folder", "root folder", "root folders",
           "system folders", "name of root folder"});
  EXPECT_EQ("/", answers[0].Only());
  EXPECT_EQ("/", answers[1].Only());
  EXPECT_EQ("folder", answers[2].OnlyType());
  EXPECT_EQ("/", answers[2].Only());
  EXPECT_EQ("/", answers[3].Only());
  EXPECT_EQ("/", answers[4].Only());
  EXPECT_EQ("/", answers[5].Only());
}

TEST(AttributesCommandTest, ThereIsNoDefaultWebBrowser) {
  std::vector<Reply> const answers =
      AskAll({"default web browser", "exists default web browser", "number of default web browsers"});
  EXPECT_EQ("no value", answers[0].error);
  EXPECT_EQ("False", answers[1].Only());
  EXPECT_EQ("0", answers[2].Only());
}

TEST(AttributesCommandTest, StickyIsAPropertyOfAModeOnlyAndMasksDifferByObject) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "masked", "x", 0754);
  std::string const object = "file \"" + path + "\"";
  std::vector<Reply> const answers =
      AskAll({"sticky of " + object, "user mask of " + object, "user mask of mode of " + object,
           "user mask of mode of " + object + " as integer",
           "read of group mask of mode of " + object, "write of group mask of mode of " + object,
           "execute of other mask of mode of " + object});
  EXPECT_EQ("no such property", answers[0].error);
  EXPECT_EQ("7", answers[1].Only());
  EXPECT_EQ("integer", answers[1].OnlyType());
  EXPECT_EQ("rwx", answers[2].Only());
  EXPECT_EQ("mode_mask", answers[2].OnlyType());
  EXPECT_EQ("7", answers[3].Only());
  EXPECT_EQ("integer", answers[3].OnlyType());
  EXPECT_EQ("True", answers[4].Only());
  EXPECT_EQ("False", answers[5].Only());
  EXPECT_EQ("False", answers[6].Only());
}

TEST(AttributesCommandTest, EachQueryLooksAtTheDiskAnew) {
  ScratchTree tree;
  std::string const path = MakeFile(tree, "changing", "x", 0600);
  EXPECT_EQ("rw-------", AskOne("mode of file \"" + path + "\"").Only());
  Shell("chmod 640 " + ShellQuoted(path));
  EXPECT_EQ("rw-r-----", AskOne("mode of file \"" + path + "\"").Only());
}

}  // namespace
