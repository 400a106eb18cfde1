// The host's registry: lookups by phrase, index type and object type, base
// types followed upward, names resolved lazily, and the bookkeeping of
// registration and unregistration.

#include "host/engine/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "survey/frame/registration.h"

namespace {

using survey::host::RecordKind;
using survey::host::RegistrationError;
using survey::host::Registry;
using survey::host::RegistryEvent;
using survey::host::TypeEntry;

struct Blob {
  long long value;
};

Blob Same(Blob const& blob) { return blob; }
Blob ByIndex(Blob const& index, Of, Blob const&) { return index; }
Blob OfWorld() { return Blob{0}; }
Blob BlobCast(Blob const& blob) { return blob; }
Blob BlobOperator(Blob const& left, Blob const&) { return left; }

void DestroyBlob(void const*) {}

// A type record of a test.
struct TestType : RegisteredType {
  TestType(char const* name, char const* base = nullptr)
      : RegisteredType(name, sizeof(Blob), &DestroyBlob, base, nullptr) {}
};

// A simple property of an object type, with or without an index.
struct TestProperty : Prop {
  TestProperty(char const* singular, char const* plural, char const* index, char const* object)
      : Prop(Using<Property<Blob, Blob>>, singular, plural, index, object, "blob", &Same, nullptr) {
  }
};

class RegistryTest : public ::testing::Test {
 protected:
  Registry registry;
  Registry::Scope scope{registry};
};

TEST_F(RegistryTest, KeepsTheTypeNamesOfPropertiesGivenInOneBufferRewrittenBetweenThem) {
  TestType blob("blob");
  TestType bulb("bulb");
  TestType bl("bl");
  // One buffer, at one address, names the object type of three properties
  // in turn: twice with as many bytes, then with fewer.
  char name[8];
  std::strcpy(name, "blob");
  TestProperty first("weight", "weights", "", name);
  std::strcpy(name, "bulb");
  TestProperty second("weight", "weights", "", name);
  std::strcpy(name, "bl");
  TestProperty third("weight", "weights", "", name);
  std::strcpy(name, "zzzz");
  std::vector<std::string> objects;
  for (auto const* entry : registry.Properties()) objects.emplace_back(entry->object);
  EXPECT_EQ((std::vector<std::string>{"blob", "bulb", "bl"}), objects);
  auto const* const ofBlob = registry.FindProperty("weight", nullptr, registry.FindType("blob"));
  auto const* const ofBulb = registry.FindProperty("weight", nullptr, registry.FindType("bulb"));
  auto const* const ofBl = registry.FindProperty("weight", nullptr, registry.FindType("bl"));
  ASSERT_NE(nullptr, ofBlob);
  ASSERT_NE(nullptr, ofBulb);
  ASSERT_NE(nullptr, ofBl);
  EXPECT_EQ(&first, ofBlob->record);
  EXPECT_EQ(&second, ofBulb->record);
  EXPECT_EQ(&third, ofBl->record);
}

TEST_F(RegistryTest, FindsAPropertyByItsSingularAndItsPluralPhrase) {
  TestType blob("blob");
  TestProperty size("size", "sizes", "", "blob");
  TypeEntry const* const type = registry.FindType("blob");
  ASSERT_NE(nullptr, type);
  auto const* const singular = registry.FindProperty("size", nullptr, type);
  ASSERT_NE(nullptr, singular);
  EXPECT_EQ(&size, singular->record);
  EXPECT_EQ(singular, registry.FindProperty("sizes", nullptr, type));
  EXPECT_TRUE(registry.HasPropertyPhrase("size"));
  EXPECT_TRUE(registry.HasPropertyPhrase("sizes"));
  EXPECT_FALSE(registry.HasPropertyPhrase("siz"));
  EXPECT_EQ(nullptr, registry.FindProperty("sizess", nullptr, type));
  EXPECT_EQ(1u, registry.PropertiesNamed("sizes").size());
}

TEST_F(RegistryTest, ChoosesThePropertyByObjectType) {
  TestType file("file");
  TestType folder("folder");
  TestType blob("blob");
  TestProperty ofFile("size", "sizes", "", "file");
  TestProperty ofFolder("size", "sizes", "", "folder");
  EXPECT_EQ(&ofFile, registry.FindProperty("size", nullptr, registry.FindType("file"))->record);
  EXPECT_EQ(&ofFolder, registry.FindProperty("size", nullptr, registry.FindType("folder"))->record);
  EXPECT_EQ(nullptr, registry.FindProperty("size", nullptr, registry.FindType("blob")));
  // Nothing of the world.
  EXPECT_EQ(nullptr, registry.FindProperty("size", nullptr, nullptr));
  EXPECT_EQ(2u, registry.PropertiesNamed("size").size());
}

TEST_F(RegistryTest, ChoosesThePropertyByIndexType) {
  TestType blob("blob");
  TestType number("number");
  TestType text("text");
  TestProperty plain("line", "lines", "", "blob");
  TestProperty numbered("line", "lines", "number", "blob");
  TestProperty named("line", "lines", "text", "blob");
  TypeEntry const* const object = registry.FindType("blob");
  EXPECT_EQ(&plain, registry.FindProperty("line", nullptr, object)->record);
  EXPECT_EQ(&numbered, registry.FindProperty("line", registry.FindType("number"), object)->record);
  EXPECT_EQ(&named, registry.FindProperty("lines", registry.FindType("text"), object)->record);
  EXPECT_EQ(nullptr, registry.FindProperty("line", object, object));
}

TEST_F(RegistryTest, PropertyOfTheWorldHasNeitherIndexNorObject) {
  TestType blob("blob");
  Prop world(Using<PropertyOfWorld<Blob>>, "answer", "answers", "", "", "blob", &OfWorld, nullptr);
  EXPECT_EQ(&world, registry.FindProperty("answer", nullptr, nullptr)->record);
  EXPECT_EQ(nullptr, registry.FindProperty("answer", nullptr, registry.FindType("blob")));
  EXPECT_EQ(nullptr, registry.FindProperty("answer", registry.FindType("blob"), nullptr));
}

TEST_F(RegistryTest, FollowsTheObjectsBaseTypesUpward) {
  TestType base("base");
  TestType middle("middle", "base");
  TestType derived("derived", "middle");
  TestProperty ofBase("size", "sizes", "", "base");
  TestProperty ofMiddle("kind", "kinds", "", "middle");
  TestProperty kindOfDerived("kind", "kinds", "", "derived");
  TypeEntry const* const type = registry.FindType("derived");
  EXPECT_EQ(&ofBase, registry.FindProperty("size", nullptr, type)->record);
  // The nearest type wins.
  EXPECT_EQ(&kindOfDerived, registry.FindProperty("kind", nullptr, type)->record);
  EXPECT_EQ(&ofMiddle, registry.FindProperty("kind", nullptr, registry.FindType("middle"))->record);
  // Never downward.
  EXPECT_EQ(nullptr, registry.FindProperty("kind", nullptr, registry.FindType("base")));
  EXPECT_TRUE(registry.IsA(type, "base"));
  EXPECT_TRUE(registry.IsA(type, "derived"));
  EXPECT_FALSE(registry.IsA(registry.FindType("base"), "derived"));
  EXPECT_EQ(registry.FindType("middle"), registry.BaseOf(type));
  EXPECT_EQ(nullptr, registry.BaseOf(registry.FindType("base")));
}

TEST_F(RegistryTest, FollowsTheIndexsBaseTypesUpward) {
  TestType blob("blob");
  TestType key("key");
  TestType specialKey("special key", "key");
  Prop byKey(Using<PropertyByIndexOfObject<Blob, Blob, Blob>>, "entry", "entries", "key", "blob",
             "blob", &ByIndex, nullptr);
  EXPECT_EQ(
      &byKey,
      registry.FindProperty("entry", registry.FindType("special key"), registry.FindType("blob"))
          ->record);
}

TEST_F(RegistryTest, FollowsTheSourceTypesBaseForCasts) {
  TestType base("base");
  TestType derived("derived", "base");
  RegisteredCast cast(Using<Cast<Blob, Blob>>, "base", "base", "base", &BlobCast, nullptr);
  auto const* const found = registry.FindCast("base", registry.FindType("derived"));
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(&cast, found->record);
  EXPECT_TRUE(registry.HasCastPhrase("base"));
  EXPECT_FALSE(registry.HasCastPhrase("derived"));
  EXPECT_EQ(nullptr, registry.FindCast("other", registry.FindType("derived")));
}

TEST_F(RegistryTest, FollowsBothOperandsBasesForOperators) {
  TestType base("base");
  TestType derived("derived", "base");
  TestType other("other");
  RegisteredOperator equal(Using<Operator2<Blob, Blob, Blob>>, kOperatorEqual, "base", "base",
                           "base", &BlobOperator, nullptr);
  TypeEntry const* const d = registry.FindType("derived");
  TypeEntry const* const b = registry.FindType("base");
  EXPECT_EQ(&equal, registry.FindOperator(kOperatorEqual, d, d)->record);
  EXPECT_EQ(&equal, registry.FindOperator(kOperatorEqual, b, d)->record);
  EXPECT_EQ(nullptr, registry.FindOperator(kOperatorLessThan, d, d));
  EXPECT_EQ(nullptr, registry.FindOperator(kOperatorEqual, d, registry.FindType("other")));
}

// A property may name types that come later; the lookup finds it once they
// are there.
TEST_F(RegistryTest, ResolvesTypeNamesWhenTheyAreLookedUp) {
  TestProperty early("size", "sizes", "", "late");
  RegisteredCast cast(Using<Cast<Blob, Blob>>, "blob", "late", "blob", &BlobCast, nullptr);
  EXPECT_EQ(nullptr, registry.FindType("late"));
  TestType late("late");
  TypeEntry const* const type = registry.FindType("late");
  ASSERT_NE(nullptr, type);
  EXPECT_EQ(&early, registry.FindProperty("size", nullptr, type)->record);
  EXPECT_EQ(&cast, registry.FindCast("blob", type)->record);
}

TEST_F(RegistryTest, ResolvesABaseNamedBeforeItIsRegistered) {
  TestType derived("derived", "later base");
  TestProperty ofBase("size", "sizes", "", "later base");
  TypeEntry const* type = registry.FindType("derived");
  EXPECT_EQ(nullptr, registry.BaseOf(type));
  EXPECT_EQ(nullptr, registry.FindProperty("size", nullptr, type));
  TestType base("later base");
  type = registry.FindType("derived");
  EXPECT_EQ(registry.FindType("later base"), registry.BaseOf(type));
  EXPECT_EQ(&ofBase, registry.FindProperty("size", nullptr, type)->record);
}

TEST_F(RegistryTest, CycleOfBaseNamesDoesNotHang) {
  TestType a("a", "b");
  TestType b("b", "a");
  EXPECT_FALSE(registry.IsA(registry.FindType("a"), "c"));
  EXPECT_EQ(nullptr, registry.FindProperty("missing", nullptr, registry.FindType("a")));
}

TEST_F(RegistryTest, UnregisteredRecordsAreNoLongerFound) {
  TestType blob("blob");
  {
    TestProperty size("size", "sizes", "", "blob");
    EXPECT_NE(nullptr, registry.FindProperty("size", nullptr, registry.FindType("blob")));
  }
  EXPECT_EQ(nullptr, registry.FindProperty("size", nullptr, registry.FindType("blob")));
  EXPECT_FALSE(registry.HasPropertyPhrase("size"));
  EXPECT_EQ(1u, registry.RecordCount());
}

TEST_F(RegistryTest, RecordsItsOwnerInTheHostArea) {
  TestType blob("blob");
  EXPECT_EQ(&registry, Registry::Owner(&blob));
  TypeRecord loose{};
  EXPECT_EQ(nullptr, Registry::Owner(&loose));
  EXPECT_EQ(nullptr, Registry::Owner(nullptr));
}

// Unregistration reaches the registry that holds the record, whichever is
// current at the time.
TEST_F(RegistryTest, UnregistrationFindsTheOwningRegistry) {
  auto* const blob = new TestType("blob");
  {
    Registry other;
    Registry::Scope otherScope(other);
    delete blob;
    EXPECT_TRUE(other.Journal().empty());
  }
  EXPECT_TRUE(registry.Empty());
  ASSERT_EQ(2u, registry.Journal().size());
  EXPECT_EQ(RegistryEvent::kUnregistered, registry.Journal()[1].action);
}

TEST_F(RegistryTest, UnknownUnregistrationIsNotedAndIgnored) {
  TypeRecord never{};
  Unregister_Type(&never);
  ASSERT_EQ(1u, registry.Journal().size());
  EXPECT_EQ(RegistryEvent::kUnknownUnregistration, registry.Journal()[0].action);
  EXPECT_TRUE(registry.Empty());
}

TEST_F(RegistryTest, RefusesBadRegistrations) {
  TypeRecord record{};
  EXPECT_THROW(Register_Type(&record, kTypeHostArea - 1, "blob", 8, &DestroyBlob, nullptr, nullptr),
               RegistrationError);
  EXPECT_THROW(Register_Type(nullptr, kTypeHostArea, "blob", 8, &DestroyBlob, nullptr, nullptr),
               RegistrationError);
  EXPECT_THROW(Register_Type(&record, kTypeHostArea, nullptr, 8, &DestroyBlob, nullptr, nullptr),
               RegistrationError);
  EXPECT_THROW(Register_Type(&record, kTypeHostArea, "blob", 8, nullptr, nullptr, nullptr),
               RegistrationError);
  ShortRecord property{};
  EXPECT_THROW(Register_Property(&property, kRecordHostArea, "p", "ps", "", "", "blob", nullptr,
                                 &property, nullptr),
               RegistrationError);
  EXPECT_TRUE(registry.Empty());
  EXPECT_TRUE(registry.Journal().empty());
}

TEST_F(RegistryTest, RefusesTheSameRecordTwice) {
  TestType blob("blob");
  EXPECT_THROW(Register_Type(&blob, kTypeHostArea, "blob", 8, &DestroyBlob, nullptr, nullptr),
               RegistrationError);
  EXPECT_EQ(1u, registry.RecordCount());
}

TEST_F(RegistryTest, InjectedFailureRefusesExactlyTheCountedRegistration) {
  registry.FailRegistrationAfter(2);
  TestType first("first");
  EXPECT_THROW(TestType("second"), RegistrationError);
  TestType third("third");
  EXPECT_EQ(2u, registry.RecordCount());
  EXPECT_NE(nullptr, registry.FindType("third"));
}

TEST_F(RegistryTest, ListsEverythingInRegistrationOrder) {
  TestType b("b");
  TestType a("a");
  TestProperty second("second", "seconds", "", "a");
  TestProperty first("first", "firsts", "", "b");
  auto const types = registry.Types();
  ASSERT_EQ(2u, types.size());
  EXPECT_EQ("b", types[0]->name);
  EXPECT_EQ("a", types[1]->name);
  auto const properties = registry.Properties();
  ASSERT_EQ(2u, properties.size());
  EXPECT_EQ("second", properties[0]->singular);
  EXPECT_EQ("first", properties[1]->singular);
}

}  // namespace
