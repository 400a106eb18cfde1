// Variable files: the library's reader over files written by the host's
// writer and by an independent writer (a short Python script that follows
// the format), damaged ones included; and the host's writer itself.

#include "survey/client/profile_vars.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "host/client/variable_file_writer.h"
#include "tests/support/failing_allocation.h"
#include "tests/support/shell.h"

namespace {

using survey::client::EncodeVariableFile;
using survey::client::Variable;
using survey::client::VariableFileError;
using survey::client::WriteVariableFile;
using survey::testing::RunShell;
using survey::testing::ScratchFolder;

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string Quoted(std::string const& text) { return "'" + text + "'"; }

std::string ReadWhole(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteWhole(std::string const& path, std::string const& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

Pairs Walk(ProfileVars& vars) {
  Pairs pairs;
  for (ProfileVarsLoop loop(vars); loop.Unfinished(); ++loop)
    pairs.emplace_back(loop.Name(), loop.Value());
  return pairs;
}

Pairs WalkByNameAndValue(ProfileVars const& vars) {
  Pairs pairs;
  char const* name = nullptr;
  char const* value = nullptr;
  while (vars.GetNameAndValue(value, &name, &value)) pairs.emplace_back(name, value);
  return pairs;
}

std::vector<std::string> ValuesNamed(ProfileVars const& vars, std::string const& wanted) {
  std::vector<std::string> values;
  char const* name = nullptr;
  char const* value = nullptr;
  auto const* bytes = reinterpret_cast<unsigned char const*>(wanted.data());
  while (vars.GetNameAndValue(bytes, wanted.size(), value, &name, &value)) values.push_back(value);
  return values;
}

// The independent writer: the format as the client's variable files have it,
// from its description. Each file is written by a line of the script.
char const kPythonWriter[] = R"PY(
import struct, sys, os
folder = sys.argv[1]

def bracketed(text, length=None):
    data = text.encode() + b'\0'
    if length is None:
        length = len(data)
    return b'[' + struct.pack('=I', length) + b']' + data

def file(pairs, banner='>NudgeSite Vars File', version='>Version 1.0.1', size=None, count=None):
    block = b''.join(n.encode('latin-1') + b'\0' + v.encode('latin-1') + b'\0' for n, v in pairs)
    head = bracketed(banner) + bracketed(version)
    head += struct.pack('=I', len(block) if size is None else size)
    head += struct.pack('=I', len(pairs) if count is None else count)
    return head + block

def write(name, data):
    with open(os.path.join(folder, name), 'wb') as out:
        out.write(data)

fruit = [('Fruit', 'apple'), ('Colour', 'red'), ('FRUIT', 'pear'), ('Empty', ''),
         ('Size', 'large'), ('fruit', 'Plum')]
write('good', file(fruit))
write('empty-block', file([]))
write('wrong-banner', file(fruit, banner='>NudgeSite Vars file'))
write('other-banner', file(fruit, banner='>Kestrix Options File'))
write('wrong-version', file(fruit, version='>Version 1.0.2'))
write('empty-banner', b'[' + struct.pack('=I', 0) + b']' + bracketed('>Version 1.0.1'))
good = file(fruit)
write('cut-in-block', good[:-5])
write('cut-in-numbers', good[:len(good) - len(b''.join(n.encode() + b'\0' + v.encode() + b'\0' for n, v in fruit)) - 3])
write('cut-in-banner', good[:10])
write('size-past-end', file(fruit, size=len(good) + 100))
write('size-huge', file(fruit, size=0xFFFFFFFF))
write('banner-length-past-end', b'[' + struct.pack('=I', 1000) + b']' + b'>NudgeSite Vars File\0')
write('banner-length-1024', b'[' + struct.pack('=I', 1024) + b']' + b'x' * 1100)
write('no-bracket', b'(' + good[1:])
write('count-too-large', file(fruit, count=1000))
write('count-too-small', file(fruit, count=2))
write('size-short-of-block', file(fruit, size=9))
write('unended-block', file([('A', 'b')])[:-1] + b'c')
write('empty', b'')
)PY";

class VariableFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string const script = folder.Path() + "/writer.py";
    WriteWhole(script, kPythonWriter);
    survey::testing::ShellResult const run =
        RunShell("python3 " + Quoted(script) + " " + Quoted(folder.Path()) + " 2>&1");
    ASSERT_EQ(run.status, 0) << run.output;
  }
  FileLocation At(std::string const& name) const {
    return FileLocation((folder.Path() + "/" + name).c_str());
  }

