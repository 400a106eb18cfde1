// The site's type and its banners, and the site record as the host's maker
// builds it, without a host context.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "survey/client/sites.h"

namespace {

std::string Text(Stringy const& text) { return std::string(text.CString()); }

TEST(SiteTypeTest, AnOperatorBannerGivesItsNumberAndNameAndComesBackTheSame) {
  SiteType const type(">Operator Action Site:12:bob");
  EXPECT_TRUE(type.action);
  EXPECT_TRUE(type.isOperator);
  EXPECT_FALSE(type.custom);
  EXPECT_EQ(12u, type.GetSequenceNumber());
  EXPECT_EQ("bob", Text(type.GetOperatorName()));
  EXPECT_EQ(">Operator Action Site:12:bob", Text(type.AsString()));
}

TEST(SiteTypeTest, AnOperatorBannerWithoutItsSecondColonIsAPlainSite) {
  SiteType const type(">Operator Action Site:12");
  EXPECT_FALSE(type.action);
  EXPECT_FALSE(type.isOperator);
  EXPECT_FALSE(type.custom);
  EXPECT_EQ(">Nudge Remote Site", Text(type.AsString()));
}

TEST(SiteTypeTest, AnOperatorNumberThatIsNotDecimalIsAPlainSite) {
  for (char const* banner : {">Operator Action Site:x:bob", ">Operator Action Site::bob",
                             ">Operator Action Site12:bob", ">Operator Action Site:1x:bob"}) {
    SiteType const type(banner);
    EXPECT_FALSE(type.action) << banner;
    EXPECT_FALSE(type.isOperator) << banner;
    EXPECT_EQ(">Nudge Remote Site", Text(type.AsString())) << banner;
  }
}

TEST(SiteTypeTest, AnOperatorNumberPastTheReadersLimitIsAPlainSite) {
  // 4294967195 may not take another digit; 4294967194 may.
  EXPECT_FALSE(SiteType(">Operator Action Site:42949671950:bob").isOperator);
  SiteType const largest(">Operator Action Site:4294967194:bob");
  EXPECT_TRUE(largest.isOperator);
  EXPECT_EQ(4294967194u, largest.GetSequenceNumber());
}

TEST(SiteTypeTest, ACustomBannerWithAnEmptyTagIsACustomSite) {
  SiteType const type(">Custom Site:");
  EXPECT_TRUE(type.custom);
  EXPECT_FALSE(type.action);
  EXPECT_EQ("", Text(type.GetCustomSiteTag()));
  EXPECT_EQ(">Custom Site:", Text(type.AsString()));
}

TEST(SiteTypeTest, ACustomBannerKeepsItsTag) {
  SiteType const type(">Custom Site:a:b");
  EXPECT_TRUE(type.custom);
  EXPECT_EQ("a:b", Text(type.GetCustomSiteTag()));
}

TEST(SiteTypeTest, TheBannersWithoutTheirColonAndOtherTextsArePlainSites) {
  for (char const* banner : {">Custom Site", ">Custom Sitex", ">Master Action Site ", "",
                             ">Nudge Remote Site:", "anything"}) {
    SiteType const type(banner);
    EXPECT_FALSE(type.action || type.custom || type.isOperator) << banner;
  }
  EXPECT_FALSE(SiteType(static_cast<char const*>(nullptr)).action);
}

TEST(SiteTypeTest, TheMasterBannerIsAnActionSiteAlone) {
  SiteType const type(">Master Action Site");
  EXPECT_TRUE(type.action);
  EXPECT_FALSE(type.isOperator);
  EXPECT_EQ(">Master Action Site", Text(type.AsString()));
}

TEST(SiteTypeTest, ACustomTagMakesACustomSiteThatIsNeverAnActionSite) {
  SiteType const custom(true, 5, "bob", "tag");
  EXPECT_TRUE(custom.custom);
  EXPECT_FALSE(custom.action);
  EXPECT_FALSE(custom.isOperator);
  SiteType const operatorSite(true, 5, "bob", "");
  EXPECT_TRUE(operatorSite.action);
  EXPECT_TRUE(operatorSite.isOperator);
  EXPECT_EQ(">Operator Action Site:5:bob", Text(operatorSite.AsString()));
  SiteType const master(true, 0, "", nullptr);
  EXPECT_TRUE(master.action);
  EXPECT_FALSE(master.isOperator);
  SiteType const plain(false, 5, "bob", "tag");
  EXPECT_FALSE(plain.action || plain.custom || plain.isOperator);
}

TEST(SiteTypeTest, TheCachedTextStaysUntilTheMasterTypeIsSet) {
  SiteType type(">Custom Site:abc");
  EXPECT_EQ(">Custom Site:abc", Text(type.AsString()));
  type.customTag = Stringy("changed");
  EXPECT_EQ(">Custom Site:abc", Text(type.AsString())) << "the cache is kept";
  type.SetMasterActionType();
  EXPECT_TRUE(type.action);
  EXPECT_FALSE(type.custom);
  EXPECT_EQ("", Text(type.GetCustomSiteTag()));
  EXPECT_EQ(">Master Action Site", Text(type.AsString()));
}

SurveySiteDescription Description(char const* url, std::vector<std::uint32_t> const& versions) {
  return SurveySiteDescription{"/client/__Global/s", "s", url, ">Nudge Remote Site", 9,
                               1000000, 2000000, 0, 7, versions.data(),
                               static_cast<unsigned long>(versions.size()), 60, 120};
}

TEST(SiteMapTest, AShortVersionListIsPaddedWithZeroes) {
  std::vector<std::uint32_t> const versions{5, 6, 7};
  SurveySiteDescription const description = Description("http://h/t", versions);
  SiteMap* const record = SurveyNewSite(&description, nullptr);
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(5u, record->versions[0]);
  EXPECT_EQ(6u, record->versions[1]);
  EXPECT_EQ(7u, record->versions[2]);
  for (unsigned k = 3; k < kSiteVersionCount; ++k) EXPECT_EQ(0u, record->versions[k]) << k;
  EXPECT_EQ(nullptr, record->next);
  SurveyDeleteSite(record);
}

TEST(SiteMapTest, MoreThanTheListHoldsIsCutAt128) {
  std::vector<std::uint32_t> versions(200);
  for (std::uint32_t k = 0; k < versions.size(); ++k) versions[k] = k + 1;
  SurveySiteDescription const description = Description("http://h/t", versions);
  SiteMap* const record = SurveyNewSite(&description, nullptr);
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(128u, record->versions[127]);
  SurveyDeleteSite(record);
}

TEST(SiteMapTest, TheRecordCopiesEverythingAndDecodesItsUrl) {
  SurveySiteDescription const description = Description("http://h/a%20b/%zz#f", {});
  SiteMap* const second = SurveyNewSite(&description, nullptr);
  SiteMap* const record = SurveyNewSite(&description, second);
  ASSERT_NE(nullptr, record);
  EXPECT_EQ(second, record->next);
  EXPECT_STREQ("/client/__Global/s", record->folder.FullPathName());
  EXPECT_EQ("s", Text(record->name));
  EXPECT_EQ("http://h/a b/%zz#f", Text(record->SiteLocatorDecoded()));
  EXPECT_EQ(9u, record->identity);
  EXPECT_EQ(1000000, record->subscribeTime.microseconds);
  EXPECT_EQ(2000000, record->lastGatherTime.microseconds);
  EXPECT_EQ(7u, record->version);
  EXPECT_EQ(60u, record->publisherInterval);
  EXPECT_EQ(120u, record->customInterval);
  record->SetSiteLocator(URL(ConstData("s://x/%41")));
  EXPECT_EQ("s://x/A", Text(record->SiteLocatorDecoded()));
  SurveyDeleteSite(record);
  SurveyDeleteSite(second);
  SurveyDeleteSite(nullptr);
  EXPECT_EQ(nullptr, SurveyNewSite(nullptr, nullptr));
}

}  // namespace
