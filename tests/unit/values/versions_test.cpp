// Versions: the order of "version" against pairs worked out by hand from its
// rules, "strverscmp version" against the C library's strverscmp itself,
// the relations with strings on either side, texts with embedded NULs,
// very long texts, the aggregators over versions, and what the unit
// registers.

#include "survey/values/versions.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/fingerprint.h"
#include "host/engine/registry.h"
#include "survey/frame/comparable.h"
#include "tests/unit/values/relation_calls.h"

namespace {

using survey::host::CastEntry;
using survey::host::Evaluation;
using survey::host::OperatorEntry;
using survey::host::PropertyEntry;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::TypeEntry;
using survey::test::Text;
using survey::test::View;

int Sign(int value) { return value < 0 ? -1 : value > 0 ? 1 : 0; }

char const* SignName(int sign) { return sign < 0 ? "less" : sign > 0 ? "greater" : "equal"; }

// Shows a text with its unprintable bytes escaped, for failure messages.
std::string Shown(std::string const& text) {
  if (text.size() > 40)
    return Shown(text.substr(0, 20)) + "...(" + std::to_string(text.size()) + ")";
  std::string shown = "\"";
  for (unsigned char c : text) {
    if (c >= 32 && c < 127) {
      shown += static_cast<char>(c);
    } else {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
      shown += buffer;
    }
  }
  return shown + "\"";
}

class VersionsTest : public ::testing::Test {
 protected:
  survey::test::StringTypeHost host;

  template <class L, class R>
  bool Relation(int code, char const* leftType, L const& left, char const* rightType,
                R const& right) {
    return survey::test::CallRelation(code, leftType, left, rightType, right);
  }

  // The sign that the three relations of the two operand types give
  // together, after checking that they agree with each other.
  template <class L, class R>
  int SignOf(char const* leftType, L const& left, char const* rightType, R const& right) {
    bool const equal = Relation(kOperatorEqual, leftType, left, rightType, right);
    bool const less = Relation(kOperatorLessThan, leftType, left, rightType, right);
    bool const lessOrEqual = Relation(kOperatorLessOrEqual, leftType, left, rightType, right);
    EXPECT_EQ(lessOrEqual, less || equal);
    EXPECT_FALSE(less && equal);
    return less ? -1 : equal ? 0 : 1;
  }

  // The sign of a version against a text through each registered way of
  // comparing them: version with version, version with string, string with
  // version (the last reversed). They must all agree.
  int VersionSign(std::string const& left, std::string const& right) {
    surveyor_version const a = version_of(View(left));
    surveyor_version const b = version_of(View(right));
    int const both = SignOf("version", a, "version", b);
    EXPECT_EQ(both, SignOf("version", a, "string", View(right)));
    EXPECT_EQ(both, SignOf("string", View(left), "version", b));
    return both;
  }

