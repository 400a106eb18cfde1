#include "tools/survey/client_commands.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "host/client/certificates.h"
#include "host/client/client_folder.h"
#include "host/client/client_records.h"
#include "host/client/server_context.h"
#include "host/engine/errors.h"
#include "host/engine/host.h"
#include "host/client/usage_statistics.h"

namespace survey::tools {

namespace {

using client::ClientFolder;
using client::ClientFolderError;
using client::ClientRecords;
using client::ActionField;
using client::ActionParameterRecord;
using client::ActionRecord;
using client::CertificateRecord;
using client::ClientRecordSet;
using client::HostStateRecord;
using client::NudgeHeaderRecord;
using client::NudgeRecord;
using client::DatabaseError;
using client::RecordError;
using client::SettingRecord;
using client::SettingScope;
using client::SiteGroupRecord;
using client::SiteRecord;
using client::HostSelectorCodec;
using client::ServerRecordSet;
using client::UsageEventRecord;
using Json = nlohmann::ordered_json;

// Input that the command refuses before it reaches the records.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr char const* kCommandWords[] = {"setting", "site", "import", "export",
                                         "show",    "list", "--help", "-h"};

// The kinds of record that `list` shows.
constexpr char const* kListKinds[] = {"settings", "sites",   "actions",     "nudges",
                                      "administrators", "state", "analyses", "servers",
                                      "certificates", "usage"};

constexpr char const* kGatherOptions[] = {"publisher", "custom", "manual", "disabled"};

std::int64_t NowMicroseconds() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

// The stored key of a setting given on the command line: the client's keys
// are stored encoded, a site's as they are.
std::string StoredKey(std::string const& site, std::string const& name) {
  return site.empty() ? client::EncodedClientKey(name) : name;
}

SettingScope ScopeOf(std::string const& site) {
  return site.empty() ? SettingScope::kClient : SettingScope::kSites;
}

std::string SectionOf(std::string const& site) {
  return site.empty() ? std::string(client::kClientSection) : site;
}

// Writes a file whole under a temporary name beside it, then renames it into
// place, so that a reader sees the old file or the new one, never a part.
void WriteFileAtomically(std::string const& path, std::string const& bytes) {
  std::string const temporary = path + ".new." + std::to_string(getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.flush();
    if (!out) {
      std::remove(temporary.c_str());
      throw UsageError("cannot write " + path + ": " + std::strerror(errno));
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    int const error = errno;
    std::remove(temporary.c_str());
    throw UsageError("cannot write " + path + ": " + std::strerror(error));
  }
}

// Makes the folder of each site that lacks one.
void MakeSiteFolders(ClientFolder& folder, std::vector<SiteRecord> const& sites) {
  for (SiteRecord const& site : sites) {
    std::string const path = folder.SiteFolder(site.name);
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
      throw UsageError("cannot make the folder of the site " + site.name + ": " +
                       std::strerror(errno));
    }
  }
}

void WriteMasthead(ClientFolder& folder, std::string const& site, std::string const& text) {
  WriteFileAtomically(folder.SiteFolder(site) + "/" + client::kSiteMastheadName, text);
}

// ---------------------------------------------------------------------------
// JSON.

std::uint32_t Unsigned32(Json const& value, std::string const& what) {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > 0xFFFFFFFFull) {
    throw UsageError(what + " must be a whole number from 0 to 4294967295");
  }
  return static_cast<std::uint32_t>(value.get<std::uint64_t>());
}

std::int64_t Time(Json const& value, std::string const& what) {
  if (!value.is_number_integer()) {
    throw UsageError(what + " must be a whole number of microseconds since 1970 (UTC)");
  }
  return value.get<std::int64_t>();
}

std::string Text(Json const& value, std::string const& what) {
  if (!value.is_string()) throw UsageError(what + " must be a text");
  return value.get<std::string>();
}

std::uint32_t GatherOption(Json const& value) {
  if (value.is_string()) {
    std::string const text = value.get<std::string>();
    for (std::uint32_t option = 0; option < std::size(kGatherOptions); ++option) {
      if (text == kGatherOptions[option]) return option;
    }
    throw UsageError("a site's \"gather\" is publisher, custom, manual or disabled, not " + text);
  }
  return Unsigned32(value, "a site's \"gather\"");
}

void RefuseUnknownKeys(Json const& object, std::set<std::string> const& known,
                       std::string const& where) {
  for (auto const& [key, value] : object.items()) {
    if (known.count(key) == 0) throw UsageError("unknown key \"" + key + "\" in " + where);
  }
}

// One setting: a text is its value, an object gives value, date, deleted.
SettingRecord SettingOfJson(SettingScope scope, std::string const& section,
                            std::string const& name, Json const& value) {
  SettingRecord setting;
  setting.scope = scope;
  setting.section = section;
  setting.name = name;
  std::string const where = "the setting \"" + name + "\" of " + section;
  if (value.is_string()) {
    setting.value = value.get<std::string>();
    return setting;
  }
  if (!value.is_object()) throw UsageError(where + " must be a text or an object");
  RefuseUnknownKeys(value, {"value", "date", "deleted"}, where);
  if (value.contains("value")) setting.value = Text(value["value"], where + ": \"value\"");
  if (value.contains("date") && !value["date"].is_null()) {
    setting.date = Time(value["date"], where + ": \"date\"");
  }
  if (value.contains("deleted")) {
    if (!value["deleted"].is_boolean()) throw UsageError(where + ": \"deleted\" must be true or false");
    setting.deleted = value["deleted"].get<bool>();
  }
  return setting;
}

Json JsonOfSetting(SettingRecord const& setting) {
  Json entry = Json::object();
  entry["value"] = setting.value;
  entry["date"] = setting.date ? Json(*setting.date) : Json(nullptr);
  entry["deleted"] = setting.deleted;
  return entry;
}

void SettingsOfJson(SettingScope scope, std::string const& section, Json const& object,
                    std::vector<SettingRecord>& settings) {
  if (!object.is_object()) throw UsageError("the settings of " + section + " must be an object");
  for (auto const& [name, value] : object.items()) {
    settings.push_back(SettingOfJson(scope, section, name, value));
  }
}

std::uint64_t Unsigned64(Json const& value, std::string const& what);

// The nudges of a site, in the order of its list: each with its number, its
// relevance and its headers as [NAME, VALUE] pairs.
void NudgesOfJson(std::string const& site, Json const& list, std::vector<NudgeRecord>& nudges) {
  std::string const where = "the nudges of the site \"" + site + "\"";
  if (!list.is_array()) throw UsageError(where + " must be a list");
  std::uint32_t position = 0;
  for (Json const& entry : list) {
    if (!entry.is_object() || !entry.contains("id")) {
      throw UsageError(where + ": each nudge is an object with an \"id\"");
    }
    RefuseUnknownKeys(entry, {"id", "relevant", "headers"}, where + ": a nudge");
    if (position == 0xFFFFFFFFu) throw UsageError(where + " are too many");
    NudgeRecord nudge;
    nudge.site = site;
    nudge.position = position++;
    nudge.id = Unsigned64(entry["id"], where + ": a nudge's \"id\"");
    if (entry.contains("relevant")) {
      if (!entry["relevant"].is_boolean()) throw UsageError(where + ": \"relevant\" must be true or false");
      nudge.relevant = entry["relevant"].get<bool>();
    }
    if (entry.contains("headers")) {
      Json const& headers = entry["headers"];
      if (!headers.is_array()) throw UsageError(where + ": \"headers\" must be a list");
      for (Json const& header : headers) {
        if (!header.is_array() || header.size() != 2) {
          throw UsageError(where + ": each header is a list of a name and a value");
        }
        nudge.headers.push_back(NudgeHeaderRecord{Text(header[0], where + ": a header's name"),
                                                  Text(header[1], where + ": a header's value")});
      }
    }
    nudges.push_back(std::move(nudge));
  }
}

