// The sizes of the foundation classes whose fields other code and other
// records count on: each is its fields in order, with nothing added.

#include <gtest/gtest.h>

#include <type_traits>

#include "survey/foundation/byte_set.h"
#include "survey/foundation/data.h"
#include "survey/foundation/extensible_array.h"
#include "survey/foundation/pattern_matcher.h"
#include "survey/foundation/sharing.h"
#include "survey/foundation/stringy.h"

namespace {

constexpr unsigned long kWord = sizeof(void*);

TEST(LayoutTest, ViewsAndCursorsAreTwoAndThreePointers) {
  EXPECT_EQ(2 * kWord, sizeof(ConstData));
  EXPECT_EQ(2 * kWord, sizeof(Data));
  EXPECT_EQ(3 * kWord, sizeof(ConstBuffer));
  EXPECT_EQ(3 * kWord, sizeof(Buffer));
  EXPECT_TRUE(std::is_trivially_copyable_v<ConstData>);
}

TEST(LayoutTest, ByteSetIsEightWords) { EXPECT_EQ(32u, sizeof(ByteSet)); }

TEST(LayoutTest, StringyIsItsTextAndItsSize) {
  EXPECT_EQ(sizeof(char*) + sizeof(unsigned long), sizeof(Stringy));
  EXPECT_EQ(kWord, sizeof(ConstCString));
}

TEST(LayoutTest, SharingHandles) {
  EXPECT_EQ(2 * kWord, sizeof(SharingLink));
  EXPECT_EQ(3 * kWord, sizeof(SharingPtr<int>));
}

TEST(LayoutTest, ExtensibleArrayBaseHoldsTwentyFourSections) {
  // Element size, first-section size, count, 24 section pointers.
  unsigned long const fields = sizeof(unsigned int) + 2 * sizeof(unsigned long) + 24 * kWord;
  unsigned long const padding = sizeof(unsigned long) - sizeof(unsigned int);
  EXPECT_EQ(fields + padding, sizeof(ExtensibleArrayBase));
  if (kWord == 4) {
    EXPECT_EQ(108u, sizeof(ExtensibleArrayBase));
  }
}

TEST(LayoutTest, ExtensibleArrayAddsItsFirstSection) {
  struct Twenty {
    unsigned char bytes[20];
  };
  // Rounded up to the base's alignment: 168 bytes on a 32-bit machine.
  unsigned long const align = alignof(ExtensibleArrayBase);
  unsigned long const size = sizeof(ExtensibleArrayBase) + 3 * 20;
  EXPECT_EQ((size + align - 1) / align * align, sizeof(ExtensibleArray<Twenty, 3>));
  if (kWord == 4) {
    EXPECT_EQ(168u, sizeof(ExtensibleArray<Twenty, 3>));
  }
}

TEST(LayoutTest, SearchClasses) {
  EXPECT_EQ(2 * kWord + 256, sizeof(PatternMatcher));
  EXPECT_EQ(5 * kWord, sizeof(MatchLoop));
}

}  // namespace
