// Walks over nudges and their headers through a context of the test's own:
// the host's refusals, its skipping of entries, and the header block that
// belongs to the iterator.

#include "survey/client/advice_items.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/client/nudge_context.h"
#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "tests/support/context_test.h"

namespace {

using survey::client::NextNudgeHeader;
using survey::client::NudgeHeaderBlock;
using survey::client::NudgeHeaderRecord;
using survey::host::Evaluation;
using survey::host::Registry;

// The host's items: the positions it has, with their numbers and relevance.
struct Item {
  unsigned position;
  unsigned long long id;
  bool relevant;
};
std::vector<Item> items;
std::vector<NudgeHeaderRecord> headers;
int blockAfterCalls = -1;  // the number of GetNudge calls after which reading is blocked
int nudgeCalls = 0;
std::vector<unsigned> askedFrom;

bool GetNudge(SiteMap*, nudge* record, bool relevantOnly) {
  ++nudgeCalls;
  askedFrom.push_back(record->position);
  for (Item const& item : items) {
    if (item.position < record->position || (relevantOnly && !item.relevant)) continue;
    record->position = item.position;
    record->id = item.id;
    record->relevant = item.relevant ? 1 : 0;
    return true;
  }
  return false;
}

bool HeaderSize(nudge* record) {
  record->headerSize = static_cast<unsigned>(NudgeHeaderBlock(headers).size());
  return true;
}

bool Headers(nudge* record) {
  std::string const block = NudgeHeaderBlock(headers);
  std::memcpy(record->headerBlock, block.data(), block.size());
  return true;
}

bool Next(SurveyorConstData* cursor, SurveyorConstData* name, SurveyorConstData* value) {
  return NextNudgeHeader(*cursor, *name, *name, *value);
}

bool Blocked() { return blockAfterCalls >= 0 && nudgeCalls >= blockAfterCalls; }

class NudgeHost : public SurveyorContext, public SurveyorNudgeContext {
 public:
  NudgeHost() {
    GetNudge = &::GetNudge;
    GetHeaderSize = &HeaderSize;
    GetHeaders = &Headers;
    NextHeader = &Next;
    IsEvaluationBlocked = &Blocked;
  }
};

class AdviceItemsTest : public survey::testing::ContextTest {
 protected:
  AdviceItemsTest() {
    items.clear();
    headers.clear();
    blockAfterCalls = -1;
    nudgeCalls = 0;
    askedFrom.clear();
  }