Json JsonOfNudges(std::string const& site, std::vector<NudgeRecord> const& nudges) {
  Json list = Json::array();
  for (NudgeRecord const& nudge : nudges) {
    if (nudge.site != site) continue;
    Json headers = Json::array();
    for (NudgeHeaderRecord const& header : nudge.headers) {
      headers.push_back(Json::array({header.name, header.value}));
    }
    list.push_back(Json{{"id", nudge.id}, {"relevant", nudge.relevant}, {"headers", headers}});
  }
  return list;
}

SiteRecord SiteOfJson(Json const& entry, std::vector<SettingRecord>& settings,
                      std::vector<std::pair<std::string, std::string>>& mastheads,
                      std::vector<NudgeRecord>& nudges) {
  if (!entry.is_object()) throw UsageError("each site must be an object");
  if (!entry.contains("name")) throw UsageError("a site has no \"name\"");
  SiteRecord site;
  site.name = Text(entry["name"], "a site's \"name\"");
  std::string const where = "the site \"" + site.name + "\"";
  RefuseUnknownKeys(entry,
                    {"name", "url", "type", "display name", "identity", "subscribe time",
                     "last gather time", "gather", "version", "versions", "publisher interval",
                     "custom interval", "groups", "settings", "masthead", "nudges"},
                    where);
  if (entry.contains("url")) site.url = Text(entry["url"], where + ": \"url\"");
  if (entry.contains("type")) site.type = Text(entry["type"], where + ": \"type\"");
  if (entry.contains("display name")) {
    site.displayName = Text(entry["display name"], where + ": \"display name\"");
  }
  if (entry.contains("identity")) site.identity = Unsigned32(entry["identity"], where + ": \"identity\"");
  if (entry.contains("subscribe time")) {
    site.subscribeTime = Time(entry["subscribe time"], where + ": \"subscribe time\"");
  }
  if (entry.contains("last gather time")) {
    site.lastGatherTime = Time(entry["last gather time"], where + ": \"last gather time\"");
  }
  if (entry.contains("gather")) site.gatherOption = GatherOption(entry["gather"]);
  if (entry.contains("version")) site.version = Unsigned32(entry["version"], where + ": \"version\"");
  if (entry.contains("versions")) {
    Json const& versions = entry["versions"];
    if (!versions.is_array()) throw UsageError(where + ": \"versions\" must be a list");
    for (Json const& version : versions) {
      site.versions.push_back(Unsigned32(version, where + ": a version"));
    }
  }
  if (entry.contains("publisher interval")) {
    site.publisherInterval = Unsigned32(entry["publisher interval"], where + ": \"publisher interval\"");
  }
  if (entry.contains("custom interval")) {
    site.customInterval = Unsigned32(entry["custom interval"], where + ": \"custom interval\"");
  }
  if (entry.contains("groups")) {
    Json const& groups = entry["groups"];
    if (!groups.is_array()) throw UsageError(where + ": \"groups\" must be a list");
    for (Json const& group : groups) {
      if (!group.is_object() || !group.contains("id")) {
        throw UsageError(where + ": each group is an object with an \"id\"");
      }
      RefuseUnknownKeys(group, {"id", "member"}, where + ": a group");
      if (!group["id"].is_number_unsigned()) throw UsageError(where + ": a group's \"id\" must be a whole number");
      SiteGroupRecord record;
      record.id = group["id"].get<std::uint64_t>();
      if (group.contains("member")) {
        if (!group["member"].is_boolean()) throw UsageError(where + ": \"member\" must be true or false");
        record.member = group["member"].get<bool>();
      }
      site.groups.push_back(record);
    }
  }
  if (entry.contains("settings")) {
    SettingsOfJson(SettingScope::kSites, site.name, entry["settings"], settings);
  }
  if (entry.contains("masthead")) {
    mastheads.emplace_back(site.name, Text(entry["masthead"], where + ": \"masthead\""));
  }
  if (entry.contains("nudges")) NudgesOfJson(site.name, entry["nudges"], nudges);
  return site;
}

Json JsonOfSite(SiteRecord const& site, std::vector<SettingRecord> const& settings,
               std::vector<NudgeRecord> const& nudges) {
  Json entry = Json::object();
  entry["name"] = site.name;
  entry["url"] = site.url;
  entry["type"] = site.type;
  entry["display name"] = site.displayName;
  entry["identity"] = site.identity;
  entry["subscribe time"] = site.subscribeTime;
  entry["last gather time"] = site.lastGatherTime;
  entry["gather"] = site.gatherOption < std::size(kGatherOptions)
                        ? Json(kGatherOptions[site.gatherOption])
                        : Json(site.gatherOption);
  entry["version"] = site.version;
  entry["versions"] = site.versions;
  entry["publisher interval"] = site.publisherInterval;
  entry["custom interval"] = site.customInterval;
  Json groups = Json::array();
  for (SiteGroupRecord const& group : site.groups) {
    groups.push_back(Json{{"id", group.id}, {"member", group.member}});
  }
  entry["groups"] = groups;
  Json own = Json::object();
  for (SettingRecord const& setting : settings) {
    if (setting.scope == SettingScope::kSites && setting.section == site.name) {
      own[setting.name] = JsonOfSetting(setting);
    }
  }
  entry["settings"] = own;
  entry["nudges"] = JsonOfNudges(site.name, nudges);
  return entry;
}

std::uint64_t Unsigned64(Json const& value, std::string const& what) {
  if (!value.is_number_unsigned()) {
    throw UsageError(what + " must be a whole number from 0 to 18446744073709551615");
  }
  return value.get<std::uint64_t>();
}

// One action: its number, whether it is the current one, its fields by
// name (flags as true or false, the others whole numbers, times in
// microseconds since 1970) and, for the current one, its parameters.
ActionRecord ActionOfJson(Json const& entry) {
  if (!entry.is_object()) throw UsageError("each action must be an object");
  if (!entry.contains("id")) throw UsageError("an action has no \"id\"");
  ActionRecord action;
  action.id = Unsigned64(entry["id"], "an action's \"id\"");
  std::string const where = "the action " + std::to_string(action.id);
  std::set<std::string> known{"id", "current", "parameters"};
  for (std::size_t k = 0; k < client::kActionFieldCount; ++k) {
    known.insert(client::InfoOf(static_cast<ActionField>(k)).name);
  }
  RefuseUnknownKeys(entry, known, where);
  if (entry.contains("current")) {
    if (!entry["current"].is_boolean()) throw UsageError(where + ": \"current\" must be true or false");
    action.current = entry["current"].get<bool>();
  }
  for (std::size_t k = 0; k < client::kActionFieldCount; ++k) {
    client::ActionFieldInfo const& info = client::InfoOf(static_cast<ActionField>(k));
    if (!entry.contains(info.name)) continue;
    Json const& value = entry[info.name];
    std::string const field = where + ": \"" + info.name + "\"";
    if (info.flag) {
      if (!value.is_boolean()) throw UsageError(field + " must be true or false");
      action.fields[k] = value.get<bool>() ? 1 : 0;
    } else {
      std::uint64_t const number = Unsigned64(value, field);
      if (number > info.maximum) {
        throw UsageError(field + " must be a whole number from 0 to " + std::to_string(info.maximum));
      }
      action.fields[k] = number;
    }
  }
  if (entry.contains("parameters")) {
    Json const& parameters = entry["parameters"];
    if (!parameters.is_object()) throw UsageError(where + ": \"parameters\" must be an object");
    for (auto const& [name, value] : parameters.items()) {
      action.parameters.push_back(
          ActionParameterRecord{name, Text(value, where + ": the parameter \"" + name + "\"")});
    }
  }
  return action;
}

