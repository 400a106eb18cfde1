// Filters, receivers, writers and readers over byte views.

#include "survey/foundation/data_stream.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

ConstData View(char const* text) { return ConstData(text); }

// Hands out a fixed text, at most `step` bytes per read.
class TextReader : public DataReader {
 public:
  TextReader(std::string text, unsigned long step) : text_(std::move(text)), step_(step) {}

  bool Unfinished() const override { return position_ < text_.size(); }
  void operator>>(Buffer& output) override {
    unsigned long count = text_.size() - position_;
    if (count > step_) count = step_;
    if (count > output.Remaining()) count = output.Remaining();
    output << ConstData(text_.data() + position_, count);
    position_ += count;
    ++reads;
  }
  using DataReader::operator>>;

  int reads = 0;

 private:
  std::string text_;
  unsigned long position_ = 0;
  unsigned long step_;
};

// Keeps the calls it gets, in order.
class Recorder : public DataReceiver {
 public:
  void Start() override { calls.push_back("start"); }
  void Receive(ConstData data) override {
    calls.push_back("receive " + std::to_string(data.Length()));
    text += MakeString(data);
  }
  void ReceiveEnd() override { calls.push_back("end"); }

  std::vector<std::string> calls;
  std::string text;
};

// Doubles each byte, to show that the cursor forms reach a derived filter.
class Doubler : public DataFilter {
 public:
  using DataFilter::operator();
  void operator()(ConstBuffer& input, Buffer& output) override {
    ++calls;
    while (!input.Finished() && output.Remaining() >= 2) {
      *output.current++ = *input.current;
      *output.current++ = *input.current++;
    }
  }
  int calls = 0;
};

TEST(DataFilterTest, DefaultFilterCopiesAsMuchAsFits) {
  DataFilter copy;
  char target[4] = {};
  ConstBuffer in(View("abcdef"));
  Buffer out(Data(target, 4));
  copy(in, out);
  EXPECT_EQ("abcd", MakeString(out.Processed()));
  EXPECT_EQ("ef", MakeString(in.Remainder()));
}

TEST(DataFilterTest, ViewFormsReachTheVirtualOperation) {
  Doubler doubler;
  char target[6] = {};
  Data const rest = doubler(View("abc"), Data(target, 6));
  EXPECT_TRUE(rest.Empty());
  EXPECT_EQ("aabbcc", std::string(target, 6));
  EXPECT_EQ(1, doubler.calls);
}

TEST(DataFilterTest, ViewFormDoesNothingForEmptyInputOrFullOutput) {
  Doubler doubler;
  char target[2] = {'.', '.'};
  Data const output(target, 2);
  Data const afterEmpty = doubler(ConstData(), output);
  EXPECT_EQ(output.begin, afterEmpty.begin);
  Data const afterFull = doubler(View("abc"), Data(target, 0ul));
  EXPECT_TRUE(afterFull.Empty());
  EXPECT_EQ(0, doubler.calls);
  EXPECT_EQ('.', target[0]);
}

TEST(DataReceiverTest, ShiftOperatorCallsReceive) {
  Recorder recorder;
  recorder << View("ab") << View("cde");
  EXPECT_EQ((std::vector<std::string>{"receive 2", "receive 3"}), recorder.calls);
  EXPECT_EQ("abcde", recorder.text);
}

TEST(DataWriterTest, WritesWhatItReceives) {
  char room[8] = {};
  DataWriter writer(Data(room, 8));
  writer.Start();
  writer << View("abc") << View("de");
  EXPECT_EQ("abcde", MakeString(writer.Written()));
  EXPECT_EQ(3u, writer.Room());
}

TEST(DataWriterTest, ABlockThatDoesNotFitOverflowsAndWritesNothingOfItself) {
  char room[4] = {'.', '.', '.', '.'};
  DataWriter writer(Data(room, 4));
  writer << View("ab");
  EXPECT_THROW(writer << View("cde"), DataOverflow);
  EXPECT_EQ("ab", MakeString(writer.Written()));
  EXPECT_EQ('.', room[2]);
  // What fits exactly still goes in.
  writer << View("cd");
  EXPECT_EQ("abcd", MakeString(writer.Written()));
  EXPECT_THROW(writer << View("e"), DataOverflow);
}

TEST(DataReaderTest, FillingATargetReadsUntilItIsFull) {
  TextReader reader("abcdefghij", 3);
  char target[7] = {};
  reader >> Data(target, 7);
  EXPECT_EQ("abcdefg", std::string(target, 7));
  EXPECT_EQ(3, reader.reads);
  EXPECT_TRUE(reader.Unfinished());
}

TEST(DataReaderTest, AReaderWithFewerBytesThanTheTargetThrowsAfterDeliveringThem) {
  TextReader reader("abc", 2);
  char target[5] = {'.', '.', '.', '.', '.'};
  EXPECT_THROW(reader >> Data(target, 5), NoMoreData);
  EXPECT_EQ("abc..", std::string(target, 5));
  EXPECT_FALSE(reader.Unfinished());
}

TEST(DataReaderTest, AnEmptyTargetNeedsNoData) {
  TextReader reader("", 2);
  char target[1];
  EXPECT_NO_THROW(reader >> Data(target, 0ul));
}

TEST(ReadReaderTest, PassesEverythingBetweenStartAndEnd) {
  std::string text;
  for (int i = 0; i < 2500; ++i) text += static_cast<char>('a' + i % 26);
  TextReader reader(text, 5000);
  Recorder recorder;
  ReadReader(reader, recorder);
  // Blocks of 1024 bytes: 1024, 1024, 452.
  EXPECT_EQ((std::vector<std::string>{"start", "receive 1024", "receive 1024", "receive 452", "end"}),
            recorder.calls);
  EXPECT_EQ(text, recorder.text);
}

TEST(ReadReaderTest, AnEmptyReaderGivesStartAndEndOnly) {
  TextReader reader("", 10);
  Recorder recorder;
  ReadReader(reader, recorder);
  EXPECT_EQ((std::vector<std::string>{"start", "end"}), recorder.calls);
}

}  // namespace
