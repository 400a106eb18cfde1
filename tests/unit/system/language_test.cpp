// The system language. Locales are compiled for the test into a folder of its
// own with `localedef`, and the test process takes each one as the `locale`
// command reports it for the same LANG.
#include "survey/system/language.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "host/engine/evaluation.h"
#include "host/engine/registry.h"
#include "tests/support/shell.h"

namespace {

using survey::testing::Output;

using survey::host::Evaluation;
using survey::host::RecordKind;
using survey::host::Registry;
using survey::host::RegistryEvent;

std::string Text(surveyor_string text) {
  return std::string(reinterpret_cast<char const*>(text.data), text.length);
}

class SystemLanguage : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    char pattern[] = "/tmp/survey-locales-XXXXXX";
    if (mkdtemp(pattern) != nullptr) folder_ = pattern;
    setenv("LOCPATH", folder_.c_str(), 1);
  }
  static void TearDownTestSuite() {
    std::setlocale(LC_CTYPE, "C");
    unsetenv("LOCPATH");
    if (!folder_.empty()) Output("rm -rf '" + folder_ + "'");
  }
  void TearDown() override { std::setlocale(LC_CTYPE, "C"); }

  // Texts are made in the evaluation's memory.
  Evaluation evaluation_{Registry::Default()};
  Evaluation::Scope scope_{evaluation_};

  // Compiles the source locale under the name, and makes it the process's
  // character locale as `locale` names it under LANG=name. False, with the
  // reason in `why`, when the machine cannot.
  static bool Take(char const* source, char const* name, std::string& why) {
    std::string const target = folder_ + "/" + name;
    Output(std::string("localedef -i ") + source + " -f UTF-8 '" + target + "' 2>/dev/null");
    std::string const report =
        Output("env -i LOCPATH='" + folder_ + "' LANG='" + name + "' locale 2>/dev/null");
    std::string const wanted = std::string("LC_CTYPE=\"") + name + "\"";
    if (report.find(wanted) == std::string::npos) {
      why = std::string("locale ") + name + " cannot be made here (localedef from " + source +
            "): locale says " + report;
      return false;
    }
    if (std::setlocale(LC_CTYPE, name) == nullptr) {
      why = std::string("setlocale refuses ") + name;
      return false;
    }
    return true;
  }

  static std::string folder_;
};

std::string SystemLanguage::folder_;

#define TAKE_OR_SKIP(source, name)                 \
  do {                                             \
    std::string why;                               \
    if (!Take(source, name, why)) GTEST_SKIP() << why; \
  } while (0)

TEST_F(SystemLanguage, CountryAndLanguageNames) {
  TAKE_OR_SKIP("de_CH", "de_CH.UTF-8");
  language const locale = system_locale_of_world();
  EXPECT_STREQ(locale.code, "de");
  EXPECT_STREQ(locale.country, "CH");
  EXPECT_EQ(Text(platform_id_of_language(locale)), "de_CH.UTF-8");
  EXPECT_EQ(Text(AsString(locale)), "German (Switzerland)");
  EXPECT_EQ(Text(system_language_of_world()), "German (Switzerland)");
  primary_language const primary = primary_language_of_language(locale);
  EXPECT_STREQ(primary.code, "de");
  EXPECT_EQ(Text(AsString(primary)), "German");
}

TEST_F(SystemLanguage, LanguageAloneHasNoCountry) {
  TAKE_OR_SKIP("de_DE", "de");
  language const locale = system_locale_of_world();
  EXPECT_STREQ(locale.country, "");
  EXPECT_EQ(Text(system_language_of_world()), "German");
}

TEST_F(SystemLanguage, CountryOfSmallLettersIsLeftOut) {
  TAKE_OR_SKIP("en_US", "en_us.UTF-8");
  language const locale = system_locale_of_world();
  EXPECT_STREQ(locale.country, "us");
  EXPECT_EQ(Text(system_language_of_world()), "English");
}

TEST_F(SystemLanguage, UnknownLanguageHasNoName) {
  TAKE_OR_SKIP("id_ID", "id_ID.UTF-8");
  language const locale = system_locale_of_world();
  EXPECT_STREQ(locale.code, "id");
  EXPECT_STREQ(locale.country, "ID");
  EXPECT_THROW(AsString(locale), NoSuchObject);
  EXPECT_THROW(system_language_of_world(), NoSuchObject);
  EXPECT_THROW(AsString(primary_language_of_language(locale)), NoSuchObject);
}

TEST_F(SystemLanguage, TheCLocaleHasNone) {
  ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
  std::string const report = Output("env -i LANG=C locale");
  ASSERT_NE(report.find("LC_CTYPE=\"C\""), std::string::npos) << report;
  EXPECT_THROW(system_locale_of_world(), NoSuchObject);
  EXPECT_THROW(system_language_of_world(), NoSuchObject);
}

TEST_F(SystemLanguage, AGarbageLocaleNameIsRefused) {
  // The C library refuses the name and the process keeps its locale.
  std::string const garbage = "\xff\x01zz_??.nowhere@" + std::string(300, 'x');
  EXPECT_EQ(std::setlocale(LC_CTYPE, garbage.c_str()), nullptr);
  EXPECT_THROW(system_locale_of_world(), NoSuchObject);
}