  ScratchFolder folder{"survey-vars"};
};

Pairs const kFruit = {{"Fruit", "apple"}, {"Colour", "red"}, {"FRUIT", "pear"},
                      {"Empty", ""},      {"Size", "large"}, {"fruit", "Plum"}};

TEST_F(VariableFilesTest, AGoodFileFromTheIndependentWriter) {
  ProfileVars vars(At("good"));
  EXPECT_TRUE(vars.Loaded());
  ASSERT_NE(vars.Block(), nullptr);
  EXPECT_EQ(vars.Count(), 6u);
  EXPECT_EQ(Walk(vars), kFruit);
  EXPECT_EQ(WalkByNameAndValue(vars), kFruit);
  // Names ignore case; the first of several is the value.
  EXPECT_STREQ(vars.GetValue("fruit"), "apple");
  EXPECT_STREQ(vars.GetValue("COLOUR"), "red");
  EXPECT_STREQ(vars.GetValue("Empty"), "");
  EXPECT_TRUE(vars.HaveValue("size"));
  EXPECT_FALSE(vars.HaveValue("Siz"));
  EXPECT_EQ(vars.GetValue("missing"), nullptr);
  // Any of the values of a name matches, values with their case.
  EXPECT_TRUE(vars.MatchesMultiList("Fruit", "apple"));
  EXPECT_TRUE(vars.MatchesMultiList("Fruit", "pear"));
  EXPECT_TRUE(vars.MatchesMultiList("FRUIT", "Plum"));
  EXPECT_FALSE(vars.MatchesMultiList("Fruit", "APPLE"));
  EXPECT_FALSE(vars.MatchesMultiList("Fruit", "red"));
  EXPECT_EQ(ValuesNamed(vars, "fRUIT"), (std::vector<std::string>{"apple", "pear", "Plum"}));
  EXPECT_EQ(ValuesNamed(vars, "Fruits"), std::vector<std::string>{});
  EXPECT_EQ(ValuesNamed(vars, "Frui"), std::vector<std::string>{});
}

TEST_F(VariableFilesTest, AWrongBannerOrVersionIsNoFile) {
  for (char const* name : {"wrong-banner", "other-banner", "wrong-version", "empty-banner"}) {
    ProfileVars vars(At(name));
    EXPECT_FALSE(vars.Loaded()) << name;
    EXPECT_EQ(vars.Block(), nullptr) << name;
    EXPECT_EQ(vars.GetValue("Fruit"), nullptr) << name;
    EXPECT_TRUE(Walk(vars).empty()) << name;
  }
}

TEST_F(VariableFilesTest, AnEmptyBlockIsLoadedWithoutVariables) {
  ProfileVars vars(At("empty-block"));
  EXPECT_TRUE(vars.Loaded());
  EXPECT_EQ(vars.Block(), nullptr);
  EXPECT_EQ(vars.Size(), 0u);
  EXPECT_FALSE(vars.HaveValue("Fruit"));
  EXPECT_FALSE(vars.MatchesMultiList("Fruit", "apple"));
  EXPECT_TRUE(WalkByNameAndValue(vars).empty());
  EXPECT_TRUE(ProfileVarsLoop(vars).Finished());
}