Json JsonOfAction(ActionRecord const& action) {
  Json entry = Json::object();
  entry["id"] = action.id;
  entry["current"] = action.current;
  for (std::size_t k = 0; k < client::kActionFieldCount; ++k) {
    client::ActionFieldInfo const& info = client::InfoOf(static_cast<ActionField>(k));
    if (info.flag) {
      entry[info.name] = action.fields[k] != 0;
    } else {
      entry[info.name] = action.fields[k];
    }
  }
  Json parameters = Json::object();
  for (ActionParameterRecord const& parameter : action.parameters) {
    parameters[parameter.name] = parameter.value;
  }
  entry["parameters"] = parameters;
  return entry;
}

// ---------------------------------------------------------------------------
// The servers. The server list's entries are kept in their flattened form,
// which the surveyor library writes and reads: its functions are found among
// the loaded objects, and the library is loaded for them when none offers
// them yet.

std::string& LibraryPath() {
  static std::string path;
  return path;
}

HostSelectorCodec const& ServerCodec() {
  static HostSelectorCodec codec = HostSelectorCodec::Find();
  static std::unique_ptr<host::Host> loaded;
  if (codec.Found()) return codec;
  if (LibraryPath().empty()) {
    throw UsageError("the surveyor library, which writes and reads the server list, is not at hand");
  }
  loaded = std::make_unique<host::Host>();
  try {
    loaded->Load(LibraryPath());
  } catch (host::EvaluationError const& error) {
    loaded.reset();
    throw UsageError(std::string("the server list needs the surveyor library: ") + error.what());
  }
  codec = HostSelectorCodec::Find();
  if (!codec.Found()) {
    throw UsageError("the surveyor library " + LibraryPath() + " does not write server entries");
  }
  return codec;
}

std::uint32_t AddressOfText(Json const& value, std::string const& what) {
  if (!value.is_string()) throw UsageError(what + " must be an IPv4 address in dotted decimal");
  std::string const text = value.get<std::string>();
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
    throw UsageError(what + " must be an IPv4 address in dotted decimal, not " + text);
  }
  return ntohl(address.s_addr);
}

std::string TextOfAddress(std::uint32_t address) {
  return std::to_string(address >> 24) + "." + std::to_string((address >> 16) & 0xFF) + "." +
         std::to_string((address >> 8) & 0xFF) + "." + std::to_string(address & 0xFF);
}

std::uint64_t Bounded(Json const& value, std::uint64_t maximum, std::string const& what) {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > maximum) {
    throw UsageError(what + " must be a whole number from 0 to " + std::to_string(maximum));
  }
  return value.get<std::uint64_t>();
}

// The longest name of an entry, and the latest time: the flattened form
// keeps whole seconds in 32 bits.
constexpr std::size_t kMaximumServerNameLength = 1024;
constexpr std::int64_t kLatestServerTime = 4294967295LL * 1000000 + 999999;

// One entry of the server list, flattened by the library.
std::string ServerEntryOfJson(Json const& entry, std::size_t position, bool& selected) {
  std::string const where = "the server " + std::to_string(position) + " of the list";
  if (!entry.is_object()) throw UsageError(where + " must be an object");
  RefuseUnknownKeys(entry,
                    {"name", "time", "address", "port", "priority", "weight", "gateway count",
                     "distance", "competition size", "competition weight", "gateways", "selected"},
                    where);
  SurveyHostSelectorDescription description{};
  std::string name;
  if (entry.contains("name")) name = Text(entry["name"], where + ": \"name\"");
  if (name.size() > kMaximumServerNameLength) {
    throw UsageError(where + ": \"name\" is longer than " +
                     std::to_string(kMaximumServerNameLength) + " bytes");
  }
  description.name = name.data();
  description.nameLength = static_cast<unsigned long>(name.size());
  if (entry.contains("time")) {
    description.time = Time(entry["time"], where + ": \"time\"");
    if (description.time < 0 || description.time > kLatestServerTime) {
      throw UsageError(where + ": \"time\" must lie from 1970 to 2106 (0 to " +
                       std::to_string(kLatestServerTime) + " microseconds)");
    }
  }
  if (entry.contains("address")) {
    description.address = AddressOfText(entry["address"], where + ": \"address\"");
  }
  if (entry.contains("port")) {
    description.port = static_cast<std::uint32_t>(Bounded(entry["port"], 65535, where + ": \"port\""));
  }
  if (entry.contains("priority")) {
    description.priority =
        static_cast<std::uint16_t>(Bounded(entry["priority"], 65535, where + ": \"priority\""));
  }
  if (entry.contains("weight")) {
    description.weight =
        static_cast<std::uint16_t>(Bounded(entry["weight"], 65535, where + ": \"weight\""));
  }
  std::size_t gatewayCount = 0;
  if (entry.contains("gateways")) {
    Json const& gateways = entry["gateways"];
    if (!gateways.is_array() || gateways.size() > 20) {
      throw UsageError(where + ": \"gateways\" must be a list of at most 20 addresses");
    }
    for (Json const& gateway : gateways) {
      description.gateways[gatewayCount++] = AddressOfText(gateway, where + ": a gateway");
    }
  }
  description.gatewayCount = static_cast<std::uint8_t>(
      entry.contains("gateway count")
          ? Bounded(entry["gateway count"], 255, where + ": \"gateway count\"")
          : gatewayCount);
  description.distance = entry.contains("distance")
                             ? static_cast<std::uint8_t>(
                                   Bounded(entry["distance"], 255, where + ": \"distance\""))
                             : 255;
  if (entry.contains("competition size")) {
    description.competitionSize = static_cast<std::uint32_t>(
        Bounded(entry["competition size"], 0xFFFFFFFFu, where + ": \"competition size\""));
  }
  if (entry.contains("competition weight")) {
    description.competitionWeight = static_cast<std::uint32_t>(
        Bounded(entry["competition weight"], 0xFFFFFFFFu, where + ": \"competition weight\""));
  }
  if (entry.contains("selected")) {
    if (!entry["selected"].is_boolean()) throw UsageError(where + ": \"selected\" must be true or false");
    selected = entry["selected"].get<bool>();
  }
  HostSelectorCodec const& codec = ServerCodec();
  // The room the library's writer asks for: the name and 112 bytes.
  std::string flattened(name.size() + 112, '\0');
  unsigned long const written =
      codec.flatten(&description, reinterpret_cast<unsigned char*>(flattened.data()),
                    static_cast<unsigned long>(flattened.size()));
  if (written == 0) throw UsageError(where + " cannot be written in its flattened form");
  flattened.resize(written);
  return flattened;
}

// What the library reads back from an entry; throws when it is damaged.
SurveyHostSelectorDescription DescriptionOfEntry(std::string const& flattened,
                                                 std::string& name) {
  HostSelectorCodec const& codec = ServerCodec();
  std::unique_ptr<HostSelectorEntry, SurveyDeleteHostSelectorFunction> entry(
      codec.read(reinterpret_cast<unsigned char const*>(flattened.data()),
                 static_cast<unsigned long>(flattened.size())),
      codec.free);
  if (entry == nullptr) throw RecordError("an entry of the server list is damaged");
  SurveyHostSelectorDescription description{};
  codec.describe(entry.get(), &description);
  name.assign(description.name, description.nameLength);
  description.name = nullptr;
  return description;
}

// The gateways an entry shows: the first of its count, at most 20.
std::size_t ShownGateways(SurveyHostSelectorDescription const& description) {
  return std::min<std::size_t>(description.gatewayCount, 20);
}

Json JsonOfServerEntry(std::string const& flattened, bool selected) {
  std::string name;
  SurveyHostSelectorDescription const description = DescriptionOfEntry(flattened, name);
  Json entry = Json::object();
  entry["name"] = name;
  entry["time"] = description.time;
  entry["address"] = TextOfAddress(description.address);
  entry["port"] = description.port;
  entry["priority"] = description.priority;
  entry["weight"] = description.weight;
  entry["gateway count"] = description.gatewayCount;
  entry["distance"] = description.distance;
  entry["competition size"] = description.competitionSize;
  entry["competition weight"] = description.competitionWeight;
  Json gateways = Json::array();
  for (std::size_t k = 0; k < ShownGateways(description); ++k) {
    gateways.push_back(TextOfAddress(description.gateways[k]));
  }
  entry["gateways"] = gateways;
  entry["selected"] = selected;
  return entry;
}

