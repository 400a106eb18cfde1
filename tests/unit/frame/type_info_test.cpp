// Per-type information handed to Register_Type: destruction, the choice of
// fingerprinting, and the bytewise folding of primitive members.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "host/engine/fingerprint.h"
#include "survey/frame/adaptors.h"

namespace {

struct Tracked {
  explicit Tracked(long long v) : value(v) {}
  ~Tracked() { ++destroyed; }
  long long value;
  static int destroyed;
};
int Tracked::destroyed = 0;

// A type with its own fingerprint: what it feeds in, and how often.
struct Versioned {
  unsigned int major;
  unsigned int minor;
};
int versionedFingerprints = 0;
void const* lastFingerprinted = nullptr;

Fingerprinter& operator<<(Fingerprinter& fingerprinter, Versioned const& value) {
  ++versionedFingerprints;
  lastFingerprinted = &value;
  FingerprintBytewise(fingerprinter, value.major);
  FingerprintBytewise(fingerprinter, value.minor);
  return fingerprinter;
}

static_assert(SurveyorTypeInfo<Tracked, kNotFingerprinted>::FingerprintFunction() == nullptr,
              "an unfingerprinted type registers no fingerprint function");

TEST(SurveyorTypeInfoTest, UnfingerprintedTypeHasNoFingerprintFunction) {
  SurveyorFingerprint const function =
      SurveyorTypeInfo<Tracked, kNotFingerprinted>::FingerprintFunction();
  EXPECT_EQ(nullptr, function);
}

TEST(SurveyorTypeInfoTest, DestroyRunsTheDestructorOnce) {
  alignas(Tracked) unsigned char slot[sizeof(Tracked)];
  ::new (slot) Tracked(5);
  Tracked::destroyed = 0;
  SurveyorTypeInfo<Tracked, kNotFingerprinted>::Destroy(slot);
  EXPECT_EQ(1, Tracked::destroyed);
  ::new (slot) Tracked(6);
  SurveyorTypeInfo<Tracked, kFingerprinted>::Destroy(slot);
  EXPECT_EQ(2, Tracked::destroyed);
}

TEST(SurveyorTypeInfoTest, FingerprintedTypeStreamsThroughItsOwnOperator) {
  SurveyorFingerprint const function =
      SurveyorTypeInfo<Versioned, kFingerprinted>::FingerprintFunction();
  ASSERT_NE(nullptr, function);
  Versioned const value{7, 1};
  versionedFingerprints = 0;
  Fingerprinter throughInfo;
  function(throughInfo, &value);
  EXPECT_EQ(1, versionedFingerprints);
  EXPECT_EQ(&value, lastFingerprinted);

  Fingerprinter direct;
  direct.Add(&value.major, sizeof value.major);
  direct.Add(&value.minor, sizeof value.minor);
  EXPECT_EQ(direct.Digest(), throughInfo.Digest());

  Versioned const other{7, 2};
  Fingerprinter different;
  function(different, &other);
  EXPECT_NE(throughInfo.Digest(), different.Digest());
}

// The bytes of a value, and as many bytes again of a neighbour, so that a
// fold of one byte too many or too few is told apart.
template <class T>
void ExpectFoldsExactlyItsBytes(T value) {
  SCOPED_TRACE(testing::Message() << "sizeof " << sizeof(T));
  Fingerprinter folded;
  Fingerprinter& returned = FingerprintBytewise(folded, value);
  EXPECT_EQ(&folded, &returned);
  EXPECT_TRUE(folded.Touched());

  Fingerprinter added;
  added.Add(&value, sizeof value);
  EXPECT_EQ(added.Digest(), folded.Digest());

  unsigned char bytes[sizeof(T) + 1];
  std::memcpy(bytes, &value, sizeof value);
  bytes[sizeof(T)] = 0x5A;
  Fingerprinter longer;
  longer.Add(bytes, sizeof bytes);
  EXPECT_NE(longer.Digest(), folded.Digest());
  Fingerprinter shorter;
  shorter.Add(bytes, sizeof(T) - 1);
  EXPECT_NE(shorter.Digest(), folded.Digest());
}

TEST(FingerprintBytewiseTest, FoldsExactlySizeofBytesOfEachPrimitive) {
  ExpectFoldsExactlyItsBytes<unsigned char>(0xC3);
  ExpectFoldsExactlyItsBytes<unsigned short>(0xBEEF);
  ExpectFoldsExactlyItsBytes<unsigned int>(0x01020304u);
  ExpectFoldsExactlyItsBytes<unsigned long>(0x0A0B0C0Dul);
  ExpectFoldsExactlyItsBytes<long>(-1234567L);
  ExpectFoldsExactlyItsBytes<long long>(-0x1122334455667788LL);
  ExpectFoldsExactlyItsBytes<unsigned long long>(0x8877665544332211ULL);
}

TEST(FingerprintBytewiseTest, DifferentValuesFoldDifferently) {
  Fingerprinter one;
  FingerprintBytewise(one, 1ULL);
  Fingerprinter two;
  FingerprintBytewise(two, 2ULL);
  EXPECT_NE(one.Digest(), two.Digest());
}

TEST(DependsOnlyOnParametersTest, FeedsNothingOfItsOwn) {
  Fingerprinter fingerprinter;
  DependsOnlyOnParameters(fingerprinter);
  EXPECT_FALSE(fingerprinter.Touched());
  Fingerprinter fresh;
  EXPECT_EQ(fresh.Digest(), fingerprinter.Digest());
}

}  // namespace