TEST_F(VariableFilesTest, ABlockShorterThanItsSizeLeavesNoBlock) {
  for (char const* name : {"cut-in-block", "size-past-end", "size-huge"}) {
    ProfileVars vars(At(name));
    // The header was recognised and its numbers kept; only the block is
    // missing, and with it every variable.
    EXPECT_TRUE(vars.Loaded()) << name;
    EXPECT_EQ(vars.Block(), nullptr) << name;
    EXPECT_NE(vars.Size(), 0u) << name;
    EXPECT_EQ(vars.Count(), 6u) << name;
    EXPECT_EQ(vars.GetValue("Fruit"), nullptr) << name;
    EXPECT_TRUE(WalkByNameAndValue(vars).empty()) << name;
    // With no block and a size, the loop is not finished at the start; it
    // has nothing to give, and one step ends it.
    ProfileVarsLoop loop(vars);
    EXPECT_TRUE(loop.Unfinished()) << name;
    EXPECT_STREQ(loop.Name(), "") << name;
    EXPECT_STREQ(loop.Value(), "") << name;
    ++loop;
    EXPECT_TRUE(loop.Finished()) << name;
  }
}

TEST_F(VariableFilesTest, DamagedHeadersGiveAStoreWithoutVariables) {
  for (char const* name : {"cut-in-banner", "banner-length-past-end", "banner-length-1024",
                           "no-bracket", "empty", "no-such-file"}) {
    ProfileVars vars(At(name));
    EXPECT_FALSE(vars.Loaded()) << name;
    EXPECT_EQ(vars.Block(), nullptr) << name;
    EXPECT_EQ(vars.Size(), 0u) << name;
    EXPECT_TRUE(Walk(vars).empty()) << name;
  }
  // Cut between the version and the numbers: the banner was right, but the
  // header was not read whole.
  ProfileVars cut(At("cut-in-numbers"));
  EXPECT_FALSE(cut.Loaded());
  EXPECT_EQ(cut.Block(), nullptr);
}

TEST_F(VariableFilesTest, CountsThatDisagreeWithTheBlock) {
  // The lookups by count stop at the block's end.
  ProfileVars tooLarge(At("count-too-large"));
  EXPECT_EQ(Walk(tooLarge), kFruit);
  EXPECT_STREQ(tooLarge.GetValue("size"), "large");
  EXPECT_EQ(tooLarge.GetValue("nothing"), nullptr);
  EXPECT_FALSE(tooLarge.MatchesMultiList("nothing", "x"));
  // With a count of 2, the lookups by count see two variables, while the
  // walks, which go by size, see them all.
  ProfileVars tooSmall(At("count-too-small"));
  EXPECT_STREQ(tooSmall.GetValue("Colour"), "red");
  EXPECT_EQ(tooSmall.GetValue("Size"), nullptr);
  EXPECT_FALSE(tooSmall.MatchesMultiList("fruit", "pear"));
  EXPECT_EQ(Walk(tooSmall), kFruit);
  EXPECT_EQ(ValuesNamed(tooSmall, "size"), std::vector<std::string>{"large"});
}

TEST_F(VariableFilesTest, ASizeShortOfTheBlockCutsTheVariables) {
  // Nine bytes: "Fruit\0app". The name's value runs past the size.
  ProfileVars vars(At("size-short-of-block"));
  ASSERT_NE(vars.Block(), nullptr);
  EXPECT_EQ(vars.Size(), 9u);
  // The value starts inside the block, and ends at the block's end.
  EXPECT_STREQ(vars.GetValue("Fruit"), "app");
  char const* name = nullptr;
  char const* value = nullptr;
  EXPECT_TRUE(vars.GetNameAndValue(nullptr, &name, &value));
  EXPECT_STREQ(name, "Fruit");
  EXPECT_STREQ(value, "app");
  EXPECT_FALSE(vars.GetNameAndValue(value, &name, &value));
  EXPECT_EQ(Walk(vars), (Pairs{{"Fruit", "app"}}));
}