// The servers of a fixture file:
//   { "registration server": { "name", "version" }, "relay": { "version" },
//     "root server": { "name", "id" }, "download server": { "name" },
//     "list": [ { "name", "time", "address", "port", ..., "selected" } ] }
ServerRecordSet ServersOfJson(Json const& object) {
  std::string const where = "\"servers\"";
  if (!object.is_object()) throw UsageError(where + " must be an object");
  RefuseUnknownKeys(object, {"registration server", "relay", "root server", "download server", "list"},
                    where);
  ServerRecordSet servers;
  auto const part = [&](char const* key, std::set<std::string> const& keys) -> Json const* {
    if (!object.contains(key)) return nullptr;
    Json const& value = object[key];
    std::string const inner = where + ": \"" + key + "\"";
    if (!value.is_object()) throw UsageError(inner + " must be an object");
    RefuseUnknownKeys(value, keys, inner);
    return &value;
  };
  auto const text = [&](Json const* value, char const* key, std::string& into) {
    if (value != nullptr && value->contains(key)) {
      into = Text((*value)[key], where + ": \"" + key + "\"");
    }
  };
  Json const* const registration = part("registration server", {"name", "version"});
  text(registration, "name", servers.registrationServerName);
  text(registration, "version", servers.registrationServerVersion);
  text(part("relay", {"version"}), "version", servers.relayVersion);
  Json const* const root = part("root server", {"name", "id"});
  text(root, "name", servers.rootServerName);
  if (root != nullptr && root->contains("id")) {
    servers.rootServerId = Unsigned32((*root)["id"], where + ": the root server's \"id\"");
  }
  text(part("download server", {"name"}), "name", servers.downloadServerName);
  if (object.contains("list")) {
    Json const& list = object["list"];
    if (!list.is_array()) throw UsageError(where + ": \"list\" must be a list");
    if (list.size() > client::kMaximumServerListEntries) {
      throw UsageError(where + ": \"list\" holds at most " +
                       std::to_string(client::kMaximumServerListEntries) + " servers");
    }
    for (Json const& entry : list) {
      bool selected = false;
      servers.list.push_back(ServerEntryOfJson(entry, servers.list.size(), selected));
      if (!selected) continue;
      if (servers.selected) throw UsageError(where + ": at most one server is the selected one");
      servers.selected = static_cast<std::uint32_t>(servers.list.size() - 1);
    }
  }
  return servers;
}

Json JsonOfServers(ServerRecordSet const& servers) {
  Json object = Json::object();
  object["registration server"] = Json{{"name", servers.registrationServerName},
                                       {"version", servers.registrationServerVersion}};
  object["relay"] = Json{{"version", servers.relayVersion}};
  object["root server"] = Json{{"name", servers.rootServerName}, {"id", servers.rootServerId}};
  object["download server"] = Json{{"name", servers.downloadServerName}};
  Json list = Json::array();
  for (std::size_t k = 0; k < servers.list.size(); ++k) {
    list.push_back(JsonOfServerEntry(servers.list[k], servers.selected && *servers.selected == k));
  }
  object["list"] = list;
  return object;
}

// The servers, readably: the known servers a line each, then the list, an
// entry a line.
void PrintServers(ServerRecordSet const& servers) {
  auto const shown = [](std::string const& text) { return text.empty() ? std::string("-") : text; };
  std::printf("registration server\t%s\tversion %s\n", shown(servers.registrationServerName).c_str(),
              shown(servers.registrationServerVersion).c_str());
  std::printf("relay\tversion %s\n", shown(servers.relayVersion).c_str());
  std::printf("root server\t%s\tid %u\n", shown(servers.rootServerName).c_str(),
              static_cast<unsigned>(servers.rootServerId));
  std::printf("download server\t%s\n", shown(servers.downloadServerName).c_str());
  for (std::size_t k = 0; k < servers.list.size(); ++k) {
    std::string name;
    SurveyHostSelectorDescription const entry = DescriptionOfEntry(servers.list[k], name);
    std::string gateways;
    for (std::size_t g = 0; g < ShownGateways(entry); ++g) {
      gateways += (g == 0 ? "" : ",") + TextOfAddress(entry.gateways[g]);
    }
    std::string line = std::to_string(k) + "\t" +
                       (servers.selected && *servers.selected == k ? "selected" : "-") + "\t" +
                       shown(name) + "\t" + TextOfAddress(entry.address) + ":" +
                       std::to_string(entry.port) + "\tpriority " + std::to_string(entry.priority) +
                       "\tweight " + std::to_string(entry.weight) + "\tgateways " +
                       std::to_string(entry.gatewayCount) + " (" + shown(gateways) + ")" +
                       "\tdistance " + std::to_string(entry.distance) + "\tcompetition " +
                       std::to_string(entry.competitionSize) + "/" +
                       std::to_string(entry.competitionWeight) + "\ttime " +
                       std::to_string(entry.time / 1000000) + "s";
    std::printf("%s\n", line.c_str());
  }
}

constexpr char const* kControllers[] = {"client", "console", "nobody"};

// The client's own state: each key optional.
HostStateRecord HostStateOfJson(Json const& object) {
  std::string const where = "\"state\"";
  if (!object.is_object()) throw UsageError(where + " must be an object");
  RefuseUnknownKeys(object,
                    {"computer id", "apparent server time", "action lock controller",
                     "analysis time", "fips mode", "desired fips mode", "fips mode failure message",
                     "encrypt report", "desired encrypt report", "encrypt report failure message",
                     "wake on lan subnet", "restart pending", "pending restarts"},
                    where);
  HostStateRecord state;
  auto const present = [&object](char const* key) {
    return object.contains(key) && !object[key].is_null();
  };
  auto const flag = [&](char const* key, bool& into) {
    if (!present(key)) return;
    if (!object[key].is_boolean()) {
      throw UsageError(where + ": \"" + key + "\" must be true or false");
    }
    into = object[key].get<bool>();
  };
  auto const text = [&](char const* key, std::optional<std::string>& into) {
    if (present(key)) into = Text(object[key], where + ": \"" + key + "\"");
  };
  if (present("computer id")) state.computerId = Unsigned64(object["computer id"], where + ": \"computer id\"");
  if (present("apparent server time")) {
    state.apparentServerTime =
        Unsigned64(object["apparent server time"], where + ": \"apparent server time\"");
  }
  if (present("action lock controller")) {
    Json const& controller = object["action lock controller"];
    if (controller.is_string()) {
      std::string const name = controller.get<std::string>();
      auto const found = std::find(std::begin(kControllers), std::end(kControllers), name);
      if (found == std::end(kControllers)) {
        throw UsageError(where + ": \"action lock controller\" is client, console or nobody, not " + name);
      }
      state.actionLockController = static_cast<std::uint32_t>(found - std::begin(kControllers));
    } else {
      state.actionLockController =
          Unsigned32(controller, where + ": \"action lock controller\"");
    }
  }
  if (present("analysis time")) state.analysisTime = Time(object["analysis time"], where + ": \"analysis time\"");
  flag("fips mode", state.fipsMode);
  flag("desired fips mode", state.desiredFipsMode);
  text("fips mode failure message", state.fipsModeFailureMessage);
  flag("encrypt report", state.encryptReport);
  flag("desired encrypt report", state.desiredEncryptReport);
  text("encrypt report failure message", state.encryptReportFailureMessage);
  text("wake on lan subnet", state.wakeOnLanSubnet);
  flag("restart pending", state.restartPending);
  if (present("pending restarts")) {
    Json const& names = object["pending restarts"];
    if (!names.is_array()) throw UsageError(where + ": \"pending restarts\" must be a list");
    for (Json const& name : names) state.pendingRestarts.push_back(Text(name, where + ": a pending restart"));
  }
  return state;
}

