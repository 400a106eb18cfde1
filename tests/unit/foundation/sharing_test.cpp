// Handles on a ring, and the pointer that they share.

#include "survey/foundation/sharing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace {

// The links of a ring, walking `next` from `start` until it comes back.
// Each step checks that `previous` points back, so a torn ring shows.
std::vector<SharingLink const*> Ring(SharingLink const& start) {
  std::vector<SharingLink const*> links;
  SharingLink const* at = &start;
  do {
    links.push_back(at);
    EXPECT_EQ(at, at->next->previous) << "a neighbour does not point back";
    at = at->next;
    if (links.size() > 100) {
      ADD_FAILURE() << "the ring does not close";
      break;
    }
  } while (at != &start);
  return links;
}

TEST(SharingLinkTest, ANewLinkIsAlone) {
  SharingLink link;
  EXPECT_TRUE(link.Alone());
  EXPECT_EQ(&link, link.next);
  EXPECT_EQ(&link, link.previous);
}

TEST(SharingLinkTest, ACopyJoinsBesideItsSource) {
  SharingLink a;
  SharingLink b(a);
  SharingLink c(a);
  EXPECT_FALSE(a.Alone());
  // Each copy goes in right behind its source.
  EXPECT_EQ((std::vector<SharingLink const*>{&a, &c, &b}), Ring(a));
}

TEST(SharingLinkTest, DestroyingALinkTakesItOffTheRing) {
  SharingLink a;
  {
    SharingLink b(a);
    SharingLink c(b);
    EXPECT_EQ(3u, Ring(a).size());
  }
  EXPECT_TRUE(a.Alone());
  std::optional<SharingLink> middle;
  SharingLink first;
  middle.emplace(first);
  SharingLink last(*middle);
  middle.reset();
  EXPECT_EQ((std::vector<SharingLink const*>{&first, &last}), Ring(first));
}

TEST(SharingLinkTest, SwapExchangesPlacesOnTwoRings) {
  SharingLink a;
  SharingLink a2(a);
  SharingLink b;
  SharingLink b2(b);
  SharingLink b3(b2);
  a.swap(b2);
  EXPECT_EQ((std::vector<SharingLink const*>{&a2, &b2}), Ring(a2));
  EXPECT_EQ((std::vector<SharingLink const*>{&b, &a, &b3}), Ring(b));
}

TEST(SharingLinkTest, SwapOfNeighboursOnOneRing) {
  SharingLink a;
  SharingLink c(a);
  SharingLink b(a);  // ring: a, b, c
  a.swap(b);
  EXPECT_EQ((std::vector<SharingLink const*>{&b, &a, &c}), Ring(b));
  b.swap(a);
  EXPECT_EQ((std::vector<SharingLink const*>{&a, &b, &c}), Ring(a));
  c.swap(a);  // c follows b and precedes a
  EXPECT_EQ((std::vector<SharingLink const*>{&c, &b, &a}), Ring(c));
}

TEST(SharingLinkTest, SwapWithALoneLinkAndWithItself) {
  SharingLink alone;
  SharingLink a;
  SharingLink b(a);
  alone.swap(a);
  EXPECT_TRUE(a.Alone());
  EXPECT_EQ((std::vector<SharingLink const*>{&alone, &b}), Ring(alone));
  b.swap(b);
  EXPECT_EQ((std::vector<SharingLink const*>{&alone, &b}), Ring(alone));
}

TEST(SharingLinkTest, AssignmentMovesALinkToTheSourcesRing) {
  SharingLink a;
  SharingLink a2(a);
  SharingLink b;
  a2 = b;
  EXPECT_TRUE(a.Alone());
  EXPECT_EQ(2u, Ring(b).size());
  a2 = a2;
  EXPECT_EQ(2u, Ring(b).size());
}

// Counts deletions.
struct Tracked {
  explicit Tracked(int* deletions) : deletions_(deletions) {}
  ~Tracked() { ++*deletions_; }
  int* deletions_;
};

TEST(SharingPtrTest, TheLastCopyToLeaveDeletesTheObjectInAnyOrder) {
  // Every order of destruction of four handles.
  std::vector<int> order = {0, 1, 2, 3};
  int orders = 0;
  do {
    int deletions = 0;
    std::vector<std::unique_ptr<SharingPtr<Tracked>>> handles;
    handles.push_back(std::make_unique<SharingPtr<Tracked>>(new Tracked(&deletions)));
    handles.push_back(std::make_unique<SharingPtr<Tracked>>(*handles[0]));
    handles.push_back(std::make_unique<SharingPtr<Tracked>>(*handles[1]));
    handles.push_back(std::make_unique<SharingPtr<Tracked>>(*handles[0]));
    for (std::size_t i = 0; i < order.size(); ++i) {
      EXPECT_EQ(0, deletions);
      handles[order[i]].reset();
    }
    EXPECT_EQ(1, deletions);
    ++orders;
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(24, orders);
}

TEST(SharingPtrTest, AssignmentReleasesTheOldObject) {
  int firstDeletions = 0;
  int secondDeletions = 0;
  SharingPtr<Tracked> first(new Tracked(&firstDeletions));
  SharingPtr<Tracked> second(new Tracked(&secondDeletions));
  SharingPtr<Tracked> copy(second);
  first = second;
  EXPECT_EQ(1, firstDeletions);
  EXPECT_EQ(first.Get(), second.Get());
  second = SharingPtr<Tracked>();
  copy = SharingPtr<Tracked>();
  EXPECT_EQ(0, secondDeletions);
  EXPECT_TRUE(first.Unique());
  first = first;
  EXPECT_EQ(0, secondDeletions);
  first = SharingPtr<Tracked>();
  EXPECT_EQ(1, secondDeletions);
}

TEST(SharingPtrTest, SwapExchangesObjectsAndRings) {
  int deletions = 0;
  SharingPtr<Tracked> a(new Tracked(&deletions));
  SharingPtr<Tracked> b;
  Tracked* const object = a.Get();
  a.swap(b);
  EXPECT_EQ(nullptr, a.Get());
  EXPECT_EQ(object, b.Get());
  EXPECT_TRUE(b.Unique());
  EXPECT_FALSE(static_cast<bool>(a));
  EXPECT_EQ(0, deletions);
}

TEST(SharingPtrTest, ANullPointerIsSharedWithoutHarm) {
  SharingPtr<Tracked> empty;
  SharingPtr<Tracked> copy(empty);
  EXPECT_FALSE(copy.Unique());
  EXPECT_EQ(nullptr, copy.Get());
}

}  // namespace