TEST(LanguageCodes, Lookups) {
  EXPECT_STREQ(GetCountryName("CH"), "Switzerland");
  EXPECT_STREQ(GetCountryName("KR"), "Korea, Republic of");
  EXPECT_STREQ(GetCountryName("GW"), "Guinea-bissau");
  EXPECT_STREQ(GetCountryName("AX"), "\xC5land Islands");
  EXPECT_STREQ(GetCountryName("USA"), GetCountryName("US"));
  EXPECT_STREQ(GetLanguageName("te"), "Tegulu");
  EXPECT_STREQ(GetLanguageName("sg"), "Sangro");
  EXPECT_STREQ(GetLanguageName("iw"), "Hebrew");
  EXPECT_STREQ(GetLanguageName("in"), "Indonesian");
  EXPECT_EQ(GetLanguageName("he"), nullptr);
  EXPECT_EQ(GetLanguageName("yi"), nullptr);
  EXPECT_EQ(GetLanguageName("id"), nullptr);
  EXPECT_EQ(GetLanguageName("EN"), nullptr);
  EXPECT_EQ(GetCountryName("us"), nullptr);
  EXPECT_EQ(GetCountryName("ZZ"), nullptr);
  EXPECT_EQ(GetCountryName(nullptr), nullptr);
  EXPECT_EQ(GetLanguageName(nullptr), nullptr);
  EXPECT_EQ(GetCountryName(""), nullptr);
  EXPECT_EQ(GetLanguageName("e"), nullptr);
  EXPECT_EQ(GetLanguageName("\xe9n"), nullptr);
}

TEST(LanguageCodes, EveryCountryKeyHasAName) {
  // Every pair of capitals: exactly the 240 keys have names.
  int known = 0;
  char code[3] = {};
  for (char a = 'A'; a <= 'Z'; ++a) {
    for (char b = 'A'; b <= 'Z'; ++b) {
      code[0] = a;
      code[1] = b;
      if (GetCountryName(code) != nullptr) ++known;
    }
  }
  EXPECT_EQ(known, 240);
  int languages = 0;
  for (char a = 'a'; a <= 'z'; ++a) {
    for (char b = 'a'; b <= 'z'; ++b) {
      code[0] = a;
      code[1] = b;
      if (GetLanguageName(code) != nullptr) ++languages;
    }
  }
  EXPECT_EQ(languages, 136);
}

TEST(LanguageCodes, ShortLanguageCodeHasNoPrimaryLanguage) {
  Evaluation evaluation(Registry::Default());
  Evaluation::Scope scope(evaluation);
  language value;
  value.code[0] = 'e';
  EXPECT_STREQ(primary_language_of_language(value).code, "");
  EXPECT_THROW(AsString(primary_language_of_language(value)), NoSuchObject);
}

// The language unit's registrations run in one piece, from its type
// "language" to its second cast, whatever other units register around it.
TEST(LanguageRegistration, RegistersInTableOrder) {
  Registry const& registry = Registry::Default();
  std::vector<RegistryEvent> unit;
  int casts = 0;
  for (RegistryEvent const& event : registry.Journal()) {
    if (unit.empty() && !(event.kind == RecordKind::kType && event.name == "language")) continue;
    unit.push_back(event);
    if (event.kind == RecordKind::kCast && ++casts == 2) break;
  }
  std::vector<std::pair<RecordKind, std::string>> registered;
  for (RegistryEvent const& event : unit) {
    ASSERT_EQ(RegistryEvent::kRegistered, event.action);
    registered.emplace_back(event.kind, event.name);
  }
  EXPECT_EQ((std::vector<std::pair<RecordKind, std::string>>{
                {RecordKind::kType, "language"},
                {RecordKind::kType, "primary language"},
                {RecordKind::kProperty, "system locale"},
                {RecordKind::kProperty, "system ui language"},
                {RecordKind::kProperty, "system language"},
                {RecordKind::kProperty, "primary language"},
                {RecordKind::kProperty, "platform id"},
                {RecordKind::kCast, "string"},
                {RecordKind::kCast, "string"}}),
            registered);
  int found = 0;
  for (auto const* type : registry.Types()) {
    if (type->name == "language" || type->name == "primary language") {
      ++found;
      EXPECT_NE(nullptr, type->fingerprint) << type->name;
      EXPECT_EQ(type->name == "language" ? sizeof(language) : 3u, type->size);
    }
  }
  EXPECT_EQ(2, found);
  for (auto const* cast : registry.Casts()) {
    if (cast->source == "language") {
      EXPECT_EQ(&DependsOnlyOnParameters, cast->dependency);
    }
    if (cast->source == "primary language") {
      EXPECT_EQ(nullptr, cast->dependency);
    }
  }
  for (auto const* property : registry.Properties()) {
    if (property->object.empty() &&
        (property->singular == "system locale" || property->singular == "system ui language")) {
      EXPECT_EQ("language", property->result);
      EXPECT_EQ(property->singular == "system locale" ? "system locales" : "system ui languages",
                property->plural);
    }
  }
}

}  // namespace