Json JsonOfHostState(HostStateRecord const& state) {
  auto const optional = [](auto const& value) { return value ? Json(*value) : Json(nullptr); };
  Json object = Json::object();
  object["computer id"] = optional(state.computerId);
  object["apparent server time"] = optional(state.apparentServerTime);
  object["action lock controller"] = state.actionLockController < std::size(kControllers)
                                         ? Json(kControllers[state.actionLockController])
                                         : Json(state.actionLockController);
  object["analysis time"] = optional(state.analysisTime);
  object["fips mode"] = state.fipsMode;
  object["desired fips mode"] = state.desiredFipsMode;
  object["fips mode failure message"] = optional(state.fipsModeFailureMessage);
  object["encrypt report"] = state.encryptReport;
  object["desired encrypt report"] = state.desiredEncryptReport;
  object["encrypt report failure message"] = optional(state.encryptReportFailureMessage);
  object["wake on lan subnet"] = optional(state.wakeOnLanSubnet);
  object["restart pending"] = state.restartPending;
  object["pending restarts"] = state.pendingRestarts;
  return object;
}

// A certificate: {"name", "pem": TEXT} or {"name", "file": PATH}, the file
// holding PEM text. Read and checked here, before anything is written.
CertificateRecord CertificateOfJson(Json const& entry) {
  if (!entry.is_object()) throw UsageError("a certificate must be an object");
  RefuseUnknownKeys(entry, {"name", "pem", "file"}, "a certificate");
  if (!entry.contains("name")) throw UsageError("a certificate needs a \"name\"");
  CertificateRecord certificate;
  certificate.name = Text(entry["name"], "a certificate's \"name\"");
  std::string const where = "the certificate " + certificate.name;
  if (entry.contains("pem") == entry.contains("file")) {
    throw UsageError(where + " needs either \"pem\" or \"file\"");
  }
  std::string pem;
  if (entry.contains("pem")) {
    pem = Text(entry["pem"], where + ": \"pem\"");
  } else {
    std::string const path = Text(entry["file"], where + ": \"file\"");
    // Only a regular file: a device or a pipe could give text without end.
    std::error_code error;
    std::filesystem::file_status const status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
      throw UsageError(where + ": cannot read " + path + ": there is no such file");
    }
    if (!std::filesystem::is_regular_file(status)) {
      throw UsageError(where + ": cannot read " + path + ": not a regular file");
    }
    if (std::filesystem::file_size(path, error) > client::kMaximumCertificateTextLength) {
      throw UsageError(where + ": " + path + " is longer than " +
                       std::to_string(client::kMaximumCertificateTextLength) + " bytes");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) throw UsageError(where + ": cannot read " + path + ": " + std::strerror(errno));
    pem.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) throw UsageError(where + ": cannot read " + path);
  }
  try {
    certificate.der = client::CertificateDerOfPem(pem);
  } catch (RecordError const& refused) {
    throw RecordError(where + ": " + refused.what());
  }
  return certificate;
}

// The usage events of watched applications, each an object: "application",
// "type" (a number, or "Start Sampling", "Application Start", "Application
// End" or "End Sampling"), "time" and, when not 0 or empty, "modification
// time", "version info" and "path". The events of one application keep the
// order of the list.
constexpr char const* kUsageEventTypes[] = {"Start Sampling", "Application Start",
                                            "Application End", "End Sampling"};

UsageEventRecord UsageEventOfJson(Json const& entry) {
  std::string const where = "a usage event";
  if (!entry.is_object()) throw UsageError("each usage event must be an object");
  RefuseUnknownKeys(entry, {"application", "type", "time", "modification time", "version info", "path"},
                    where);
  for (char const* key : {"application", "type", "time"}) {
    if (!entry.contains(key)) throw UsageError(where + " has no \"" + key + "\"");
  }
  UsageEventRecord event;
  event.application = Text(entry["application"], where + ": \"application\"");
  Json const& type = entry["type"];
  if (type.is_string()) {
    std::string const name = type.get<std::string>();
    auto const found = std::find(std::begin(kUsageEventTypes), std::end(kUsageEventTypes), name);
    if (found == std::end(kUsageEventTypes)) {
      throw UsageError(where + ": \"type\" is a number or Start Sampling, Application Start, "
                       "Application End or End Sampling, not " + name);
    }
    event.type = static_cast<std::uint32_t>(found - std::begin(kUsageEventTypes));
  } else {
    event.type = Unsigned32(type, where + ": \"type\"");
  }
  event.time = Time(entry["time"], where + ": \"time\"");
  if (entry.contains("modification time")) {
    event.modificationTime = Time(entry["modification time"], where + ": \"modification time\"");
  }
  if (entry.contains("version info")) event.versionInfo = Text(entry["version info"], where + ": \"version info\"");
  if (entry.contains("path")) event.path = Text(entry["path"], where + ": \"path\"");
  return event;
}

Json JsonOfUsageEvent(UsageEventRecord const& event) {
  Json object = Json::object();
  object["application"] = event.application;
  object["type"] = event.type < std::size(kUsageEventTypes) ? Json(kUsageEventTypes[event.type])
                                                            : Json(event.type);
  object["time"] = event.time;
  if (event.modificationTime != 0) object["modification time"] = event.modificationTime;
  if (!event.versionInfo.empty()) object["version info"] = event.versionInfo;
  if (!event.path.empty()) object["path"] = event.path;
  return object;
}

// The whole state of a fixture file:
//   { "settings": { SECTION: { KEY: VALUE or {"value", "date", "deleted"} } },
//     "sites": [ { "name", "url", ..., "settings": { KEY: ... } } ],
//     "actions": [ { "id", "current", "pending", ..., "parameters": { NAME: VALUE } } ],
//     "nudge evaluation blocked": BOOLEAN,
//     "state": { "computer id", "apparent server time", "action lock controller", ... },
//     "servers": { "registration server", ..., "list": [ ... ] },
//     "certificates": [ { "name", "pem" or "file" } ],
//     "usage": [ { "application", "type", "time", ... } ] }
ClientRecordSet RecordsOfJson(Json const& document,
                              std::vector<std::pair<std::string, std::string>>& mastheads) {
  if (!document.is_object()) throw UsageError("the file must hold one JSON object");
  RefuseUnknownKeys(document,
                    {"settings", "sites", "actions", "nudge evaluation blocked", "state",
                     "servers", "certificates", "usage"},
                    "the file");
  ClientRecordSet records;
  if (document.contains("settings")) {
    Json const& sections = document["settings"];
    if (!sections.is_object()) throw UsageError("\"settings\" must be an object of sections");
    for (auto const& [section, settings] : sections.items()) {
      SettingsOfJson(SettingScope::kClient, section, settings, records.settings);
    }
  }
  if (document.contains("sites")) {
    Json const& sites = document["sites"];
    if (!sites.is_array()) throw UsageError("\"sites\" must be a list");
    for (Json const& site : sites) records.sites.push_back(SiteOfJson(site, records.settings, mastheads, records.nudges));
  }
  if (document.contains("actions")) {
    Json const& actions = document["actions"];
    if (!actions.is_array()) throw UsageError("\"actions\" must be a list");
    for (Json const& action : actions) records.actions.push_back(ActionOfJson(action));
  }
  if (document.contains("nudge evaluation blocked")) {
    Json const& blocked = document["nudge evaluation blocked"];
    if (!blocked.is_boolean()) throw UsageError("\"nudge evaluation blocked\" must be true or false");
    records.nudgeEvaluationBlocked = blocked.get<bool>();
  }
  if (document.contains("state")) records.state = HostStateOfJson(document["state"]);
  if (document.contains("servers")) records.servers = ServersOfJson(document["servers"]);
  if (document.contains("certificates")) {
    Json const& certificates = document["certificates"];
    if (!certificates.is_array()) throw UsageError("\"certificates\" must be a list");
    for (Json const& entry : certificates) records.certificates.push_back(CertificateOfJson(entry));
  }
  if (document.contains("usage")) {
    Json const& usage = document["usage"];
    if (!usage.is_array()) throw UsageError("\"usage\" must be a list");
    for (Json const& event : usage) records.usageEvents.push_back(UsageEventOfJson(event));
  }
  return records;
}

