// The in-memory diagnostics: the message buffer and the throw ring.

#include "survey/foundation/diagnostics.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

namespace {

std::string Message() { return MakeString(DebugMessage::Text()); }

TEST(DebugMessageTest, BufferIsALengthByteTheTextAndANul) {
  EXPECT_EQ(257u, sizeof DebugMessage::message);
  DebugMessage("abc");
  EXPECT_EQ(3, DebugMessage::message[0]);
  EXPECT_EQ(0, std::memcmp(DebugMessage::message + 1, "abc", 4));
}

TEST(DebugMessageTest, EveryConstructorStartsANewMessage) {
  DebugMessage("first");
  DebugMessage("second");
  EXPECT_EQ("second", Message());
  DebugMessage();
  EXPECT_EQ("", Message());
  EXPECT_EQ(0, DebugMessage::message[1]);
}

TEST(DebugMessageTest, PartsAreAppended) {
  DebugMessage message("count ");
  message << 42ul << ", offset " << -7L << ", text " << ConstData("view");
  EXPECT_EQ("count 42, offset -7, text view", Message());
}

TEST(DebugMessageTest, APointerIsHexPaddedToEightDigits) {
  DebugMessage() << reinterpret_cast<void*>(std::uintptr_t{0xbeef});
  EXPECT_EQ("0000beef", Message());
  DebugMessage() << static_cast<void*>(nullptr);
  EXPECT_EQ("00000000", Message());
}

TEST(DebugMessageTest, ThreeHundredBytesKeep255AndTheNul) {
  std::string const text(300, 'x');
  DebugMessage message;
  message << text.c_str();
  EXPECT_EQ(255, DebugMessage::message[0]);
  EXPECT_EQ(std::string(255, 'x'), Message());
  EXPECT_EQ(0, DebugMessage::message[256]);
  // More is dropped in silence.
  message << "more" << 12ul;
  EXPECT_EQ(255, DebugMessage::message[0]);
  EXPECT_EQ(0, DebugMessage::message[256]);
}

TEST(DebugMessageTest, FillingUpInPieces) {
  DebugMessage message;
  for (int i = 0; i < 30; ++i) message << "0123456789";
  EXPECT_EQ(255u, Message().size());
  EXPECT_EQ('4', Message().back());
}

TEST(DebugMessageTest, AssertionMessage) {
  AssertionMessage("reader.cpp", 120, "position in range");
  EXPECT_EQ("Assertion failure at line 120 of reader.cpp: position in range", Message());
}

TEST(DebugMessageTest, ShowAndTraceDoNothing) {
  DebugMessage("kept");
  ShowDebugMessage(DebugMessage::message + 1, DebugMessage::message[0]);
  TraceDebugMessage(DebugMessage::message + 1, DebugMessage::message[0]);
  EXPECT_EQ("kept", Message());
}

TEST(ExceptionTest, PlatformExceptionsAreDebuggable) {
  EXPECT_TRUE((std::is_base_of_v<DebuggableException, ExceptionPL>));
  EXPECT_TRUE(std::is_empty_v<UnixPlatform::ExceptionDebuggingInfo>);
}

TEST(TraceThrowTest, RingSizeIsEleven) { EXPECT_EQ(11, GetLastThrowsSize()); }

TEST(TraceThrowTest, AfterTwelveThrowsTheLastElevenComeNewestFirst) {
  for (int code = 1; code <= 12; ++code) TraceThrow(code * 100);
  int out[11] = {};
  GetLastThrows(out, 11);
  for (int i = 0; i < 11; ++i) EXPECT_EQ((12 - i) * 100, out[i]) << i;
}

TEST(TraceThrowTest, FewerAskedGivesTheNewest) {
  for (int code = 1; code <= 11; ++code) TraceThrow(code);
  TraceThrow(77);
  int out[2] = {};
  GetLastThrows(out, 2);
  EXPECT_EQ(77, out[0]);
  EXPECT_EQ(11, out[1]);
}

TEST(TraceThrowTest, MoreAskedThanTheRingHoldsIsFilledWithZero) {
  for (int code = 1; code <= 11; ++code) TraceThrow(-code);
  int out[14];
  std::memset(out, 0x5A, sizeof out);
  GetLastThrows(out, 14);
  EXPECT_EQ(-11, out[0]);
  EXPECT_EQ(-1, out[10]);
  EXPECT_EQ(0, out[11]);
  EXPECT_EQ(0, out[12]);
  EXPECT_EQ(0, out[13]);
}

}  // namespace