TEST_F(VariableFilesTest, ABlockWithoutItsLastZeroEndsAtTheBlock) {
  ProfileVars vars(At("unended-block"));
  ASSERT_NE(vars.Block(), nullptr);
  // "A\0bc": the last value has no zero byte of its own.
  EXPECT_STREQ(vars.GetValue("a"), "bc");
  EXPECT_EQ(Walk(vars), (Pairs{{"A", "bc"}}));
}

TEST_F(VariableFilesTest, TheCopyHasNoCount) {
  ProfileVars const original(At("good"));
  ProfileVars const copy(original);
  EXPECT_TRUE(copy.Loaded());
  EXPECT_EQ(copy.Size(), original.Size());
  ASSERT_NE(copy.Block(), nullptr);
  EXPECT_NE(copy.Block(), original.Block());
  EXPECT_STREQ(copy.Location().FullPathName(), original.Location().FullPathName());
  // The lookups by count find nothing in the copy...
  EXPECT_EQ(copy.Count(), 0u);
  EXPECT_EQ(copy.GetValue("Fruit"), nullptr);
  EXPECT_FALSE(copy.HaveValue("Fruit"));
  EXPECT_FALSE(copy.MatchesMultiList("Fruit", "apple"));
  // ...while those by size see every variable.
  EXPECT_EQ(WalkByNameAndValue(copy), kFruit);
  EXPECT_EQ(ValuesNamed(copy, "fruit"), (std::vector<std::string>{"apple", "pear", "Plum"}));
  ProfileVars walked(copy);
  EXPECT_EQ(Walk(walked), kFruit);
}

TEST_F(VariableFilesTest, AFailedAllocationIsNotAnEmptyStore) {
  // Only the file's failures make an empty store; running out of memory is
  // told to the caller.
  ProfileVars vars(At("good"));
  survey::testing::FailNextAllocation();
  EXPECT_THROW(vars.Load(), std::bad_alloc);
  EXPECT_FALSE(survey::testing::AllocationFailurePending());
  EXPECT_EQ(vars.Block(), nullptr);
  vars.Load();
  EXPECT_STREQ(vars.GetValue("fruit"), "apple");
}

TEST_F(VariableFilesTest, TheLoopsSteps) {
  ProfileVars vars(At("good"));
  ProfileVarsLoop loop(vars);
  EXPECT_STREQ((loop++).Name(), "Fruit");
  EXPECT_STREQ(loop.Name(), "Colour");
  EXPECT_STREQ((++loop).Name(), "FRUIT");
  loop.End();
  EXPECT_TRUE(loop.Finished());
  EXPECT_STREQ(loop.Name(), "");
  EXPECT_STREQ(loop.Value(), "");
  ++loop;
  EXPECT_TRUE(loop.Finished());
  loop.Start();
  EXPECT_STREQ(loop.Value(), "apple");
}

TEST_F(VariableFilesTest, LoadReadsTheFileAnew) {
  std::string const path = folder.Path() + "/changing";
  WriteVariableFile(path, {{"A", "1"}});
  ProfileVars vars(At("changing"));
  EXPECT_STREQ(vars.GetValue("a"), "1");
  WriteVariableFile(path, {{"B", "2"}, {"A", "3"}});
  EXPECT_STREQ(vars.GetValue("a"), "1");
  vars.Load();
  EXPECT_STREQ(vars.GetValue("a"), "3");
  EXPECT_EQ(vars.Count(), 2u);
  WriteWhole(path, "not a variable file");
  vars.Load();
  EXPECT_FALSE(vars.Loaded());
  EXPECT_EQ(vars.GetValue("a"), nullptr);
}

// ---------------------------------------------------------------------------
// The host's writer