Json JsonOfRecords(ClientRecordSet const& records) {
  Json document = Json::object();
  Json sections = Json::object();
  for (SettingRecord const& setting : records.settings) {
    if (setting.scope == SettingScope::kClient) {
      sections[setting.section][setting.name] = JsonOfSetting(setting);
    }
  }
  document["settings"] = sections;
  Json sites = Json::array();
  for (SiteRecord const& site : records.sites) sites.push_back(JsonOfSite(site, records.settings, records.nudges));
  document["sites"] = sites;
  Json actions = Json::array();
  for (ActionRecord const& action : records.actions) actions.push_back(JsonOfAction(action));
  document["actions"] = actions;
  document["nudge evaluation blocked"] = records.nudgeEvaluationBlocked;
  document["state"] = JsonOfHostState(records.state);
  document["servers"] = JsonOfServers(records.servers);
  Json certificates = Json::array();
  for (CertificateRecord const& certificate : records.certificates) {
    certificates.push_back(
        Json{{"name", certificate.name}, {"pem", client::CertificatePemOfDer(certificate.der)}});
  }
  document["certificates"] = certificates;
  Json usage = Json::array();
  for (UsageEventRecord const& event : records.usageEvents) usage.push_back(JsonOfUsageEvent(event));
  document["usage"] = usage;
  return document;
}

std::string ReadWholeFile(std::string const& path) {
  if (path == "-") {
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw UsageError("cannot read " + path + ": a folder");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw UsageError("cannot read " + path + ": " + std::strerror(errno));
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (in.bad()) throw UsageError("cannot read " + path);
  return bytes.str();
}

// ---------------------------------------------------------------------------
// The commands.

struct Arguments {
  std::string clientRoot;
  std::string site;
  std::string name;
  std::string value;
  std::string file;
  std::string url;
  std::string type;
  std::string displayName;
  std::string masthead;
  std::string gather;
  std::string kind;
  std::uint32_t identity = 0;
  std::uint32_t version = 0;
  std::vector<std::uint32_t> versions;
  std::uint32_t publisherInterval = 0;
  std::uint32_t customInterval = 0;
  std::int64_t subscribeTime = -1;
  std::int64_t lastGatherTime = 0;
};

void PrintSetting(SettingRecord const& setting) {
  std::printf("%s=%s%s\n", setting.name.c_str(), setting.value.c_str(),
              setting.deleted ? "  (deleted)" : "");
}

int SettingSet(ClientRecords& records, Arguments const& arguments) {
  SettingRecord setting;
  setting.scope = ScopeOf(arguments.site);
  setting.section = SectionOf(arguments.site);
  setting.name = StoredKey(arguments.site, arguments.name);
  setting.value = arguments.value;
  setting.date = NowMicroseconds();
  records.SetSetting(setting);
  return 0;
}

void RequireSite(ClientRecords& records, std::string const& site) {
  if (!site.empty() && !records.FindSite(site)) throw RecordError("there is no site named " + site);
}

int SettingGet(ClientRecords& records, Arguments const& arguments) {
  RequireSite(records, arguments.site);
  std::optional<SettingRecord> const setting =
      records.FindSetting(ScopeOf(arguments.site), SectionOf(arguments.site),
                          StoredKey(arguments.site, arguments.name));
  if (!setting) {
    std::fprintf(stderr, "survey client: there is no setting %s\n", arguments.name.c_str());
    return 1;
  }
  if (setting->deleted) {
    std::fprintf(stderr, "survey client: the setting %s is deleted\n", arguments.name.c_str());
    return 1;
  }
  std::printf("%s\n", setting->value.c_str());
  return 0;
}

int SettingUnset(ClientRecords& records, Arguments const& arguments) {
  RequireSite(records, arguments.site);
  if (!records.UnsetSetting(ScopeOf(arguments.site), SectionOf(arguments.site),
                            StoredKey(arguments.site, arguments.name), NowMicroseconds())) {
    throw RecordError("there is no setting " + arguments.name);
  }
  return 0;
}

int SettingList(ClientRecords& records, Arguments const& arguments) {
  RequireSite(records, arguments.site);
  for (SettingRecord const& setting :
       records.Settings(ScopeOf(arguments.site), SectionOf(arguments.site))) {
    PrintSetting(setting);
  }
  return 0;
}

int SiteAdd(ClientFolder& folder, ClientRecords& records, Arguments const& arguments) {
  SiteRecord site;
  site.name = arguments.name;
  site.url = arguments.url;
  if (!arguments.type.empty()) site.type = arguments.type;
  site.displayName = arguments.displayName;
  site.identity = arguments.identity;
  site.subscribeTime = arguments.subscribeTime >= 0 ? arguments.subscribeTime : NowMicroseconds();
  site.lastGatherTime = arguments.lastGatherTime;
  if (!arguments.gather.empty()) site.gatherOption = GatherOption(Json(arguments.gather));
  site.version = arguments.version;
  site.versions = arguments.versions;
  site.publisherInterval = arguments.publisherInterval;
  site.customInterval = arguments.customInterval;
  client::CheckSite(site);
  std::string masthead;
  if (!arguments.masthead.empty()) masthead = ReadWholeFile(arguments.masthead);
  records.AddSite(site);
  MakeSiteFolders(folder, {site});
  if (!arguments.masthead.empty()) WriteMasthead(folder, site.name, masthead);
  return 0;
}

int SiteRemove(ClientFolder& folder, ClientRecords& records, Arguments const& arguments) {
  client::CheckSiteName(arguments.name);
  if (!records.RemoveSite(arguments.name)) throw RecordError("there is no site named " + arguments.name);
  // The record is gone; its folder follows. A folder that cannot be removed
  // is only reported: the site is no longer the client's either way.
  std::error_code error;
  std::filesystem::remove_all(folder.SiteFolder(arguments.name), error);
  if (error) {
    std::fprintf(stderr, "survey client: the folder of the site %s stays: %s\n",
                 arguments.name.c_str(), error.message().c_str());
  }
  return 0;
}

int SiteList(ClientRecords& records) {
  for (SiteRecord const& site : records.Sites()) {
    std::printf("%s\t%s\t%s\n", site.name.c_str(), site.url.c_str(), site.type.c_str());
  }
  return 0;
}

// A time as "YYYY-MM-DD HH:MM:SS UTC", from microseconds since 1970, for
// any year from 0 to 9999.
std::string UtcText(std::int64_t microseconds) {
  std::int64_t const seconds =
      microseconds / 1000000 - (microseconds % 1000000 < 0 ? 1 : 0);
  std::int64_t const days = seconds / 86400 - (seconds % 86400 < 0 ? 1 : 0);
  std::int64_t const inDay = seconds - days * 86400;
  // Days to the civil date, by 400-year eras.
  std::int64_t const shifted = days + 719468;
  std::int64_t const era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
  std::int64_t const dayOfEra = shifted - era * 146097;
  std::int64_t const yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  std::int64_t const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  std::int64_t const monthIndex = (5 * dayOfYear + 2) / 153;
  std::int64_t const day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
  std::int64_t const month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
  std::int64_t const year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld UTC",
                static_cast<long long>(year), static_cast<long long>(month),
                static_cast<long long>(day), static_cast<long long>(inDay / 3600),
                static_cast<long long>(inDay / 60 % 60), static_cast<long long>(inDay % 60));
  return text;
}

