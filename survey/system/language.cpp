#include "survey/system/language.h"

#include <clocale>
#include <cstring>

#include "survey/frame/table.h"

namespace {

struct CodeName {
  char code[3];
  char const* name;
};

// Two-letter country codes with their English short names, sorted by code.
CodeName const kCountries[] = {
    {"AD", "Andorra"},
    {"AE", "United Arab Emirates"},
    {"AF", "Afghanistan"},
    {"AG", "Antigua and Barbuda"},
    {"AI", "Anguilla"},
    {"AL", "Albania"},
    {"AM", "Armenia"},
    {"AN", "Netherlands Antilles"},
    {"AO", "Angola"},
    {"AQ", "Antarctica"},
    {"AR", "Argentina"},
    {"AS", "American Samoa"},
    {"AT", "Austria"},
    {"AU", "Australia"},
    {"AW", "Aruba"},
    {"AX", "\xC5land Islands"},
    {"AZ", "Azerbaijan"},
    {"BA", "Bosnia and Herzegovina"},
    {"BB", "Barbados"},
    {"BD", "Bangladesh"},
    {"BE", "Belgium"},
    {"BF", "Burkina Faso"},
    {"BG", "Bulgaria"},
    {"BH", "Bahrain"},
    {"BI", "Burundi"},
    {"BJ", "Benin"},
    {"BM", "Bermuda"},
    {"BN", "Brunei Darussalam"},
    {"BO", "Bolivia"},
    {"BR", "Brazil"},
    {"BS", "Bahamas"},
    {"BT", "Bhutan"},
    {"BV", "Bouvet Island"},
    {"BW", "Botswana"},
    {"BY", "Belarus"},
    {"BZ", "Belize"},
    {"CA", "Canada"},
    {"CC", "Cocos (Keeling) Islands"},
    {"CD", "Congo, the Democratic Republic of the"},
    {"CF", "Central African Republic"},
    {"CG", "Congo"},
    {"CH", "Switzerland"},
    {"CI", "Cote D'Ivoire"},
    {"CK", "Cook Islands"},
    {"CL", "Chile"},
    {"CM", "Cameroon"},
    {"CN", "China"},
    {"CO", "Colombia"},
    {"CR", "Costa Rica"},
    {"CS", "Serbia and Montenegro"},
    {"CU", "Cuba"},
    {"CV", "Cape Verde"},
    {"CX", "Christmas Island"},
    {"CY", "Cyprus"},
    {"CZ", "Czech Republic"},
    {"DE", "Germany"},
    {"DJ", "Djibouti"},
    {"DK", "Denmark"},
    {"DM", "Dominica"},
    {"DO", "Dominican Republic"},
    {"DZ", "Algeria"},
    {"EC", "Ecuador"},
    {"EE", "Estonia"},
    {"EG", "Egypt"},
    {"EH", "Western Sahara"},
    {"ER", "Eritrea"},
    {"ES", "Spain"},
    {"ET", "Ethiopia"},
    {"FI", "Finland"},
    {"FJ", "Fiji"},
    {"FK", "Falkland Islands (Malvinas)"},
    {"FM", "Micronesia, Federated States of"},
    {"FO", "Faroe Islands"},
    {"FR", "France"},
    {"GA", "Gabon"},
    {"GB", "United Kingdom"},
    {"GD", "Grenada"},
    {"GE", "Georgia"},
    {"GF", "French Guiana"},
    {"GH", "Ghana"},
    {"GI", "Gibraltar"},
    {"GL", "Greenland"},
    {"GM", "Gambia"},
    {"GN", "Guinea"},
    {"GP", "Guadeloupe"},
    {"GQ", "Equatorial Guinea"},
    {"GR", "Greece"},
    {"GS", "South Georgia and the South Sandwich Islands"},
    {"GT", "Guatemala"},
    {"GU", "Guam"},
    {"GW", "Guinea-bissau"},
    {"GY", "Guyana"},
    {"HK", "Hong Kong"},
    {"HM", "Heard Island and Mcdonald Islands"},
    {"HN", "Honduras"},
    {"HR", "Croatia"},
    {"HT", "Haiti"},
    {"HU", "Hungary"},
    {"ID", "Indonesia"},
    {"IE", "Ireland"},
    {"IL", "Israel"},
    {"IN", "India"},
    {"IO", "British Indian Ocean Territory"},
    {"IQ", "Iraq"},
    {"IR", "Iran, Islamic Republic of"},
    {"IS", "Iceland"},
    {"IT", "Italy"},
    {"JM", "Jamaica"},
    {"JO", "Jordan"},
    {"JP", "Japan"},
    {"KE", "Kenya"},
    {"KG", "Kyrgyzstan"},
    {"KH", "Cambodia"},
    {"KI", "Kiribati"},
    {"KM", "Comoros"},
    {"KN", "Saint Kitts and Nevis"},
    {"KP", "Korea, Democratic People's Republic of"},
    {"KR", "Korea, Republic of"},
    {"KW", "Kuwait"},
    {"KY", "Cayman Islands"},
    {"KZ", "Kazakhstan"},
    {"LA", "Lao People's Democratic Republic"},
    {"LB", "Lebanon"},
    {"LC", "Saint Lucia"},
    {"LI", "Liechtenstein"},
    {"LK", "Sri Lanka"},
    {"LR", "Liberia"},
    {"LS", "Lesotho"},
    {"LT", "Lithuania"},
    {"LU", "Luxembourg"},
    {"LV", "Latvia"},
    {"LY", "Libyan Arab Jamahiriya"},
    {"MA", "Morocco"},
    {"MC", "Monaco"},
    {"MD", "Moldova, Republic of"},
    {"MG", "Madagascar"},
    {"MH", "Marshall Islands"},
    {"MK", "Macedonia, the Former Yugoslav Republic of"},
    {"ML", "Mali"},
    {"MM", "Myanmar"},
    {"MN", "Mongolia"},
    {"MO", "Macao"},
    {"MP", "Northern Mariana Islands"},
    {"MQ", "Martinique"},
    {"MR", "Mauritania"},
    {"MS", "Montserrat"},
    {"MT", "Malta"},
    {"MU", "Mauritius"},
    {"MV", "Maldives"},
    {"MW", "Malawi"},
    {"MX", "Mexico"},
    {"MY", "Malaysia"},
    {"MZ", "Mozambique"},
    {"NA", "Namibia"},
    {"NC", "New Caledonia"},
    {"NE", "Niger"},
    {"NF", "Norfolk Island"},
    {"NG", "Nigeria"},
    {"NI", "Nicaragua"},
    {"NL", "Netherlands"},
    {"NO", "Norway"},
    {"NP", "Nepal"},
    {"NR", "Nauru"},
    {"NU", "Niue"},
    {"NZ", "New Zealand"},
    {"OM", "Oman"},
    {"PA", "Panama"},
    {"PE", "Peru"},
    {"PF", "French Polynesia"},
    {"PG", "Papua New Guinea"},
    {"PH", "Philippines"},
    {"PK", "Pakistan"},
    {"PL", "Poland"},
    {"PM", "Saint Pierre and Miquelon"},
    {"PN", "Pitcairn"},
    {"PR", "Puerto Rico"},
    {"PS", "Palestinian Territory, Occupied"},
    {"PT", "Portugal"},
    {"PW", "Palau"},
    {"PY", "Paraguay"},
    {"QA", "Qatar"},
    {"RE", "Reunion"},
    {"RO", "Romania"},
    {"RU", "Russian Federation"},
    {"RW", "Rwanda"},
    {"SA", "Saudi Arabia"},
    {"SB", "Solomon Islands"},
    {"SC", "Seychelles"},
    {"SD", "Sudan"},
    {"SE", "Sweden"},
    {"SG", "Singapore"},
    {"SH", "Saint Helena"},
    {"SI", "Slovenia"},
    {"SJ", "Svalbard and Jan Mayen"},
    {"SK", "Slovakia"},
    {"SL", "Sierra Leone"},
    {"SM", "San Marino"},
    {"SN", "Senegal"},
    {"SO", "Somalia"},
    {"SR", "Suriname"},
    {"ST", "Sao Tome and Principe"},
    {"SV", "El Salvador"},
    {"SY", "Syrian Arab Republic"},
    {"SZ", "Swaziland"},
    {"TC", "Turks and Caicos Islands"},
    {"TD", "Chad"},
    {"TF", "French Southern Territories"},
    {"TG", "Togo"},
    {"TH", "Thailand"},
    {"TJ", "Tajikistan"},
    {"TK", "Tokelau"},
    {"TL", "Timor-Leste"},
    {"TM", "Turkmenistan"},
    {"TN", "Tunisia"},
    {"TO", "Tonga"},
    {"TR", "Turkey"},
    {"TT", "Trinidad and Tobago"},
    {"TV", "Tuvalu"},
    {"TW", "Taiwan, Province of China"},
    {"TZ", "Tanzania, United Republic of"},
    {"UA", "Ukraine"},
    {"UG", "Uganda"},
    {"UM", "United States Minor Outlying Islands"},
    {"US", "United States"},
    {"UY", "Uruguay"},
    {"UZ", "Uzbekistan"},
    {"VA", "Holy See (Vatican City State)"},
    {"VC", "Saint Vincent and the Grenadines"},
    {"VE", "Venezuela"},
    {"VG", "Virgin Islands, British"},
    {"VI", "Virgin Islands, U.S."},
    {"VN", "Viet Nam"},
    {"VU", "Vanuatu"},
    {"WF", "Wallis and Futuna"},
    {"WS", "Samoa"},
    {"YE", "Yemen"},
    {"YT", "Mayotte"},
    {"ZA", "South Africa"},
    {"ZM", "Zambia"},
    {"ZW", "Zimbabwe"},
};

// Two-letter language codes of the old list with their English names,
// sorted by code.
CodeName const kLanguages[] = {
    {"aa", "Afar"},       {"ab", "Abkhazian"},    {"af", "Afrikaans"},   {"am", "Amharic"},
    {"ar", "Arabic"},     {"as", "Assamese"},     {"ay", "Aymara"},      {"az", "Azerbaijani"},
    {"ba", "Bashkir"},    {"be", "Byelorussian"}, {"bg", "Bulgarian"},   {"bh", "Bihari"},
    {"bi", "Bislama"},    {"bn", "Bengali"},      {"bo", "Tibetan"},     {"br", "Breton"},
    {"ca", "Catalan"},    {"co", "Corsican"},     {"cs", "Czech"},       {"cy", "Welsh"},
    {"da", "Danish"},     {"de", "German"},       {"dz", "Bhutani"},     {"el", "Greek"},
    {"en", "English"},    {"eo", "Esperanto"},    {"es", "Spanish"},     {"et", "Estonian"},
    {"eu", "Basque"},     {"fa", "Persian"},      {"fi", "Finnish"},     {"fj", "Fiji"},
    {"fo", "Faeroese"},   {"fr", "French"},       {"fy", "Frisian"},     {"ga", "Irish"},
    {"gd", "Gaelic"},     {"gl", "Galician"},     {"gn", "Guarani"},     {"gu", "Gujarati"},
    {"ha", "Hausa"},      {"hi", "Hindi"},        {"hr", "Croatian"},    {"hu", "Hungarian"},
    {"hy", "Armenian"},   {"ia", "Interlingua"},  {"ie", "Interlingue"}, {"ik", "Inupiak"},
    {"in", "Indonesian"}, {"is", "Icelandic"},    {"it", "Italian"},     {"iw", "Hebrew"},
    {"ja", "Japanese"},   {"ji", "Yiddish"},      {"jw", "Javanese"},    {"ka", "Georgian"},
    {"kk", "Kazakh"},     {"kl", "Greenlandic"},  {"km", "Cambodian"},   {"kn", "Kannada"},
    {"ko", "Korean"},     {"ks", "Kashmiri"},     {"ku", "Kurdish"},     {"ky", "Kirghiz"},
    {"la", "Latin"},      {"ln", "Lingala"},      {"lo", "Laothian"},    {"lt", "Lithuanian"},
    {"lv", "Latvian"},    {"mg", "Malagasy"},     {"mi", "Maori"},       {"mk", "Macedonian"},
    {"ml", "Malayalam"},  {"mn", "Mongolian"},    {"mo", "Moldavian"},   {"mr", "Marathi"},
    {"ms", "Malay"},      {"mt", "Maltese"},      {"my", "Burmese"},     {"na", "Nauru"},
    {"ne", "Nepali"},     {"nl", "Dutch"},        {"no", "Norwegian"},   {"oc", "Occitan"},
    {"om", "Oromo"},      {"or", "Oriya"},        {"pa", "Punjabi"},     {"pl", "Polish"},
    {"ps", "Pashto"},     {"pt", "Portuguese"},   {"qu", "Quechua"},     {"rm", "Rhaeto-Romance"},
    {"rn", "Kirundi"},    {"ro", "Romanian"},     {"ru", "Russian"},     {"rw", "Kinyarwanda"},
    {"sa", "Sanskrit"},   {"sd", "Sindhi"},       {"sg", "Sangro"},      {"sh", "Serbo-Croatian"},
    {"si", "Singhalese"}, {"sk", "Slovak"},       {"sl", "Slovenian"},   {"sm", "Samoan"},
    {"sn", "Shona"},      {"so", "Somali"},       {"sq", "Albanian"},    {"sr", "Serbian"},
    {"ss", "Siswati"},    {"st", "Sesotho"},      {"su", "Sudanese"},    {"sv", "Swedish"},
    {"sw", "Swahili"},    {"ta", "Tamil"},        {"te", "Tegulu"},      {"tg", "Tajik"},
    {"th", "Thai"},       {"ti", "Tigrinya"},     {"tk", "Turkmen"},     {"tl", "Tagalog"},
    {"tn", "Setswana"},   {"to", "Tonga"},        {"tr", "Turkish"},     {"ts", "Tsonga"},
    {"tt", "Tatar"},      {"tw", "Twi"},          {"uk", "Ukrainian"},   {"ur", "Urdu"},
    {"uz", "Uzbek"},      {"vi", "Vietnamese"},   {"vo", "Volapuk"},     {"wo", "Wolof"},
    {"xh", "Xhosa"},      {"yo", "Yoruba"},       {"zh", "Chinese"},     {"zu", "Zulu"},
};

static_assert(sizeof kCountries / sizeof kCountries[0] == 240, "the country table has 240 codes");
static_assert(sizeof kLanguages / sizeof kLanguages[0] == 136, "the language table has 136 codes");

template <unsigned long N>
char const* Lookup(CodeName const (&table)[N], char const* code, char first, char last) {
  if (code == nullptr || code[0] < first || code[0] > last) return nullptr;
  // The first byte is a letter, so not the terminator: the second may be read.
  if (code[1] < first || code[1] > last) return nullptr;
  for (CodeName const& entry : table) {
    if (entry.code[0] == code[0] && entry.code[1] == code[1]) return entry.name;
  }
  return nullptr;
}

surveyor_string Copy(char const* text, unsigned long length) {
  unsigned char* const bytes = Allocate_Surveyor_Memory(length);
  std::memcpy(bytes, text, length);
  return surveyor_string{bytes, length};
}

}  // namespace