TEST_F(VariableFilesTest, TheWritersBytesAreThoseOfTheIndependentWriter) {
  std::vector<Variable> variables;
  for (auto const& [name, value] : kFruit) variables.push_back({name, value});
  std::string const path = folder.Path() + "/written";
  WriteVariableFile(path, variables);
  EXPECT_EQ(ReadWhole(path), ReadWhole(folder.Path() + "/good"));
  EXPECT_EQ(EncodeVariableFile(variables), ReadWhole(folder.Path() + "/good"));
  EXPECT_EQ(EncodeVariableFile({}), ReadWhole(folder.Path() + "/empty-block"));
}

TEST_F(VariableFilesTest, TheReaderReadsWhatTheWriterWrote) {
  std::vector<Variable> variables = {{"Name", "value"},
                                     {"List", "one"},
                                     {"list", "two"},
                                     {"Blank", ""},
                                     {"Long", std::string(5000, 'x')},
                                     {"High", "\xc3\xa9\x01\xff"}};
  for (int i = 0; i < 200; ++i)
    variables.push_back({"n" + std::to_string(i), std::to_string(i * i)});
  WriteVariableFile(folder.Path() + "/roundtrip", variables);
  ProfileVars vars(At("roundtrip"));
  ASSERT_TRUE(vars.Loaded());
  EXPECT_EQ(vars.Count(), variables.size());
  Pairs expected;
  for (Variable const& variable : variables) expected.emplace_back(variable.name, variable.value);
  EXPECT_EQ(Walk(vars), expected);
  EXPECT_EQ(WalkByNameAndValue(vars), expected);
  EXPECT_STREQ(vars.GetValue("LIST"), "one");
  EXPECT_TRUE(vars.MatchesMultiList("List", "two"));
  EXPECT_STREQ(vars.GetValue("n199"), "39601");
  EXPECT_EQ(std::string(vars.GetValue("long")), std::string(5000, 'x'));
  EXPECT_STREQ(vars.GetValue("high"), "\xc3\xa9\x01\xff");
}

TEST_F(VariableFilesTest, TheWriterReplacesTheFileAndLeavesNothingElse) {
  std::string const path = folder.Path() + "/SiteVars";
  WriteVariableFile(path, {{"A", "1"}});
  WriteVariableFile(path, {{"A", "2"}});
  ProfileVars vars(At("SiteVars"));
  EXPECT_STREQ(vars.GetValue("A"), "2");
  // No temporary file stays behind, and the file is its owner's alone.
  EXPECT_EQ(RunShell("find " + Quoted(folder.Path()) + " -name '.SiteVars*'").output, "");
  EXPECT_EQ(RunShell("stat -c %a " + Quoted(path)).output, "600\n");
}

TEST_F(VariableFilesTest, BadVariablesAreRefusedAndTheFileKept) {
  std::string const path = folder.Path() + "/kept";
  WriteVariableFile(path, {{"A", "1"}});
  std::string const before = ReadWhole(path);
  EXPECT_THROW(WriteVariableFile(path, {{"", "x"}}), VariableFileError);
  EXPECT_THROW(WriteVariableFile(path, {{std::string("a\0b", 3), "x"}}), VariableFileError);
  EXPECT_THROW(WriteVariableFile(path, {{"a", std::string("x\0y", 3)}}), VariableFileError);
  EXPECT_EQ(ReadWhole(path), before);
  EXPECT_EQ(RunShell("ls -A " + Quoted(folder.Path()) + " | grep -c '^\\.kept'").output, "0\n");
}

