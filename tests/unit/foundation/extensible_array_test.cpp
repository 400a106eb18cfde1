// The growing array whose elements do not move.

#include "survey/foundation/extensible_array.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Room for four 4-byte elements in the first section.
class ExtensibleArrayBaseTest : public ::testing::Test {
 protected:
  alignas(8) unsigned char first[16];
  ExtensibleArrayBase array{4, Data(first, sizeof first)};
};

TEST_F(ExtensibleArrayBaseTest, SectionSizesDoubleFromTheFirst) {
  EXPECT_EQ(16u, array.SectionSize(0));
  EXPECT_EQ(32u, array.SectionSize(1));
  EXPECT_EQ(64u, array.SectionSize(2));
}

TEST_F(ExtensibleArrayBaseTest, SectionNumberOfAnOffset) {
  // Section 0 holds bytes 0 to 15, section 1 bytes 16 to 47, section 2
  // bytes 48 to 111.
  EXPECT_EQ(0u, array.SectionNumber(0));
  EXPECT_EQ(0u, array.SectionNumber(15));
  EXPECT_EQ(1u, array.SectionNumber(16));
  EXPECT_EQ(1u, array.SectionNumber(47));
  EXPECT_EQ(2u, array.SectionNumber(48));
  EXPECT_EQ(2u, array.SectionNumber(111));
  EXPECT_EQ(3u, array.SectionNumber(112));
}

TEST_F(ExtensibleArrayBaseTest, RemainderIsTheOffsetWithinItsSection) {
  EXPECT_EQ(5u, array.Remainder(5, 0));
  EXPECT_EQ(0u, array.Remainder(16, 1));
  EXPECT_EQ(31u, array.Remainder(47, 1));
  EXPECT_EQ(2u, array.Remainder(50, 2));
}

TEST_F(ExtensibleArrayBaseTest, FirstSectionIsTheCallersMemory) {
  for (int i = 0; i < 4; ++i) {
    void* const slot = array.Allocate(4);
    EXPECT_EQ(static_cast<void*>(first + 4 * i), slot);
  }
  EXPECT_EQ(4u, array.Count());
  EXPECT_EQ(static_cast<void*>(first + 8), array[2]);
}

TEST_F(ExtensibleArrayBaseTest, GrowthAllocatesTheNextSectionAndMovesNothing) {
  std::vector<void*> handedOut;
  for (int i = 0; i < 4; ++i) handedOut.push_back(array.Allocate(4));
  void* const fifth = array.Allocate(4);
  // The fifth element is the first of a new section, outside the first.
  EXPECT_TRUE(fifth < static_cast<void*>(first) || fifth >= static_cast<void*>(first + 16));
  // The new section has room for eight elements, contiguous.
  for (int i = 1; i < 8; ++i) {
    void* const next = array.Allocate(4);
    EXPECT_EQ(static_cast<unsigned char*>(fifth) + 4 * i, next);
  }
  // The thirteenth begins section 2.
  void* const thirteenth = array.Allocate(4);
  EXPECT_NE(static_cast<unsigned char*>(fifth) + 32, thirteenth);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(handedOut[i], array[i]);
  EXPECT_EQ(fifth, array[4]);
  EXPECT_EQ(thirteenth, array[12]);
  EXPECT_EQ(13u, array.Count());
}

TEST_F(ExtensibleArrayBaseTest, ValuesStayWhereTheyWereWritten) {
  for (unsigned i = 0; i < 100; ++i) *static_cast<unsigned*>(array.Allocate(4)) = i * 3;
  for (unsigned i = 0; i < 100; ++i) EXPECT_EQ(i * 3, *static_cast<unsigned const*>(array[i]));
}

TEST_F(ExtensibleArrayBaseTest, ReleaseOfAnyPointerTakesTheLastElement) {
  void* const a = array.Allocate(4);
  array.Allocate(4);
  array.Release(a);
  EXPECT_EQ(1u, array.Count());
  // The next allocation reuses the released slot.
  EXPECT_EQ(static_cast<void*>(first + 4), array.Allocate(4));
}

TEST_F(ExtensibleArrayBaseTest, ReleasedSectionsAreReusedOrFreedOneSectionInHand) {
  for (int i = 0; i < 13; ++i) array.Allocate(4);  // sections 0, 1, 2
  void* const inSectionOne = array[4];
  // Down to 4 elements: 16 bytes in use, twice that (32) lies in section 1,
  // so section 1 is kept and section 2 goes.
  array.Release(9);
  EXPECT_EQ(4u, array.Count());
  EXPECT_EQ(inSectionOne, array.Allocate(4));
}

TEST_F(ExtensibleArrayBaseTest, ReleaseAllKeepsOnlyTheFirstSection) {
  for (int i = 0; i < 20; ++i) array.Allocate(4);
  array.ReleaseAll();
  EXPECT_EQ(0u, array.Count());
  EXPECT_EQ(static_cast<void*>(first), array.Allocate(4));
}

TEST(ExtensibleArrayLimitTest, TheSectionTableIsTheLimit) {
  // One byte per element and a first section of one byte: 2^24 - 1 bytes
  // in all, in 24 sections.
  unsigned char first[1];
  ExtensibleArrayBase array(1, Data(first, 1));
  for (unsigned long i = 0; i < (1ul << 24) - 1; ++i) array.Allocate(1);
  EXPECT_EQ((1ul << 24) - 1, array.Count());
  EXPECT_THROW(array.Allocate(1), DataOverflow);
  EXPECT_EQ((1ul << 24) - 1, array.Count());
}

// Counts the live values, to follow construction and destruction.
struct Counted {
  static int live;
  int value;
  explicit Counted(int v) : value(v) { ++live; }
  ~Counted() { --live; }
  Counted(Counted const&) = delete;
};
int Counted::live = 0;

TEST(ExtensibleArrayTest, ConstructsAndDestroysItsElements) {
  Counted::live = 0;
  {
    ExtensibleArray<Counted, 3> array;
    for (int i = 0; i < 10; ++i) array.Append(i * 10);
    EXPECT_EQ(10, Counted::live);
    EXPECT_EQ(10u, array.Count());
    EXPECT_EQ(70, array[7].value);
    array.RemoveLast();
    EXPECT_EQ(9, Counted::live);
  }
  EXPECT_EQ(0, Counted::live);
}

TEST(ExtensibleArrayTest, ShortArrayLivesInsideItsOwner) {
  ExtensibleArray<int, 4> array;
  int* const a = &array.Append(1);
  int* const d = &array.Append(2);
  unsigned char const* const self = reinterpret_cast<unsigned char const*>(&array);
  EXPECT_TRUE(reinterpret_cast<unsigned char const*>(a) >= self &&
              reinterpret_cast<unsigned char const*>(d) < self + sizeof array);
}

}  // namespace