char const* GetCountryName(char const* code) { return Lookup(kCountries, code, 'A', 'Z'); }

char const* GetLanguageName(char const* code) { return Lookup(kLanguages, code, 'a', 'z'); }

Fingerprinter& operator<<(Fingerprinter& fingerprinter, language const& value) {
  Fingerprint_Byte_Range(fingerprinter, value.code, value.code + sizeof value.code);
  Fingerprint_Byte_Range(fingerprinter, value.country, value.country + sizeof value.country);
  return fingerprinter;
}

Fingerprinter& operator<<(Fingerprinter& fingerprinter, primary_language const& value) {
  Fingerprint_Byte_Range(fingerprinter, value.code, value.code + sizeof value.code);
  return fingerprinter;
}

language system_locale_of_world() {
  char const* const name = std::setlocale(LC_CTYPE, nullptr);
  if (name == nullptr) throw NoSuchObject();
  unsigned long const length = std::strlen(name);
  if (length < 2) throw NoSuchObject();
  language result;
  result.platformId = Stringy(name, length);
  result.code[0] = name[0];
  result.code[1] = name[1];
  if (length >= 5 && name[2] == '_') {
    result.country[0] = name[3];
    result.country[1] = name[4];
  }
  return result;
}

surveyor_string system_language_of_world() { return AsString(system_locale_of_world()); }