TEST_F(VariableFilesTest, AFolderThatCannotBeWrittenGivesAClearError) {
  std::string const missing = folder.Path() + "/no/such/folder/SiteVars";
  try {
    WriteVariableFile(missing, {{"A", "1"}});
    ADD_FAILURE() << "no error for a missing folder";
  } catch (VariableFileError const& error) {
    EXPECT_NE(std::string(error.what()).find(missing), std::string::npos) << error.what();
    EXPECT_NE(std::string(error.what()).find(std::strerror(ENOENT)), std::string::npos)
        << error.what();
  }
  EXPECT_THROW(WriteVariableFile(folder.Path() + "/", {{"A", "1"}}), VariableFileError);

  // A folder the writer may not write in: read-only, and owned by root when
  // the test runs as root, which then writes as an unprivileged user.
  std::string const locked = folder.Path() + "/locked";
  ASSERT_EQ(mkdir(locked.c_str(), 0755), 0);
  WriteVariableFile(locked + "/SiteVars", {{"A", "1"}});
  ASSERT_EQ(chmod(locked.c_str(), 0555), 0);
  ASSERT_EQ(chmod(folder.Path().c_str(), 0755), 0);
  pid_t const child = fork();
  if (child == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(3);
    try {
      WriteVariableFile(locked + "/SiteVars", {{"A", "2"}});
    } catch (VariableFileError const& error) {
      _exit(std::string(error.what()).find(std::strerror(EACCES)) != std::string::npos ? 0 : 2);
    }
    _exit(1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: written; 2: another error; 3: no unprivileged user";
  ASSERT_EQ(chmod(locked.c_str(), 0755), 0);
  ProfileVars vars(FileLocation((locked + "/SiteVars").c_str()));
  EXPECT_STREQ(vars.GetValue("A"), "1");
  EXPECT_EQ(RunShell("ls -A " + Quoted(locked)).output, "SiteVars\n");
}

TEST_F(VariableFilesTest, AWriteThatRunsOutOfRoomKeepsTheOldFile) {
  // A file size limit stands in for a full disk: the write fails part way.
  std::string const path = folder.Path() + "/SiteVars";
  WriteVariableFile(path, {{"A", "1"}});
  pid_t const child = fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit const limit{4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(3);
    try {
      WriteVariableFile(path, {{"A", std::string(100000, 'x')}});
    } catch (VariableFileError const& error) {
      _exit(std::string(error.what()).find(std::strerror(EFBIG)) != std::string::npos ? 0 : 2);
    }
    _exit(1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: written; 2: another error; 3: no limit";
  ProfileVars vars(At("SiteVars"));
  EXPECT_STREQ(vars.GetValue("A"), "1");
  EXPECT_EQ(RunShell("find " + Quoted(folder.Path()) + " -name '.SiteVars*'").output, "");
}

TEST(FileBannersTest, TheBannerTexts) {
  EXPECT_STREQ(FILESTR_GLOBAL_OPTIONS, ">Kestrix Options File");
  EXPECT_STREQ(FILESTR_GLOBAL_OPTIONS_VERSION, ">Version 1.1.0");
  EXPECT_STREQ(FILESTR_SITEVARS, ">NudgeSite Vars File");
  EXPECT_STREQ(FILESTR_SITEVARS_VERSION, ">Version 1.0.1");
  EXPECT_STREQ(FILESTR_LASTCOUNTEDTAG, ">LastCountedtag");
  EXPECT_STREQ(FILESTR_VERTAG, ">Vertag");
  EXPECT_STREQ(FILESTR_END, ">End");
  EXPECT_STREQ(FILESTR_SITE, ">FleetClient Site Data File");
  EXPECT_STREQ(FILESTR_SITE_VERSION, ">Version 1.1.2");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_1_1, ">Version 1.1.1");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_1_0, ">Version 1.1.0");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_0_9, ">Version 1.0.9");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_0_8, ">Version 1.0.8");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_0_7, ">Version 1.0.7");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_0_6, ">Version 1.0.6");
  EXPECT_STREQ(FILESTR_SITE_VERSION_1_0_5, ">Version 1.0.5");
  // The host writes the banner and version the library reads.
  EXPECT_STREQ(survey::client::kVariableFileBanner, FILESTR_SITEVARS);
  EXPECT_STREQ(survey::client::kVariableFileVersion, FILESTR_SITEVARS_VERSION);
}

}  // namespace