  int StrverscmpSign(std::string const& left, std::string const& right) {
    surveyor_strverscmp_version const a = strverscmp_version_of(View(left));
    surveyor_strverscmp_version const b = strverscmp_version_of(View(right));
    int const both = SignOf("strverscmp version", a, "strverscmp version", b);
    EXPECT_EQ(both, SignOf("strverscmp version", a, "string", View(right)));
    EXPECT_EQ(both, SignOf("string", View(left), "strverscmp version", b));
    return both;
  }
};

// ---------------------------------------------------------------------------
// The order of "version", pair by pair, each worked out by hand from the
// rules. The steps named are those of the comparison: 1 the same pointer;
// 3 equal bytes go on, a NUL ends in equality, a non-digit starts a new
// segment; 4 outside a number, unless both bytes are digits, the byte
// difference; 5 while a number holds only zeros, the side on a zero is the
// lesser; 6 the longer run of digits wins, and of equal runs the first
// differing digit, and where neither side is on a digit the byte difference.

struct Pair {
  char const* left;
  char const* right;
  int sign;
  char const* rule;
};

Pair const kHandTable[] = {
    // Equal texts.
    {"", "", 0, "3: both end at once"},
    {"1.2.3", "1.2.3", 0, "3: walked to the NUL"},
    {"abc-1.0", "abc-1.0", 0, "3: letters and digits alike"},
    {"007", "007", 0, "3: zeros are bytes like any other when equal"},

    // Results that the rules call for by name.
    {"1.9", "1.10", -1, "6: longer run of digits"},
    {"10", "9", 1, "6: longer run of digits"},
    {"1.01", "1.1", -1, "5: left on a zero within zeros"},
    {"09", "9", -1, "5: left on a zero"},
    {"010", "9", -1, "5: left on a zero, whatever its value"},
    {"1.0", "1.00", 1, "5: right on a zero within zeros"},
    {"1.0", "1.01", -1, "6: NUL against a digit"},
    {"1.002", "1.0010", -1, "6: after a run of zeros, the longer run"},
    {"2", "2.0", -1, "6: NUL against a dot, the byte difference"},
    {"1.5", "1.5a", -1, "6: NUL against a letter"},
    {"1.x", "1.2", 1, "4: the dot reset in_number, so the bytes decide"},
    {"1.2.3", "1.2-3", 1, "dot against hyphen, the byte difference"},
    {"", "1", -1, "4: NUL against a digit"},

    // Step 4: bytes outside a number.
    {"a", "b", -1, "4: byte difference"},
    {"1.a", "1.B", 1, "4: 'a' is above 'B'"},
    {"\xff", "a", 1, "4: bytes are unsigned"},
    {"x\xe9", "xA", 1, "4: bytes are unsigned"},
    {"-", ".", -1, "4: byte difference of punctuation"},
    {"0", "", 1, "4: a digit against NUL"},
    {"a1", "a", 1, "4: a digit against NUL after a letter"},

    // Step 5: zeros.
    {"0", "00", 1, "5: right on a zero within zeros"},
    {"00", "0", -1, "5: left on a zero within zeros"},
    {"1.05", "1.009", 1, "5: right on a zero, as in a fraction"},
    {"1.009", "1.05", -1, "5: left on a zero, as in a fraction"},
    {"0a", "00", 1, "5: right on a zero; nothing further is looked at"},
    {"1.00x", "1.0", -1, "5: left on a zero against NUL"},
    {"1.0.1", "1.00.1", 1, "5: right on a zero against a dot"},
    {"10.05", "10.5", -1, "5: the dot started a new segment of only zeros"},
    {"00012", "009", -1, "5: left on a zero, though 12 is above 9"},

    // Step 6: runs of digits.
    {"123", "124", -1, "6: equal lengths, first differing digit"},
    {"129", "130", -1, "6: equal lengths, first differing digit"},
    {"19", "130", -1, "6: the longer run wins over a larger first digit"},
    {"10", "100", -1, "6: a zero after a non-zero digit is no fraction"},
    {"1a", "12", -1, "6: left leaves its digits while right has one"},
    {"12", "1a", 1, "6: right leaves its digits while left has one"},
    {"1-", "1a", -1, "6: neither on a digit, the byte difference"},
    {"1.2A", "1.2a", -1, "6: letters compare as bytes"},
    {"1.10a", "1.10b", -1, "6: a letter after equal numbers"},
    {"1.10", "1.9a", 1, "6: the longer run decides before the letter"},
    {"18446744073709551616", "18446744073709551615", 1, "6: beyond 64 bits, first differing digit"},
    {"99999999999999999999", "100000000000000000000", -1, "6: beyond 64 bits, longer run"},
    {"2.6.32-5", "2.6.32-10", -1, "6: the hyphen closed a segment, then the longer run"},
    {"1.2.10", "1.2.9", 1, "6: longer run in the last segment"},
    {"1.10.0", "1.9.9", 1, "6: longer run in a middle segment"},
};

TEST_F(VersionsTest, CompareVersionsAgainstAHandWrittenTable) {
  for (Pair const& pair : kHandTable) {
    SCOPED_TRACE(std::string(Shown(pair.left)) + " against " + Shown(pair.right) + ", " +
                 pair.rule);
    std::string const left(pair.left);
    std::string const right(pair.right);
    EXPECT_EQ(SignName(pair.sign), SignName(Sign(CompareVersions(left.c_str(), right.c_str()))));
    EXPECT_EQ(SignName(-pair.sign), SignName(Sign(CompareVersions(right.c_str(), left.c_str()))));
    // The registered relations, with strings on either side too.
    EXPECT_EQ(SignName(pair.sign), SignName(VersionSign(left, right)));
    EXPECT_EQ(SignName(-pair.sign), SignName(VersionSign(right, left)));
  }
}

TEST_F(VersionsTest, AShorterVersionIsNeverEqualToALongerOne) {
  // No padding with zeros.
  EXPECT_EQ(-1, VersionSign("2", "2.0"));
  EXPECT_EQ(-1, VersionSign("2", "2.0.0"));
  EXPECT_EQ(-1, VersionSign("2.0", "2.0.0"));
  EXPECT_EQ(-1, VersionSign("1.2", "1.2."));
}

// ---------------------------------------------------------------------------
// Edge cases.

TEST_F(VersionsTest, TheEmptyStringIsBelowEveryNonEmptyVersion) {
  for (char const* other : {"0", "00", "1", ".", "a", "-", "\x01", "\x7f", "\x80", "\xff", "0.0"}) {
    SCOPED_TRACE(Shown(other));
    EXPECT_LT(CompareVersions("", other), 0);
    EXPECT_GT(CompareVersions(other, ""), 0);
    EXPECT_EQ(-1, VersionSign("", other));
    EXPECT_EQ(1, VersionSign(other, ""));
  }
  // The default version is the empty one.
  surveyor_version const empty;
  EXPECT_STREQ("", empty.text);
  EXPECT_TRUE(empty == version_of(View("")));
  EXPECT_TRUE(empty < version_of(View("0")));
  EXPECT_EQ("", Text(AsString(empty)));
  EXPECT_EQ(0u, AsString(version_of(View(""))).length);
}

TEST_F(VersionsTest, AnEmbeddedNulIsStoredWholeButCountsOnlyUpToItself) {
  std::string const withNul("1.2\0xyz", 7);
  surveyor_version const version = version_of(View(withNul));
  // Stored whole, with a NUL behind.
  EXPECT_EQ(0, std::memcmp(version.text, "1.2\0xyz\0", 8));
  surveyor_strverscmp_version const other = strverscmp_version_of(View(withNul));
  EXPECT_EQ(0, std::memcmp(other.text, "1.2\0xyz\0", 8));
  EXPECT_EQ(0, std::memcmp(AsVersion(View(withNul)).text, "1.2\0xyz\0", 8));
  EXPECT_EQ(0, std::memcmp(AsStrverscmpVersion(View(withNul)).text, "1.2\0xyz\0", 8));

  // Prints as far as the NUL.
  EXPECT_EQ("1.2", Text(AsString(version)));

  // Compares as far as the NUL, with a version or a string on either side.
  EXPECT_EQ(0, VersionSign(withNul, "1.2"));
  EXPECT_EQ(0, VersionSign(withNul, std::string("1.2\0abc", 7)));
  EXPECT_EQ(-1, VersionSign(withNul, "1.2a"));
  EXPECT_EQ(-1, VersionSign(withNul, "1.10"));
  EXPECT_EQ(0, StrverscmpSign(withNul, "1.2"));
  EXPECT_EQ(-1, StrverscmpSign(withNul, "1.2a"));

  // Fingerprints as far as the NUL: the same digest as the text before it,
  // made by the host's own fingerprint of a string.
  Registry const& registry = Registry::Default();
  for (char const* type : {"version", "strverscmp version"}) {
    SCOPED_TRACE(type);
    TypeEntry const* const entry = registry.FindType(type);
    ASSERT_NE(nullptr, entry);
    ASSERT_NE(nullptr, entry->fingerprint);
    Fingerprinter throughType;
    entry->fingerprint(throughType, &version);
    Fingerprinter text;
    text << View("1.2");
    EXPECT_EQ(text.Digest(), throughType.Digest());
    Fingerprinter whole;
    whole << View(withNul);
    EXPECT_NE(whole.Digest(), throughType.Digest());
    Fingerprinter another;
    surveyor_version const different = version_of(View("1.3"));
    entry->fingerprint(another, &different);
    EXPECT_NE(another.Digest(), throughType.Digest());
  }
}

TEST_F(VersionsTest, AVersionEqualsItsStringAndIsBelowALongerNumberOnEitherSide) {
  surveyor_version const version = version_of(View("1.2"));
  EXPECT_TRUE(Relation(kOperatorEqual, "version", version, "string", View("1.2")));
  EXPECT_TRUE(Relation(kOperatorEqual, "string", View("1.2"), "version", version));
  EXPECT_TRUE(Relation(kOperatorLessThan, "version", version, "string", View("1.10")));
  EXPECT_FALSE(Relation(kOperatorLessThan, "string", View("1.10"), "version", version));
  EXPECT_TRUE(Relation(kOperatorLessOrEqual, "version", version, "string", View("1.10")));
  EXPECT_FALSE(Relation(kOperatorLessOrEqual, "string", View("1.10"), "version", version));
  EXPECT_TRUE(Relation(kOperatorLessThan, "string", View("1.1"), "version", version));
  EXPECT_FALSE(Relation(kOperatorEqual, "version", version, "string", View("1.10")));
  EXPECT_FALSE(Relation(kOperatorEqual, "string", View("1.20"), "version", version));
  // As text alone, "1.10" would come first.
  EXPECT_LT(std::string("1.10").compare("1.2"), 0);
}

TEST_F(VersionsTest, AnEmptyStringOperandComparesAsTheEmptyText) {
  surveyor_version const empty = version_of(View(""));
  surveyor_version const one = version_of(View("1"));
  surveyor_string const nothing{nullptr, 0};
  EXPECT_TRUE(Relation(kOperatorEqual, "version", empty, "string", nothing));
  EXPECT_TRUE(Relation(kOperatorEqual, "string", nothing, "version", empty));
  EXPECT_TRUE(Relation(kOperatorLessThan, "string", nothing, "version", one));
  EXPECT_FALSE(Relation(kOperatorLessOrEqual, "version", one, "string", nothing));
  surveyor_strverscmp_version const strverscmpEmpty = strverscmp_version_of(nothing);
  EXPECT_TRUE(Relation(kOperatorEqual, "strverscmp version", strverscmpEmpty, "string", nothing));
  EXPECT_TRUE(Relation(kOperatorEqual, "string", nothing, "strverscmp version", strverscmpEmpty));
}

TEST_F(VersionsTest, LettersCompareAsBytes) {
  EXPECT_EQ(-1, VersionSign("1.2A", "1.2a"));
  EXPECT_EQ(1, VersionSign("1.2a", "1.2A"));
  EXPECT_EQ(-1, VersionSign("1.2Z", "1.2a"));
  EXPECT_EQ(-1, VersionSign("A", "a"));
}

// A text of `length` bytes that ends at the very end of a readable page,
// with no NUL behind it: a read past it faults.
class EdgeOfPage {
 public:
  explicit EdgeOfPage(char const* bytes, std::size_t length) {
    pageSize_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const mapping =
        mmap(nullptr, 2 * pageSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return;
    base_ = static_cast<char*>(mapping);
    mprotect(base_ + pageSize_, pageSize_, PROT_NONE);
    text_ = base_ + pageSize_ - length;
    std::memcpy(text_, bytes, length);
  }
  ~EdgeOfPage() {
    if (base_ != nullptr) munmap(base_, 2 * pageSize_);
  }
  char const* Text() const { return text_; }

 private:
  std::size_t pageSize_ = 0;
  char* base_ = nullptr;
  char* text_ = nullptr;
};

TEST_F(VersionsTest, TheSamePointerIsEqualAtOnceAndDistinctCopiesByWalking) {
  // The same pointer is not read at all: this text has no NUL, and reading
  // past it would fault.
  EdgeOfPage const unterminated("1.2.3", 5);
  ASSERT_NE(nullptr, unterminated.Text());
  EXPECT_EQ(0, CompareVersions(unterminated.Text(), unterminated.Text()));
  surveyor_version const same(unterminated.Text());
  EXPECT_TRUE(same == same);
  EXPECT_FALSE(same < same);

  // Two objects with the same text are walked to the NUL.
  surveyor_version const a = version_of(View("4.5.6-rc1"));
  surveyor_version const b = version_of(View("4.5.6-rc1"));
  ASSERT_NE(a.text, b.text);
  EXPECT_EQ(0, CompareVersions(a.text, b.text));
  EXPECT_TRUE(Relation(kOperatorEqual, "version", a, "version", b));
  EXPECT_TRUE(Relation(kOperatorLessOrEqual, "version", b, "version", a));
  EXPECT_FALSE(Relation(kOperatorLessThan, "version", a, "version", b));
}

TEST_F(VersionsTest, TheComparisonReadsNoFurtherThanEitherNul) {
  // Each text ends with its NUL as the last byte of a page.
  std::vector<std::pair<std::string, std::string>> const pairs{
      {"1.10", "1.9"}, {"19", "123456"}, {"1.0", "1.00"}, {"", "1"}, {"12", "12"}, {"0000", "00"}};
  for (auto const& [left, right] : pairs) {
    SCOPED_TRACE(left + " against " + right);
    EdgeOfPage const a(left.c_str(), left.size() + 1);
    EdgeOfPage const b(right.c_str(), right.size() + 1);
    ASSERT_NE(nullptr, a.Text());
    ASSERT_NE(nullptr, b.Text());
    int const forward = Sign(CompareVersions(a.Text(), b.Text()));
    int const backward = Sign(CompareVersions(b.Text(), a.Text()));
    EXPECT_EQ(-forward, backward);
    EXPECT_EQ(left == right, forward == 0);
  }
}

// ---------------------------------------------------------------------------
// Very long and odd texts: every one is a version, and nothing fails.

TEST_F(VersionsTest, TenThousandDigitsCompareByLengthThenByFirstDifference) {
  std::string const nines(10000, '9');
  std::string const longer = "1" + std::string(10000, '0');
  EXPECT_EQ(-1, VersionSign(nines, longer));
  EXPECT_EQ(1, VersionSign(longer, nines));
  std::string changed = nines;
  changed[9999] = '8';
  EXPECT_EQ(1, VersionSign(nines, changed));
  changed = nines;
  changed[0] = '8';
  EXPECT_EQ(-1, VersionSign(changed, nines));
  EXPECT_EQ(0, VersionSign(nines, std::string(10000, '9')));
  // A run of zeros that goes on is the lesser, however long.
  std::string const zeros = "1." + std::string(10000, '0');
  EXPECT_EQ(-1, VersionSign(zeros + "1", std::string("1.") + std::string(9999, '0') + "1"));
  EXPECT_EQ(-1, VersionSign(zeros, zeros.substr(0, 5000)));
  // The whole text is kept and printed.
  EXPECT_EQ(nines, Text(AsString(version_of(View(nines)))));
}

TEST_F(VersionsTest, ThousandsOfDotsAreSegmentsLikeAnyOther) {
  std::string const dots(5000, '.');
  std::string const more(5001, '.');
  EXPECT_EQ(-1, VersionSign(dots, more));
  EXPECT_EQ(0, VersionSign(dots, std::string(5000, '.')));
  EXPECT_EQ(-1, VersionSign("1" + dots + "2", "1" + dots + "10"));
  EXPECT_EQ(1, VersionSign("1" + dots + "0", "1" + dots + "00"));
  std::string manySegments;
  for (int k = 0; k < 3000; ++k) manySegments += "1.";
  EXPECT_EQ(-1, VersionSign(manySegments + "9", manySegments + "10"));
  EXPECT_EQ(Sign(strverscmp(dots.c_str(), more.c_str())), StrverscmpSign(dots, more));
}

TEST_F(VersionsTest, EveryByteValueIsAVersion) {
  std::string all;
  for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
  surveyor_version const version = version_of(View(all));
  EXPECT_EQ(all, Text(AsString(version)));
  EXPECT_EQ(0, VersionSign(all, all));
  EXPECT_EQ(1, VersionSign(all, all.substr(0, 200)));
}

// ---------------------------------------------------------------------------
// "strverscmp version" against the C library's strverscmp, on a generated
// corpus of pairs.

// A text of digits, dots, letters and leading zeros, from the generator.
std::string RandomVersion(std::mt19937& random) {
  static char const kAlphabet[] = "0000123456789....abzAZ-";
  std::size_t const alphabetSize = sizeof kAlphabet - 1;
  std::size_t const length = random() % 13;
  std::string text;
  for (std::size_t k = 0; k < length; ++k) text += kAlphabet[random() % alphabetSize];
  return text;
}

// A second text that shares a prefix with the first, so that pairs often
// differ late, inside numbers.
std::string Neighbour(std::mt19937& random, std::string const& text) {
  std::string const prefix = text.substr(0, random() % (text.size() + 1));
  return prefix + RandomVersion(random).substr(0, random() % 6);
}

TEST_F(VersionsTest, StrverscmpVersionsOrderAsTheCLibrarysStrverscmp) {
  std::mt19937 random(20261122);
  int counts[3] = {0, 0, 0};
  for (int k = 0; k < 4000; ++k) {
    std::string const left = RandomVersion(random);
    std::string const right = k % 2 == 0 ? Neighbour(random, left) : RandomVersion(random);
    SCOPED_TRACE(Shown(left) + " against " + Shown(right));
    int const expected = Sign(strverscmp(left.c_str(), right.c_str()));
    ++counts[expected + 1];
    EXPECT_EQ(SignName(expected), SignName(StrverscmpSign(left, right)));
    if (HasFailure()) break;
  }
  // The corpus has every outcome many times.
  EXPECT_GT(counts[0], 500);
  EXPECT_GT(counts[1], 20);
  EXPECT_GT(counts[2], 500);
}

TEST_F(VersionsTest, StrverscmpVersionsDifferFromVersionsWhereTheOrdersDo) {
  // The two orders part where a number starts with zeros: strverscmp reads
  // "09" as a fraction below "0", where CompareVersions, finding no zero
  // that goes on, lets the longer run of digits win. Each side is checked
  // against its own order, and the two must differ somewhere.
  std::vector<std::pair<std::string, std::string>> const pairs{
      {"000", "00"}, {"09", "0"}, {"1.0", "1.00"}, {"a", "b"}, {"1.9", "1.10"}};
  int differing = 0;
  for (auto const& [left, right] : pairs) {
    SCOPED_TRACE(left + " against " + right);
    EXPECT_EQ(Sign(strverscmp(left.c_str(), right.c_str())), StrverscmpSign(left, right));
    EXPECT_EQ(Sign(CompareVersions(left.c_str(), right.c_str())), VersionSign(left, right));
    if (StrverscmpSign(left, right) != VersionSign(left, right)) ++differing;
  }
  EXPECT_GT(differing, 0);
}

// ---------------------------------------------------------------------------
// The aggregators over versions.

TEST_F(VersionsTest, ExtremaKeepTheFirstOfEqualVersions) {
  // These compare equal, as far as their NULs, but are different texts.
  surveyor_version const first = version_of(View(std::string("1.2\0first", 9)));
  surveyor_version const second = version_of(View(std::string("1.2\0second", 10)));
  ASSERT_TRUE(first == second);
  extremum_aggregator<surveyor_version, surveyor_version> extremum;
  extremum.Initialize();
  EXPECT_THROW(extremum.Minimum(), NoSuchObject);
  EXPECT_THROW(extremum.Maximum(), NoSuchObject);
  extremum.Aggregate(Of(0), first);
  EXPECT_EQ(first.text, extremum.Minimum().text);
  EXPECT_EQ(first.text, extremum.Maximum().text);
  extremum.Aggregate(Of(0), second);
  EXPECT_EQ(first.text, extremum.Minimum().text);
  EXPECT_EQ(first.text, extremum.Maximum().text);
  surveyor_version const low = version_of(View("1.10"));  // above 1.2
  surveyor_version const lower = version_of(View("1.1"));
  extremum.Aggregate(Of(0), low);
  extremum.Aggregate(Of(0), lower);
  EXPECT_EQ("1.1", Text(AsString(extremum.Minimum())));
  EXPECT_EQ("1.10", Text(AsString(extremum.Maximum())));
}

TEST_F(VersionsTest, UniqueVersionsAscendWithTheFirstTextKeptAndCounted) {
  unique_value_aggregator<surveyor_version> unique;
  unique.Initialize();
  EXPECT_THROW(unique.FirstFinal(), NoSuchObject);
  std::string const first("2.0\0a", 5);
  for (std::string const& text : std::vector<std::string>{
           "1.10", first, "1.9", "1.10", std::string("2.0\0b", 5), "2.0", "1.10", "10"}) {
    unique.Aggregate(Of(0), version_of(View(text)));
  }
  std::vector<std::pair<std::string, unsigned long long>> answers;
  WithMultiplicity<surveyor_version> value = unique.FirstFinal();
  char const* twoPointZero = nullptr;
  for (int guard = 0; guard < 10; ++guard) {
    answers.emplace_back(Text(AsString(value.value)), value.multiplicity);
    if (answers.back().first == "2.0") twoPointZero = value.value.text;
    try {
      value = unique.NextFinal();
    } catch (NoSuchObject const&) {
      break;
    }
  }
  using Answer = std::pair<std::string, unsigned long long>;
  EXPECT_EQ((std::vector<Answer>{{"1.9", 1}, {"1.10", 3}, {"2.0", 3}, {"10", 1}}), answers);
  ASSERT_NE(nullptr, twoPointZero);
  EXPECT_EQ(0, std::memcmp(twoPointZero, "2.0\0a", 5));
}

// ---------------------------------------------------------------------------
// What the unit registers, in order.

TEST_F(VersionsTest, RegistersTypesLookupsCastsGroupAndRelationsInOrder) {
  std::vector<RegistryEvent> const& journal = Registry::Default().Journal();
  auto const start = std::find_if(journal.begin(), journal.end(), [](RegistryEvent const& e) {
    return e.kind == RecordKind::kType && e.name == "version";
  });
  ASSERT_NE(journal.end(), start);
  std::vector<std::string> lines;
  for (auto event = start; event != journal.end() && lines.size() < 31; ++event) {
    if (event->action == RegistryEvent::kRegistered) lines.emplace_back(event->name);
  }
  std::vector<std::string> expected{"version",
                                    "version",
                                    "string",
                                    "version",
                                    "strverscmp version",
                                    "strverscmp version",
                                    "strverscmp version",
                                    "operator 6",
                                    "operator 7",
                                    "operator 8",
                                    "version with multiplicity",
                                    "unique value",
                                    "multiplicity",
                                    "minimum",
                                    "maximum",
                                    "extrema"};
  for (int pair = 0; pair < 5; ++pair) {
    for (char const* code : {"operator 6", "operator 7", "operator 8"}) expected.push_back(code);
  }
  EXPECT_EQ(expected, lines);

  Registry const& registry = Registry::Default();
  TypeEntry const* const version = registry.FindType("version");
  ASSERT_NE(nullptr, version);
  EXPECT_EQ(sizeof(void*), version->size);
  EXPECT_NE(nullptr, version->fingerprint);
  EXPECT_EQ("", version->baseName);
  TypeEntry const* const strverscmpVersion = registry.FindType("strverscmp version");
  ASSERT_NE(nullptr, strverscmpVersion);
  EXPECT_EQ(sizeof(void*), strverscmpVersion->size);
  EXPECT_NE(nullptr, strverscmpVersion->fingerprint);
  EXPECT_EQ("version", strverscmpVersion->baseName);
  TypeEntry const* const multiplicity = registry.FindType("version with multiplicity");
  ASSERT_NE(nullptr, multiplicity);
  EXPECT_EQ("version", multiplicity->baseName);
  EXPECT_STREQ("( version, version )",
               (SurveyorTuple2<surveyor_version, surveyor_version>::TypeName()));

  TypeEntry const* const string = registry.FindType("string");
  for (auto const& [plural, singular] :
       {std::pair<char const*, char const*>{"versions", "version"},
        std::pair<char const*, char const*>{"strverscmp versions", "strverscmp version"}}) {
    PropertyEntry const* const lookup = registry.FindProperty(plural, string, nullptr);
    ASSERT_NE(nullptr, lookup) << plural;
    EXPECT_EQ(singular, lookup->singular);
    EXPECT_EQ(singular, lookup->result);
    EXPECT_EQ("", lookup->object);
    EXPECT_EQ(&DependsOnlyOnParameters, lookup->dependency);
  }

  // The string form of a strverscmp version is its base type's.
  CastEntry const* const toString = registry.FindCast("string", strverscmpVersion);
  ASSERT_NE(nullptr, toString);
  EXPECT_EQ("version", toString->source);
  EXPECT_EQ(toString, registry.FindCast("string", version));
  for (char const* target : {"version", "strverscmp version"}) {
    CastEntry const* const fromString = registry.FindCast(target, string);
    ASSERT_NE(nullptr, fromString) << target;
    EXPECT_EQ(target, fromString->target);
    EXPECT_EQ(&DependsOnlyOnParameters, fromString->dependency);
  }

  // The operators in the order of the table.
  using Operands = std::pair<std::string, std::string>;
  std::vector<Operands> operands;
  for (OperatorEntry const* entry : registry.Operators()) {
    bool const ours = entry->left.find("version") != std::string::npos ||
                      entry->right.find("version") != std::string::npos;
    if (!ours) continue;
    EXPECT_EQ("boolean", entry->result);
    EXPECT_EQ(&DependsOnlyOnParameters, entry->dependency);
    operands.emplace_back(entry->left, entry->right);
  }
  std::vector<Operands> expectedOperands;
  for (Operands const& pair : std::vector<Operands>{{"version", "version"},
                                                    {"version", "string"},
                                                    {"string", "version"},
                                                    {"strverscmp version", "strverscmp version"},
                                                    {"strverscmp version", "string"},
                                                    {"string", "strverscmp version"}}) {
    for (int code = 0; code < 3; ++code) expectedOperands.push_back(pair);
  }
  EXPECT_EQ(expectedOperands, operands);

  // Aggregates only for "version".
  for (PropertyEntry const* entry : registry.Properties()) {
    if (entry->object == "strverscmp version") ADD_FAILURE() << entry->singular;
    if (entry->object == "version" || entry->object == "version with multiplicity") {
      EXPECT_EQ(&DependsOnlyOnParameters, entry->dependency) << entry->singular;
    }
  }
}

}  // namespace