primary_language primary_language_of_language(language const& value) {
  primary_language result;
  if (std::strlen(value.code) >= 2) {
    result.code[0] = value.code[0];
    result.code[1] = value.code[1];
  }
  return result;
}

surveyor_string platform_id_of_language(language const& value) {
  ConstData const id = value.platformId.AsConstData();
  return surveyor_string{id.begin, id.Length()};
}

surveyor_string AsString(language const& value) {
  char const* const name = GetLanguageName(value.code);
  if (name == nullptr) throw NoSuchObject();
  char const* const country = GetCountryName(value.country);
  unsigned long const nameLength = std::strlen(name);
  if (country == nullptr) return Copy(name, nameLength);
  unsigned long const countryLength = std::strlen(country);
  unsigned long const length = nameLength + 2 + countryLength + 1;
  unsigned char* const text = Allocate_Surveyor_Memory(length);
  std::memcpy(text, name, nameLength);
  std::memcpy(text + nameLength, " (", 2);
  std::memcpy(text + nameLength + 2, country, countryLength);
  text[length - 1] = ')';
  return surveyor_string{text, length};
}

surveyor_string AsString(primary_language const& value) {
  char const* const name = GetLanguageName(value.code);
  if (name == nullptr) throw NoSuchObject();
  return Copy(name, std::strlen(name));
}

// ---------------------------------------------------------------------------
// Registration, in table order. The locale can change between evaluations,
// so the world properties are not reusable.

namespace {

RegistrationTable table{
    FingerprintedTypeRow<language>(),
    FingerprintedTypeRow<primary_language>(),
    PropertyRow("system locale", "system locales", &system_locale_of_world),
    PropertyRow("system ui language", "system ui languages", &system_locale_of_world),
    PropertyRow("system language", "system languages", &system_language_of_world),
    PropertyRow("primary language", "primary languages", &primary_language_of_language),
    PropertyRow("platform id", "platform ids", &platform_id_of_language),
    CastRow<language>("string", &AsString, &DependsOnlyOnParameters),
    CastRow<primary_language>("string", &AsString),
};

}  // namespace