// One action a line: its number, "current" or "-", its state as the
// action's status would tell it, and every field that is not 0, by name.
void PrintAction(ActionRecord const& action) {
  std::string line = std::to_string(action.id) + "\t" + (action.current ? "current" : "-");
  for (std::size_t k = 0; k < client::kActionFieldCount; ++k) {
    client::ActionFieldInfo const& info = client::InfoOf(static_cast<ActionField>(k));
    bool const shown = static_cast<ActionField>(k) == ActionField::kSubActionOrdinal
                           ? action.fields[k] != 0xFFFFFFFFu
                           : action.fields[k] != 0;
    if (!shown) continue;
    line += "\t";
    line += info.name;
    if (!info.flag) line += "=" + std::to_string(action.fields[k]);
  }
  for (ActionParameterRecord const& parameter : action.parameters) {
    line += "\tparameter " + parameter.name + "=" + parameter.value;
  }
  std::printf("%s\n", line.c_str());
}

// A time of the usage log: microseconds since 1970 as UTC date and clock,
// with the microseconds when there are any.
std::string UsageTimeText(std::int64_t microseconds) {
  std::time_t const seconds = static_cast<std::time_t>(microseconds / 1000000);
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return std::to_string(microseconds);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
  std::string shown = text;
  if (microseconds % 1000000 != 0) {
    char fraction[16];
    std::snprintf(fraction, sizeof fraction, ".%06lld",
                  static_cast<long long>(microseconds % 1000000));
    shown += fraction;
  }
  return shown + " UTC";
}

int List(ClientFolder& folder, ClientRecords& records, Arguments const& arguments) {
  if (arguments.kind == "settings") {
    for (SettingRecord const& setting : records.Settings(SettingScope::kClient)) {
      std::printf("%s\t", setting.section.c_str());
      PrintSetting(setting);
    }
    return 0;
  }
  if (arguments.kind == "sites") return SiteList(records);
  if (arguments.kind == "actions") {
    for (ActionRecord const& action : records.Actions()) PrintAction(action);
    return 0;
  }
  if (arguments.kind == "nudges") {
    // One nudge a line: site, position, number, relevant or -, headers.
    for (NudgeRecord const& nudge : records.Nudges()) {
      std::string line = nudge.site + "\t" + std::to_string(nudge.position) + "\t" +
                         std::to_string(nudge.id) + "\t" + (nudge.relevant ? "relevant" : "-");
      for (NudgeHeaderRecord const& header : nudge.headers) {
        line += "\t" + header.name + ": " + header.value;
      }
      std::printf("%s\n", line.c_str());
    }
    if (records.NudgeEvaluationBlocked()) std::printf("(reading the nudges is blocked)\n");
    return 0;
  }
  if (arguments.kind == "state") {
    // One line a part of the state: its name, a tab and its value as JSON.
    Json const state = JsonOfHostState(records.HostState());
    for (auto const& [key, value] : state.items()) {
      std::printf("%s\t%s\n", key.c_str(), value.dump().c_str());
    }
    return 0;
  }
  if (arguments.kind == "analyses") {
    // The analysis under evaluation, when there is one: "current", then the
    // time of its last evaluation in microseconds since 1970 and in UTC, or
    // "no last time" for 0.
    std::optional<std::int64_t> const time = records.HostState().analysisTime;
    if (time) {
      std::printf("current\t%lld\t%s\n", static_cast<long long>(*time),
                  *time == 0 ? "no last time" : UsageTimeText(*time).c_str());
    }
    return 0;
  }
  if (arguments.kind == "servers") {
    PrintServers(records.Servers());
    return 0;
  }
  if (arguments.kind == "usage") {
    // One event a line: application, ordinal, type, time, modification
    // time, version info and path; then each application's statistics file
    // as the host reads it back.
    for (UsageEventRecord const& event : records.UsageEvents()) {
      std::string const type = event.type < std::size(kUsageEventTypes)
                                   ? kUsageEventTypes[event.type]
                                   : "type " + std::to_string(event.type);
      std::printf("%s\t%u\t%s\t%s\t%s\t%s\t%s\n", event.application.c_str(), event.ordinal,
                  type.c_str(), UsageTimeText(event.time).c_str(),
                  UsageTimeText(event.modificationTime).c_str(), event.versionInfo.c_str(),
                  event.path.c_str());
    }
    for (auto const& [name, computed] : client::StatisticsByApplication(records.UsageEvents())) {
      std::optional<client::UsageStatistics> const stored =
          client::ReadUsageStatisticsFile(folder.UsageFolder(), name);
      if (!stored) {
        std::printf("%s.stat\tnot known\n", name.c_str());
        continue;
      }
      std::printf("%s.stat\truns=%u\tfirst start=%s\tlast start=%s\tlast seen=%s\tduration=%lld\t%s\n",
                  name.c_str(), stored->runCount, UsageTimeText(stored->firstStart).c_str(),
                  UsageTimeText(stored->lastStart).c_str(), UsageTimeText(stored->lastSeen).c_str(),
                  static_cast<long long>(stored->totalDuration),
                  stored->running != 0 ? "running" : "-");
    }
    return 0;
  }
  if (arguments.kind == "administrators") {
    for (SettingRecord const& setting : records.Settings(SettingScope::kClient, "Administrators")) {
      PrintSetting(setting);
    }
    return 0;
  }
  if (arguments.kind == "certificates") {
    // One certificate a line: its name, its SHA-1 digest and the start of
    // its validity in UTC.
    for (CertificateRecord const& certificate : records.Certificates()) {
      client::CertificateFacts const facts = client::FactsOfCertificate(certificate.der);
      std::printf("%s\t%s\t%s\n", certificate.name.c_str(), facts.sha1.c_str(),
                  UtcText(facts.notBefore).c_str());
    }
    return 0;
  }
  std::string kinds;
  for (char const* kind : kListKinds) kinds += std::string(kinds.empty() ? "" : ", ") + kind;
  throw UsageError("there is no kind of record " + arguments.kind + " to list; the kinds are " + kinds);
}

int Import(ClientFolder& folder, ClientRecords& records, Arguments const& arguments) {
  std::string const text = ReadWholeFile(arguments.file);
  std::vector<std::pair<std::string, std::string>> mastheads;
  ClientRecordSet const imported = RecordsOfImportText(text, arguments.file, mastheads);
  for (UsageEventRecord const& event : imported.usageEvents) client::CheckUsageEvent(event);
  // The statistics files are written aside first and put in place once the
  // records hold the events they come from.
  client::UsageStatisticsUpdate statistics(folder.UsageFolder(), imported.usageEvents);
  records.Replace(imported);
  statistics.Commit();
  MakeSiteFolders(folder, imported.sites);
  for (auto const& [site, text] : mastheads) WriteMasthead(folder, site, text);
  return 0;
}

int Export(ClientRecords& records) {
  std::string const text = JsonOfRecords(records.Export()).dump(2);
  std::printf("%s\n", text.c_str());
  return 0;
}

int Show(ClientFolder& folder, ClientRecords& records) {
  ClientRecordSet const all = records.Export();
  std::size_t clientSettings = 0;
  std::size_t deleted = 0;
  std::size_t siteSettings = 0;
  for (SettingRecord const& setting : all.settings) {
    (setting.scope == SettingScope::kClient ? clientSettings : siteSettings) += 1;
    if (setting.deleted) ++deleted;
  }
  std::printf("client folder: %s\n", folder.Root().c_str());
  std::printf("database: %s (schema version %d)\n", records.Path().c_str(),
              ClientRecords::kSchemaVersion);
  std::printf("client settings: %zu\n", clientSettings);
  std::printf("sites: %zu\n", all.sites.size());
  std::printf("site settings: %zu\n", siteSettings);
  std::printf("deleted settings: %zu\n", deleted);
  std::printf("actions: %zu\n", all.actions.size());
  std::printf("nudges: %zu\n", all.nudges.size());
  std::printf("certificates: %zu\n", all.certificates.size());
  std::printf("usage events: %zu\n", all.usageEvents.size());
  return 0;
}