  site owner{nullptr};
};

TEST_F(AdviceItemsTest, AnEmptySiteEndsTheWalkAtOnce) {
  NudgeHost host;
  Within(&host, [&] {
    nudge_iterator walk;
    EXPECT_THROW(walk.First(Of(0), owner), NoSuchObject);
    EXPECT_THROW(walk.FirstRelevant(Of(0), owner), NoSuchObject);
  });
}

TEST_F(AdviceItemsTest, TheWalkGoesOnBehindTheEntryTheHostFound) {
  items = {{2, 20, false}, {5, 50, true}, {9, 90, true}};
  NudgeHost host;
  Within(&host, [&] {
    nudge_iterator walk;
    EXPECT_EQ(20u, walk.First(Of(0), owner).id);
    EXPECT_EQ(50u, walk.Next(Of(0), owner).id);
    EXPECT_EQ(90u, walk.Next(Of(0), owner).id);
    EXPECT_THROW(walk.Next(Of(0), owner), NoSuchObject);
    EXPECT_EQ((std::vector<unsigned>{0, 3, 6, 10}), askedFrom);
    nudge_iterator relevant;
    nudge const first = relevant.FirstRelevant(Of(0), owner);
    EXPECT_EQ(50u, first.id);
    EXPECT_EQ(1, Relevance(first).value);
    EXPECT_EQ(50, NudgeID(first).value);
    EXPECT_EQ(90u, relevant.NextRelevant(Of(0), owner).id);
    EXPECT_THROW(relevant.NextRelevant(Of(0), owner), NoSuchObject);
  });
}

TEST_F(AdviceItemsTest, ABlockedHostStopsAWalkInTheMiddle) {
  items = {{0, 1, true}, {1, 2, true}, {2, 3, true}};
  blockAfterCalls = 2;
  NudgeHost host;
  Within(&host, [&] {
    nudge_iterator walk;
    EXPECT_EQ(1u, walk.First(Of(0), owner).id);
    EXPECT_EQ(2u, walk.Next(Of(0), owner).id);
    EXPECT_THROW(walk.Next(Of(0), owner), CannotEvaluateNow);
    headers = {{"a", "b"}};
    nudge item = nudge{};
    nudge_header_iterator walkHeaders;
    EXPECT_THROW(walkHeaders.First(Of(0), item), CannotEvaluateNow);
  });
}

TEST_F(AdviceItemsTest, ABlockBetweenHeadersStopsTheHeaderWalk) {
  headers = {{"a", "1"}, {"b", "2"}};
  NudgeHost host;
  Within(&host, [&] {
    nudge item{};
    nudge_header_iterator walk;
    EXPECT_EQ("a", Text(HeaderName(walk.First(Of(0), item))));
    blockAfterCalls = 0;
    EXPECT_THROW(walk.Next(Of(0), item), CannotEvaluateNow);
  });
}

TEST_F(AdviceItemsTest, AWantedHeaderThatComesTwiceIsGivenTwiceInOrder) {
  headers = {{"Tag", "one"}, {"Other", "x"}, {"tag", "two"}, {"Empty", ""}};
  NudgeHost host;
  Within(&host, [&] {
    nudge item{};
    nudge_header_iterator walk;
    surveyor_string const wanted{reinterpret_cast<unsigned char const*>("TAG"), 3};
    EXPECT_EQ("one", Text(HeaderValue(walk.FirstNamed(wanted, Of(0), item))));
    EXPECT_EQ("two", Text(HeaderValue(walk.NextNamed(wanted, Of(0), item))));
    EXPECT_THROW(walk.NextNamed(wanted, Of(0), item), NoSuchObject);

    nudge_header_iterator all;
    std::vector<std::string> seen;
    nudge_header header = all.First(Of(0), item);
    for (;;) {
      seen.push_back(Text(HeaderName(header)) + "=" + Text(HeaderValue(header)));
      try {
        header = all.Next(Of(0), item);
      } catch (NoSuchObject const&) {
        break;
      }
    }
    EXPECT_EQ((std::vector<std::string>{"Tag=one", "Other=x", "tag=two", "Empty="}), seen);
  });
}

TEST_F(AdviceItemsTest, TheHeadersLieInTheBlockOfTheIteratorThatGaveThem) {
  headers = {{"n", "v"}};
  NudgeHost host;
  Within(&host, [&] {
    nudge item{};
    nudge_header_iterator first;
    nudge_header const header = first.First(Of(0), item);
    unsigned char const* const block = item.headerBlock;
    ASSERT_NE(nullptr, block);
    EXPECT_GE(header.nameBegin, block);
    EXPECT_LE(header.valueEnd, block + item.headerSize);
    // A second walk writes into a block of its own.
    nudge_header_iterator second;
    nudge_header const again = second.First(Of(0), item);
    EXPECT_NE(block, item.headerBlock);
    EXPECT_GE(again.nameBegin, item.headerBlock);
    EXPECT_LE(again.valueEnd, item.headerBlock + item.headerSize);
  });
}

TEST_F(AdviceItemsTest, NullSlotsAndMissingContexts) {
  NudgeHost host;
  host.IsEvaluationBlocked = nullptr;
  Within(&host, [&] {
    nudge_iterator walk;
    EXPECT_THROW(walk.First(Of(0), owner), SurveyorNudgeContextError);
  });
  NudgeHost noHeaders;
  noHeaders.GetHeaders = nullptr;
  Within(&noHeaders, [&] {
    nudge item{};
    nudge_header_iterator walk;
    EXPECT_THROW(walk.First(Of(0), item), SurveyorNudgeContextError);
  });
  NudgeHost noNudges;
  noNudges.GetNudge = nullptr;
  Within(&noNudges, [&] {
    nudge_iterator walk;
    EXPECT_THROW(walk.First(Of(0), owner), SurveyorNudgeContextError);
  });
  Within(nullptr, [&] {
    nudge_iterator walk;
    EXPECT_THROW(walk.First(Of(0), owner), NoSurveyorContext);
  });
}

TEST(NudgeHeaderBlockTest, ACutOrDamagedBlockEndsTheWalkWithoutReadingPastIt) {
  std::string const block = NudgeHeaderBlock({{"name", "value"}, {"second", "2"}});
  // Every cut of the block gives the whole headers before the cut, and no
  // more.
  for (std::size_t cut = 0; cut <= block.size(); ++cut) {
    std::vector<unsigned char> bytes(block.begin(), block.begin() + static_cast<long>(cut));
    SurveyorConstData cursor{bytes.data(), bytes.data() + bytes.size()};
    SurveyorConstData name{};
    SurveyorConstData value{};
    int found = 0;
    while (NextNudgeHeader(cursor, SurveyorConstData{nullptr, nullptr}, name, value)) {
      EXPECT_GE(name.begin, bytes.data());
      EXPECT_LE(value.end, bytes.data() + bytes.size());
      ++found;
    }
    int const whole = cut >= block.size() ? 2 : cut >= 4 + 4 + 4 + 5 ? 1 : 0;
    EXPECT_EQ(whole, found) << cut;
  }
  // A length past the end.
  std::vector<unsigned char> damaged(block.begin(), block.end());
  damaged[0] = 0xFF;
  SurveyorConstData cursor{damaged.data(), damaged.data() + damaged.size()};
  SurveyorConstData name{};
  SurveyorConstData value{};
  EXPECT_FALSE(NextNudgeHeader(cursor, SurveyorConstData{nullptr, nullptr}, name, value));
}

}  // namespace
