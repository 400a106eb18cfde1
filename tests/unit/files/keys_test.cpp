// Keys, sections and variables of configuration files, called as the
// evaluator calls them, on files that each test writes: every ending, lines
// longer than the buffers, repeated sections, odd keys and binary bytes.
#include "survey/files/keys.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "survey/foundation/file_errors.h"
#include "tests/unit/files/files_test_support.h"

namespace {

using survey::files::testing::ScratchTree;

surveyor_string S(std::string const& text) {
  return surveyor_string{reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

std::string Text(surveyor_string const& text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

// A stream over the bytes, closed when the holder goes.
struct MemoryStream {
  explicit MemoryStream(std::string const& bytes) : copy(bytes) {
    stream = fmemopen(copy.empty() ? nullptr : copy.data(), copy.size(), "r");
    if (copy.empty()) stream = std::fopen("/dev/null", "r");
  }
  ~MemoryStream() {
    if (stream != nullptr) std::fclose(stream);
  }
  std::string copy;
  FILE* stream = nullptr;
};

// Every line fgets_with_len reads from the bytes with a buffer of `size`.
std::vector<std::string> LinesOf(std::string const& bytes, unsigned long size) {
  MemoryStream in(bytes);
  std::unique_ptr<char[]> const buffer(new char[size < 1 ? 1 : size]);
  std::vector<std::string> lines;
  unsigned long length = 0;
  while (fgets_with_len(buffer.get(), size, in.stream, length) != nullptr) {
    lines.emplace_back(buffer.get(), length);
    if (lines.size() > 100000) break;
  }
  return lines;
}

class KeysTest : public ::testing::Test {
 protected:
  file Make(std::string const& name, std::string const& bytes) {
    tree.File(name, bytes);
    return file(FileLocation((tree / name).c_str()), false);
  }
  std::string Key(std::string const& key, file const& object) {
    return Text(key_of_file(S(key), Of(0), object));
  }
  std::string SectionKey(std::string const& section, std::string const& key,
                         file const& object) {
    return Text(key_of_section(S(key), Of(0), section_of_file(S(section), Of(0), object)));
  }
  std::vector<std::string> Variables(file const& object) {
    std::vector<std::string> found;
    variable_iterator iterator;
    try {
      found.push_back(Text(iterator.First(object)));
      for (int guard = 0; guard < 100000; ++guard) found.push_back(Text(iterator.Next(object)));
      ADD_FAILURE() << "the variables did not end";
    } catch (NoSuchObject const&) {
    }
    return found;
  }
  ScratchTree tree;
};

TEST(LineReaderTest, EveryEndingEndsALineAndOnlyEndOfStreamGivesNull) {
  EXPECT_EQ(LinesOf("a\nb\rc\r\nd", 100), (std::vector<std::string>{"a", "b", "c", "d"}));
  // An empty line is a line; CR LF is one ending, LF CR two.
  EXPECT_EQ(LinesOf("\n\r\n\n\r", 100), (std::vector<std::string>{"", "", "", ""}));
  EXPECT_EQ(LinesOf("x\r", 100), (std::vector<std::string>{"x"}));
  EXPECT_TRUE(LinesOf("", 100).empty());
}

TEST(LineReaderTest, ALineThatFillsTheBufferGoesOnInTheNextCall) {
  EXPECT_EQ(LinesOf("abcdefg\nh", 4), (std::vector<std::string>{"abc", "def", "g", "h"}));
  // The ending right after a full buffer reads as an empty line of its own.
  EXPECT_EQ(LinesOf("abc\nd", 4), (std::vector<std::string>{"abc", "", "d"}));
  EXPECT_EQ(LinesOf("ab\n", 2), (std::vector<std::string>{"a", "b", ""}));
}

TEST(LineReaderTest, ABufferBelowTwoBytesReadsNothing) {
  MemoryStream in("abc\n");
  char buffer[2] = {'x', 'x'};
  unsigned long length = 99;
  EXPECT_EQ(nullptr, fgets_with_len(buffer, 1, in.stream, length));
  EXPECT_EQ(0u, length);
  EXPECT_EQ(nullptr, fgets_with_len(buffer, 0, in.stream, length));
  EXPECT_EQ(0u, length);
  // Nothing was taken from the stream.
  EXPECT_EQ('a', std::fgetc(in.stream));
}

TEST(LineReaderTest, BytesOfAnyValueAreStoredAsTheyCome) {
  std::string const binary("a\0b\xff\x01=c", 7);
  std::vector<std::string> const lines = LinesOf(binary + "\n", 100);
  ASSERT_EQ(1u, lines.size());
  EXPECT_EQ(binary, lines[0]);
}

TEST(KeyLineTest, KeysCompareWithoutCaseOverTheirLengthAndNeedADelimiter) {
  char const* value = nullptr;
  std::string const path = "PATH: /bin";
  EXPECT_TRUE(MatchKeyLine(path.data(), path.size(), "path", 4, &value));
  EXPECT_STREQ("/bin", value);
  std::string const longer = "pathname=x";
  EXPECT_FALSE(MatchKeyLine(longer.data(), longer.size(), "path", 4, &value));
  std::string const spaced = " \t name \t : \t x";
  EXPECT_TRUE(MatchKeyLine(spaced.data(), spaced.size(), "NAME", 4, &value));
  EXPECT_STREQ("x", value);
  std::string const shortLine = "na";
  EXPECT_FALSE(MatchKeyLine(shortLine.data(), shortLine.size(), "name", 4, &value));
  std::string const noDelimiter = "name x";
  EXPECT_FALSE(MatchKeyLine(noDelimiter.data(), noDelimiter.size(), "name", 4, &value));
  std::string const atEnd = "name";
  EXPECT_FALSE(MatchKeyLine(atEnd.data(), atEnd.size(), "name", 4, &value));
}

TEST(KeyLineTest, TheEmptyKeyMatchesALineThatBeginsWithADelimiter) {
  char const* value = nullptr;
  std::string const equals = "  = x";
  EXPECT_TRUE(MatchKeyLine(equals.data(), equals.size(), "", 0, &value));
  EXPECT_STREQ("x", value);
  std::string const colon = ":y";
  EXPECT_TRUE(MatchKeyLine(colon.data(), colon.size(), "", 0, &value));
  std::string const word = "a=1";
  EXPECT_FALSE(MatchKeyLine(word.data(), word.size(), "", 0, &value));
}

TEST(KeyLineTest, AValueIsCutAtTheFirstSemicolonAndTrimmedAtItsEnd) {
  char comment[] = "1 ; note";
  EXPECT_EQ(1u, CutKeyValue(comment));
  EXPECT_STREQ("1", comment);
  char quoted[] = "\"x;y\"";
  EXPECT_EQ(2u, CutKeyValue(quoted));
  EXPECT_STREQ("\"x", quoted);
  char white[] = "v \t\r\n";
  EXPECT_EQ(1u, CutKeyValue(white));
  char empty[] = ";";
  EXPECT_EQ(0u, CutKeyValue(empty));
  // Leading blanks of the value went with the delimiter; inner ones stay.
  char inner[] = "a b  c  ";
  EXPECT_EQ(6u, CutKeyValue(inner));
  EXPECT_STREQ("a b  c", inner);
}

TEST_F(KeysTest, TheFirstMatchingLineAnywhereGivesTheValue) {
  file const object = Make("conf", "[s]\nb=0\na=1 ; note\nA=2\nc=x;y\nd=;\nspaced key = v=w \n");
  EXPECT_EQ("1", Key("a", object));
  EXPECT_EQ("1", Key("A", object));
  EXPECT_EQ("0", Key("b", object));
  EXPECT_EQ("x", Key("c", object));
  EXPECT_EQ("", Key("d", object));
  EXPECT_EQ("v=w", Key("spaced key", object));
  EXPECT_EQ("v=w", Key("SPACED KEY", object));
  EXPECT_THROW(Key("e", object), NoSuchObject);
  EXPECT_THROW(Key("spaced", object), NoSuchObject);
}

TEST_F(KeysTest, KeysReadEveryEndingAndALastLineWithoutOne) {
  file const object = Make("endings", "a=1\rb=2\r\nc=3\nd=4");
  EXPECT_EQ("1", Key("a", object));
  EXPECT_EQ("2", Key("b", object));
  EXPECT_EQ("3", Key("c", object));
  EXPECT_EQ("4", Key("d", object));
}

TEST_F(KeysTest, ALineLongerThanTheBufferReadsAsSeveralLines) {
  // The key line's piece after 65535 bytes is a line of its own, and so can
  // be a key line.
  std::string const filler(kKeyLineBufferSize - 1, 'x');
  file const object = Make("long", "k=" + filler + "hidden=1\n" + std::string(70000, 'y') + "\n");
  EXPECT_EQ(std::string(kKeyLineBufferSize - 3, 'x'), Key("k", object));
  EXPECT_EQ("1", Key("xxhidden", object));
  EXPECT_THROW(Key("x", object), NoSuchObject);
}

TEST_F(KeysTest, BinaryBytesEndAValueAtItsFirstNul) {
  file const object = Make("binary", std::string("a=x\0y\n\xff\xfe=z\n", 11));
  EXPECT_EQ("x", Key("a", object));
  EXPECT_EQ("z", Key("\xff\xfe", object));
}

TEST_F(KeysTest, FailuresAreThoseOfTheirTable) {
  file const empty = Make("empty", "");
  EXPECT_THROW(Key("a", empty), NoSuchObject);
  EXPECT_THROW(section_of_file(S("a"), Of(0), empty), NoSuchObject);
  EXPECT_TRUE(Variables(empty).empty());
  // A file that is gone since it was looked at cannot be opened.
  file const gone = Make("gone", "a=1\n[s]\n");
  ASSERT_EQ(0, unlink((tree / "gone").c_str()));
  EXPECT_THROW(Key("a", gone), FileIOError);
  EXPECT_THROW(section_of_file(S("s"), Of(0), gone), FileIOError);
  EXPECT_TRUE(Variables(gone).empty());
}

TEST_F(KeysTest, TheKernelMessageStreamIsRefusedUnopened) {
  struct stat status;
  if (stat("/proc/kmsg", &status) != 0) GTEST_SKIP() << "no /proc/kmsg on this machine";
  file const messages(FileLocation("/proc/kmsg"), false);
  EXPECT_THROW(key_of_file(S("a"), Of(0), messages), NoSuchObject);
  EXPECT_THROW(section_of_file(S("a"), Of(0), messages), NoSuchObject);
}

TEST_F(KeysTest, SectionsOfEveryBracketPairAndTextBehindTheHeader) {
  file const object = Make("brackets",
                           "top=0\n[ Name ] trailing\na=1\n(paren)\nb=2\n{CURLY}\nc=3\n<angle>\n"
                           "d=4\n");
  EXPECT_EQ("1", SectionKey("name", "a", object));
  EXPECT_EQ("2", SectionKey("PAREN", "b", object));
  EXPECT_EQ("3", SectionKey("curly", "c", object));
  EXPECT_EQ("4", SectionKey("angle", "d", object));
  // A header of another kind of bracket does not end a section: the section
  // "name" runs to the end of the file.
  EXPECT_EQ("4", SectionKey("name", "d", object));
  EXPECT_THROW(SectionKey("name", "top", object), NoSuchObject);
  EXPECT_THROW(section_of_file(S("nam"), Of(0), object).start, NoSuchObject);
  // A header whose closing bracket is not its partner is no header.
  file const mismatched = Make("mismatched", "[x)\na=1\n");
  EXPECT_THROW(section_of_file(S("x"), Of(0), mismatched), NoSuchObject);
}

TEST_F(KeysTest, TheSameBracketEndsASectionAndItsHeaderLineIsInside) {
  file const object = Make("ends", "[b]\nx=1\n{a}\ny=2\n[a]\nz=3\n[c=4]\n");
  // "{a}" does not end "[b]", "[a]" does; the ending line belongs to the
  // range, and "[c=4]" cannot be a key line since it begins with a bracket.
  EXPECT_EQ("2", SectionKey("b", "y", object));
  EXPECT_THROW(SectionKey("b", "z", object), NoSuchObject);
  file_section const section = section_of_file(S("b"), Of(0), object);
  EXPECT_EQ(4, section.start);
  EXPECT_EQ(20, section.end);
  EXPECT_STREQ((tree / "ends").c_str(), section.path);
  EXPECT_THROW(SectionKey("c", "4", object), NoSuchObject);
  // A key line may begin with a bracket only when the key does.
  EXPECT_EQ("4]", Key("[c", object));
}

TEST_F(KeysTest, ARepeatedSectionIsItsFirstHeader) {
  file const object = Make("repeated", "[s]\na=1\n[t]\nb=2\n[s]\nb=3\nc=4\n");
  EXPECT_EQ("1", SectionKey("s", "a", object));
  EXPECT_THROW(SectionKey("s", "b", object), NoSuchObject);
  EXPECT_THROW(SectionKey("s", "c", object), NoSuchObject);
  EXPECT_EQ("2", SectionKey("t", "b", object));
  // "[t]" is ended by the second "[s]", and so "b=3" lies beyond it.
  EXPECT_THROW(SectionKey("t", "c", object), NoSuchObject);
}

TEST_F(KeysTest, AHeaderOnTheLastLineHasNoEndAndNoKeys) {
  file const last = Make("last", "a=1\n[x]\n");
  file_section const section = section_of_file(S("x"), Of(0), last);
  EXPECT_EQ(8, section.start);
  EXPECT_EQ(0, section.end);
  EXPECT_THROW(SectionKey("x", "a", last), NoSuchObject);
  file const unended = Make("unended", "a=1\n[x]");
  EXPECT_EQ(0, section_of_file(S("x"), Of(0), unended).end);
  EXPECT_THROW(SectionKey("x", "a", unended), NoSuchObject);
}

TEST_F(KeysTest, ASectionEndIsNeverBeforeItsStart) {
  EXPECT_EQ(0, file_section("p", 10, 10).end);
  EXPECT_EQ(0, file_section("p", 10, 3).end);
  EXPECT_EQ(11, file_section("p", 10, 11).end);
}

TEST_F(KeysTest, KeysOfASectionReadTheFileAfreshFromItsPath) {
  file const object = Make("changing", "[s]\na=1\n");
  file_section const section = section_of_file(S("s"), Of(0), object);
  tree.File("changing", "[s]\na=2\n");
  EXPECT_EQ("2", Text(key_of_section(S("a"), Of(0), section)));
  tree.File("changing", "");
  EXPECT_THROW(key_of_section(S("a"), Of(0), section), NoSuchObject);
  ASSERT_EQ(0, unlink((tree / "changing").c_str()));
  EXPECT_THROW(key_of_section(S("a"), Of(0), section), FileIOError);
}

TEST_F(KeysTest, SectionsReadEveryEnding) {
  file const object = Make("crlf", "[a]\r\nx=1\r\n[b]\ry=2\r[c]\nz=3");
  EXPECT_EQ("1", SectionKey("a", "x", object));
  EXPECT_EQ("2", SectionKey("b", "y", object));
  EXPECT_EQ("3", SectionKey("c", "z", object));
  EXPECT_THROW(SectionKey("a", "y", object), NoSuchObject);
}

TEST_F(KeysTest, VariablesCarryTheirSectionsTextAsItStands) {
  file const object = Make("vars",
                           "a = 1\n[Sec]\n  b\t= two words  \n[broken\nc=3\n  [Not] = x\n"
                           "=skipped\n   =also\nd=b=c\nnone\n\n[T] trailing\ne=\n");
  EXPECT_EQ(Variables(object),
            (std::vector<std::string>{".a=1", "[Sec].b=two words", "[Sec].c=3", "[Sec].[Not]=x",
                                      "[Sec].d=b=c", "[T].e="}));
}

TEST_F(KeysTest, ABrokenHeaderBeforeAnySectionLeavesNone) {
  file const object = Make("broken", "[broken\na=1\n");
  EXPECT_EQ(Variables(object), (std::vector<std::string>{".a=1"}));
}

TEST_F(KeysTest, VariablesSplitAtLineFeedsOnly) {
  file const object = Make("cr", "a=1\rb=2\r\nc=3\r\r\nd=4");
  EXPECT_EQ(Variables(object), (std::vector<std::string>{".a=1\rb=2", ".c=3", ".d=4"}));
}

TEST_F(KeysTest, AVariableLineLongerThanItsBufferGoesOnAsAnotherLine) {
  // fgets takes 2046 bytes at a time.
  std::string const head = "k=" + std::string(2044, 'v');
  file const object = Make("long", head + "more=1\n");
  EXPECT_EQ(Variables(object),
            (std::vector<std::string>{".k=" + std::string(2044, 'v'), ".more=1"}));
}

TEST_F(KeysTest, VariablesRestartAtFirst) {
  file const object = Make("again", "[s]\na=1\n");
  variable_iterator iterator;
  EXPECT_EQ("[s].a=1", Text(iterator.First(object)));
  EXPECT_THROW(iterator.Next(object), NoSuchObject);
  EXPECT_EQ("[s].a=1", Text(iterator.First(object)));
}

TEST(FileHashTest, WithoutAContextTheHashIsNotAvailable) {
  ScratchTree tree;
  tree.File("f", "x");
  file const object(FileLocation((tree / "f").c_str()), false);
  EXPECT_THROW(FileSHA1(Of(0), object), NoSurveyorContext);
}

}  // namespace