// Where the words of a client command start: behind "client", which is the
// first argument or follows --client DIR (or --client=DIR). Zero when the
// arguments are not a client command.
int ClientWordAt(int argc, char** argv, std::string& root) {
  int at = 1;
  if (at < argc && std::strcmp(argv[at], "--client") == 0 && at + 1 < argc) {
    root = argv[at + 1];
    at += 2;
  } else if (at < argc && std::strncmp(argv[at], "--client=", 9) == 0) {
    root = argv[at] + 9;
    at += 1;
  }
  if (at + 1 >= argc || std::strcmp(argv[at], "client") != 0) return 0;
  for (char const* word : kCommandWords) {
    if (std::strcmp(argv[at + 1], word) == 0) return at;
  }
  if (std::strcmp(argv[at + 1], "--client") == 0 || std::strncmp(argv[at + 1], "--client=", 9) == 0) {
    return at;
  }
  return 0;
}

}  // namespace

ClientRecordSet RecordsOfImportText(std::string const& text, std::string const& source,
                                    std::vector<std::pair<std::string, std::string>>& mastheads) {
  Json document;
  try {
    document = Json::parse(text);
  } catch (Json::exception const& error) {
    // Not only a syntax error: a number too large for any JSON number type
    // is refused as well.
    throw UsageError("cannot read " + source + " as JSON: " + error.what());
  }
  return RecordsOfJson(document, mastheads);
}

char const* ClientCommandsHelp() {
  return "Client folder commands (see survey client --help):\n"
         "  survey client setting set|get|unset|list [--site SITE] NAME [VALUE]\n"
         "  survey client site add|remove|list NAME [--url URL] [--masthead FILE] ...\n"
         "  survey client import FILE.json | export | show\n"
         "  survey client list "
         "settings|sites|actions|nudges|administrators|state|analyses|servers|certificates|"
         "usage";
}

std::optional<int> RunClientCommandIfAsked(int argc, char** argv, std::string const& library) {
  LibraryPath() = library;
  std::string root;
  int const at = ClientWordAt(argc, argv, root);
  if (at == 0) return std::nullopt;

  Arguments arguments;
  arguments.clientRoot = root;
  CLI::App app{"survey client: fills and inspects a client folder. Each change is one "
               "transaction: refused input leaves the folder as it was (exit status 2).",
               "survey client"};
  app.require_subcommand(1);
  app.add_option("--client", arguments.clientRoot,
                 "the client folder (default: survey/client in the user's state folder)");

  CLI::App* const setting = app.add_subcommand("setting", "the client's and the sites' settings");
  setting->require_subcommand(1);
  CLI::App* const set = setting->add_subcommand("set", "sets a setting, dated now");
  CLI::App* const get = setting->add_subcommand("get", "prints a setting's value");
  CLI::App* const unset = setting->add_subcommand("unset", "marks a setting deleted, dated now");
  CLI::App* const list = setting->add_subcommand("list", "lists the settings: KEY=VALUE");
  for (CLI::App* command : {set, get, unset, list}) {
    command->add_option("--site", arguments.site, "a site's settings rather than the client's");
  }
  for (CLI::App* command : {set, get, unset}) {
    command->add_option("name", arguments.name,
                        "the setting's name (the client's are stored percent-encoded)")
        ->required();
  }
  set->add_option("value", arguments.value, "the setting's value")->required();

  CLI::App* const site = app.add_subcommand("site", "the client's sites");
  site->require_subcommand(1);
  CLI::App* const add = site->add_subcommand("add", "adds a site and makes its folder");
  CLI::App* const remove = site->add_subcommand("remove", "removes a site, its settings and folder");
  CLI::App* const sites = site->add_subcommand("list", "lists the sites: NAME, URL, TYPE");
  for (CLI::App* command : {add, remove}) {
    command->add_option("name", arguments.name, "the site's name")->required();
  }
  add->add_option("--url", arguments.url, "the site's URL")->required();
  add->add_option("--type", arguments.type,
                  "the site's banner: \">Nudge Remote Site\" (the default), \">Master Action "
                  "Site\", \">Custom Site:TAG\" or \">Operator Action Site:N:NAME\"");
  add->add_option("--display-name", arguments.displayName, "the name a custom site shows");
  add->add_option("--masthead", arguments.masthead, "a masthead file to copy into the site");
  add->add_option("--gather", arguments.gather, "publisher, custom, manual or disabled");
  add->add_option("--publisher-interval", arguments.publisherInterval, "seconds");
  add->add_option("--custom-interval", arguments.customInterval, "seconds");
  add->add_option("--version", arguments.version, "the site's version");
  add->add_option("--versions", arguments.versions, "the site's version list")->delimiter(',');
  add->add_option("--identity", arguments.identity, "the site's identity number");
  add->add_option("--subscribe-time", arguments.subscribeTime,
                  "microseconds since 1970 (UTC); default: now");
  add->add_option("--last-gather-time", arguments.lastGatherTime, "microseconds since 1970 (UTC)");

  CLI::App* const import = app.add_subcommand("import", "replaces the whole state with a JSON file");
  import->add_option("file", arguments.file, "the JSON file; - for standard input")->required();
  CLI::App* const exported = app.add_subcommand("export", "prints the whole state as JSON");
  CLI::App* const show = app.add_subcommand("show", "prints the folder, its database and counts");
  CLI::App* const listed = app.add_subcommand(
      "list", "lists the records of one kind, one a line: settings (SECTION, KEY=VALUE), sites "
              "(NAME, URL, TYPE), actions (ID, current or -, the fields that are not 0, "
              "the parameters), nudges (SITE, POSITION, ID, relevant or -, NAME: VALUE), "
              "administrators (the settings of section Administrators, KEY=VALUE), state "
              "(NAME, the value as JSON), analyses (current, the last time in microseconds "
              "and in UTC), servers (the known servers, then the server list "
              "an entry a line), certificates (NAME, SHA-1, start of validity), usage "
              "(APPLICATION, ORDINAL, TYPE, TIME, MODIFICATION TIME, VERSION INFO, PATH; then "
              "NAME.stat and its statistics)");
  listed->add_option("kind", arguments.kind,
                     "settings, sites, actions, nudges, administrators, state, analyses, "
                     "servers, certificates or usage")
      ->required();

  try {
    app.parse(argc - at, argv + at);
  } catch (CLI::ParseError const& error) {
    int const code = app.exit(error);
    return error.get_exit_code() == 0 ? code : 2;
  }

  std::string const folderRoot =
      arguments.clientRoot.empty() ? ClientFolder::DefaultRoot() : arguments.clientRoot;
  try {
    ClientFolder folder(folderRoot);
    ClientRecords& records = folder.Records();
    if (*set) return SettingSet(records, arguments);
    if (*get) return SettingGet(records, arguments);
    if (*unset) return SettingUnset(records, arguments);
    if (*list) return SettingList(records, arguments);
    if (*add) return SiteAdd(folder, records, arguments);
    if (*remove) return SiteRemove(folder, records, arguments);
    if (*sites) return SiteList(records);
    if (*import) return Import(folder, records, arguments);
    if (*exported) return Export(records);
    if (*show) return Show(folder, records);
    if (*listed) return List(folder, records, arguments);
  } catch (UsageError const& error) {
    std::fprintf(stderr, "survey client: %s\n", error.what());
    return 2;
  } catch (RecordError const& error) {
    std::fprintf(stderr, "survey client: %s\n", error.what());
    return 2;
  } catch (DatabaseError const& error) {
    std::fprintf(stderr, "survey client: %s\n", error.what());
    return 2;
  } catch (ClientFolderError const& error) {
    std::fprintf(stderr, "survey client: %s\n", error.what());
    return 2;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "survey client: %s\n", error.what());
    return 2;
  }
  return 2;
}

}  // namespace survey::tools
