#include "host/client/client_records.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "host/client/certificates.h"

namespace survey::client {

namespace {

// The steps that bring a schema from one version to the next: step k takes
// version k to k + 1. A new version adds a step at the end and never
// changes an earlier one.
constexpr char const* kMigrations[] = {
    // 0 -> 1: the two setting stores and the sites.
    "CREATE TABLE settings("
    "  scope INTEGER NOT NULL,"
    "  section BLOB NOT NULL,"
    "  name BLOB NOT NULL,"
    "  value BLOB NOT NULL,"
    "  date INTEGER,"
    "  deleted INTEGER NOT NULL DEFAULT 0,"
    "  PRIMARY KEY (scope, section, name)) WITHOUT ROWID;"
    "CREATE TABLE sites("
    "  name BLOB PRIMARY KEY,"
    "  url BLOB NOT NULL,"
    "  type BLOB NOT NULL,"
    "  display_name BLOB NOT NULL DEFAULT x'',"
    "  identity INTEGER NOT NULL DEFAULT 0,"
    "  subscribe_time INTEGER NOT NULL DEFAULT 0,"
    "  last_gather_time INTEGER NOT NULL DEFAULT 0,"
    "  gather_option INTEGER NOT NULL DEFAULT 0,"
    "  version INTEGER NOT NULL DEFAULT 0,"
    "  versions BLOB NOT NULL DEFAULT x'',"
    "  publisher_interval INTEGER NOT NULL DEFAULT 0,"
    "  custom_interval INTEGER NOT NULL DEFAULT 0) WITHOUT ROWID;",
    // 1 -> 2: the sites' computer groups, and the generation that tells a
    // reader that something changed.
    "CREATE TABLE site_groups("
    "  site BLOB NOT NULL REFERENCES sites(name) ON DELETE CASCADE,"
    "  id INTEGER NOT NULL,"
    "  member INTEGER NOT NULL,"
    "  PRIMARY KEY (site, id)) WITHOUT ROWID;"
    "CREATE TABLE generation(only INTEGER PRIMARY KEY CHECK (only = 1), number INTEGER NOT NULL);"
    "INSERT INTO generation VALUES (1, 1);",
    // 2 -> 3: the actions with their state, and the parameters of each.
    "CREATE TABLE actions("
    "  id INTEGER PRIMARY KEY,"
    "  current INTEGER NOT NULL DEFAULT 0,"
    "  pending INTEGER NOT NULL DEFAULT 0,"
    "  pending_time INTEGER NOT NULL DEFAULT 0,"
    "  complete_time INTEGER NOT NULL DEFAULT 0,"
    "  group_leader INTEGER NOT NULL DEFAULT 0,"
    "  offer INTEGER NOT NULL DEFAULT 0,"
    "  pending_restart INTEGER NOT NULL DEFAULT 0,"
    "  pending_login INTEGER NOT NULL DEFAULT 0,"
    "  constrained INTEGER NOT NULL DEFAULT 0,"
    "  offer_accepted INTEGER NOT NULL DEFAULT 0,"
    "  constraint_code INTEGER NOT NULL DEFAULT 0,"
    "  persistent_constraint INTEGER NOT NULL DEFAULT 0,"
    "  first_active_count INTEGER NOT NULL DEFAULT 0,"
    "  active_count INTEGER NOT NULL DEFAULT 0,"
    "  active_line_number INTEGER NOT NULL DEFAULT 0,"
    "  active_start_time INTEGER NOT NULL DEFAULT 0,"
    "  last_active_line_number INTEGER NOT NULL DEFAULT 0,"
    "  last_active_time INTEGER NOT NULL DEFAULT 0,"
    "  last_change_time INTEGER NOT NULL DEFAULT 0,"
    "  waiting_for_download INTEGER NOT NULL DEFAULT 0,"
    "  action_id INTEGER NOT NULL DEFAULT 0,"
    "  sub_action_ordinal INTEGER NOT NULL DEFAULT 4294967295,"
    "  active INTEGER NOT NULL DEFAULT 0,"
    "  origin_nudge_id INTEGER NOT NULL DEFAULT 0,"
    "  failed INTEGER NOT NULL DEFAULT 0);"
    "CREATE TABLE action_parameters("
    "  action INTEGER NOT NULL REFERENCES actions(id) ON DELETE CASCADE,"
    "  name BLOB NOT NULL,"
    "  value BLOB NOT NULL,"
    "  PRIMARY KEY (action, name)) WITHOUT ROWID;",
    // 3 -> 4: the sites' nudges with their headers, and the flags the host
    // keeps of its own state.
    "CREATE TABLE nudges("
    "  site BLOB NOT NULL REFERENCES sites(name) ON DELETE CASCADE,"
    "  position INTEGER NOT NULL,"
    "  id INTEGER NOT NULL,"
    "  relevant INTEGER NOT NULL,"
    "  PRIMARY KEY (site, position)) WITHOUT ROWID;"
    "CREATE TABLE nudge_headers("
    "  site BLOB NOT NULL,"
    "  position INTEGER NOT NULL,"
    "  ordinal INTEGER NOT NULL,"
    "  name BLOB NOT NULL,"
    "  value BLOB NOT NULL,"
    "  PRIMARY KEY (site, position, ordinal),"
    "  FOREIGN KEY (site, position) REFERENCES nudges(site, position) ON DELETE CASCADE)"
    "  WITHOUT ROWID;"
    "CREATE TABLE host_flags(name TEXT PRIMARY KEY, value INTEGER NOT NULL) WITHOUT ROWID;",
    // 4 -> 5: texts beside the host's flags, and the reasons of pending
    // restarts.
    ("ALTER TABLE host_flags ADD COLUMN text BLOB;"
     "CREATE TABLE pending_restarts(name BLOB PRIMARY KEY) WITHOUT ROWID;"),
    // 5 -> 6: the certificates the client keeps, by name, in their DER form.
    "CREATE TABLE certificates(name BLOB PRIMARY KEY, der BLOB NOT NULL) WITHOUT ROWID;",
    // 6 -> 7: the servers the client knows, and its server list with the
    // entries in their flattened form.
    ("CREATE TABLE server_record("
     "  only INTEGER PRIMARY KEY CHECK (only = 1),"
     "  registration_server_version BLOB NOT NULL,"
     "  registration_server_name BLOB NOT NULL,"
     "  relay_version BLOB NOT NULL,"
     "  root_server_name BLOB NOT NULL,"
     "  root_server_id INTEGER NOT NULL,"
     "  download_server_name BLOB NOT NULL,"
     "  selected INTEGER);"
     "CREATE TABLE server_list(position INTEGER PRIMARY KEY, entry BLOB NOT NULL);"),
    // 7 -> 8: the usage events of watched applications, in stream order.
    "CREATE TABLE usage_events("
    "  application BLOB NOT NULL,"
    "  ordinal INTEGER NOT NULL,"
    "  type INTEGER NOT NULL,"
    "  time INTEGER NOT NULL,"
    "  modification_time INTEGER NOT NULL,"
    "  version_info BLOB NOT NULL,"
    "  path BLOB NOT NULL,"
    "  PRIMARY KEY (application, ordinal)) WITHOUT ROWID;",
};
static_assert(std::size(kMigrations) == ClientRecords::kSchemaVersion);

// The fields of an action, in the order of ActionField.
constexpr ActionFieldInfo kActionFields[] = {
    {"pending", 1, true},
    {"pending time", 0xFFFFFFFFFFFFFFFFull, false},
    {"complete time", 0xFFFFFFFFFFFFFFFFull, false},
    {"group leader", 1, true},
    {"offer", 1, true},
    {"pending restart", 1, true},
    {"pending login", 1, true},
    {"constrained", 1, true},
    {"offer accepted", 1, true},
    {"constraint", 255, false},
    {"persistent constraint", 255, false},
    {"first active count", 65535, false},
    {"active count", 65535, false},
    {"active line number", 65535, false},
    {"active start time", 0xFFFFFFFFFFFFFFFFull, false},
    {"last active line number", 65535, false},
    {"last active time", 0xFFFFFFFFFFFFFFFFull, false},
    {"last change time", 0xFFFFFFFFFFFFFFFFull, false},
    {"waiting for download", 1, true},
    {"action id", 4294967295ull, false},
    {"sub action ordinal", 4294967295ull, false},
    {"active", 1, true},
    {"origin nudge id", 0xFFFFFFFFFFFFFFFFull, false},
    {"failed", 1, true},
};
static_assert(std::size(kActionFields) == kActionFieldCount);

// The columns of the fields, in the same order, behind the number and the
// mark of the current action.
constexpr char kActionColumns[] =
    "id, current, pending, pending_time, complete_time, group_leader, offer, pending_restart, pending_login, constrained, offer_accepted, constraint_code, persistent_constraint, first_active_count, active_count, active_line_number, active_start_time, last_active_line_number, last_active_time, last_change_time, waiting_for_download, action_id, sub_action_ordinal, active, origin_nudge_id, failed";

bool IsControl(unsigned char byte) { return byte < 0x20 || byte == 0x7F; }

// Whether the bytes are well-formed UTF-8: no stray continuation byte, no
// sequence cut short, no overlong form, no surrogate, nothing past U+10FFFF.
bool IsUtf8(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    unsigned char const lead = static_cast<unsigned char>(text[at]);
    std::size_t length = 0;
    std::uint32_t code = 0;
    if (lead < 0x80) {
      ++at;
      continue;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
      code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      code = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      code = lead & 0x07;
    } else {
      return false;
    }
    if (text.size() - at < length) return false;
    for (std::size_t k = 1; k < length; ++k) {
      unsigned char const next = static_cast<unsigned char>(text[at + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = (code << 6) | (next & 0x3F);
    }
    if ((length == 3 && (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF))) ||
        (length == 4 && (code < 0x10000 || code > 0x10FFFF))) {
      return false;
    }
    at += length;
  }
  return true;
}


std::string Shown(std::string_view text) {
  constexpr std::size_t kShown = 40;
  std::string shown;
  for (unsigned char const byte : text.substr(0, kShown)) {
    if (IsControl(byte) || byte >= 0x80) {
      static char const kHex[] = "0123456789abcdef";
      shown += "\\x";
      shown += kHex[byte >> 4];
      shown += kHex[byte & 15];
    } else {
      shown += static_cast<char>(byte);
    }
  }
  if (text.size() > kShown) shown += "...";
  return shown;
}

void CheckText(std::string const& what, std::string_view text, bool tabAllowed) {
  if (std::any_of(text.begin(), text.end(), [tabAllowed](char byte) {
        return !(tabAllowed && byte == '\t') && IsControl(static_cast<unsigned char>(byte));
      })) {
    throw RecordError(what + " cannot hold control characters: " + Shown(text));
  }
  if (!IsUtf8(text)) throw RecordError(what + " is not UTF-8 text: " + Shown(text));
}

// The versions as stored: four bytes each, least significant first.
std::string PackedVersions(std::vector<std::uint32_t> const& versions) {
  std::string bytes;
  for (std::uint32_t const version : versions) {
    for (int shift = 0; shift < 32; shift += 8) {
      bytes += static_cast<char>((version >> shift) & 0xFF);
    }
  }
  return bytes;
}

std::vector<std::uint32_t> UnpackedVersions(std::string const& bytes) {
  std::vector<std::uint32_t> versions;
  for (std::size_t at = 0; at + 4 <= bytes.size() && versions.size() < kMaximumVersions; at += 4) {
    std::uint32_t version = 0;
    for (int k = 0; k < 4; ++k) {
      version |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + k])) << (8 * k);
    }
    versions.push_back(version);
  }
  return versions;
}

}  // namespace

// ---------------------------------------------------------------------------
// Checks.

void CheckSettingName(std::string_view what, std::string_view name) {
  if (name.empty()) throw RecordError("a setting's " + std::string(what) + " cannot be empty");
  if (name.size() > kMaximumNameLength) {
    throw RecordError("a setting's " + std::string(what) + " is longer than " +
                      std::to_string(kMaximumNameLength) + " bytes: " + Shown(name));
  }
  CheckText("a setting's " + std::string(what), name, false);
}

void CheckSettingValue(std::string_view value) {
  if (value.size() > kMaximumValueLength) {
    throw RecordError("a setting's value is longer than " + std::to_string(kMaximumValueLength) +
                      " bytes");
  }
  CheckText("a setting's value", value, true);
}

void CheckSiteName(std::string_view name) {
  if (name.empty()) throw RecordError("a site's name cannot be empty");
  if (name.size() > kMaximumSiteNameLength) {
    throw RecordError("a site's name is longer than " + std::to_string(kMaximumSiteNameLength) +
                      " bytes: " + Shown(name));
  }
  CheckText("a site's name", name, false);
  if (name.find('/') != std::string_view::npos) {
    throw RecordError("a site's name cannot hold \"/\": " + Shown(name));
  }
  if (name.front() == '.') {
    throw RecordError("a site's name cannot start with \".\": " + Shown(name));
  }
}

void CheckSite(SiteRecord const& site) {
  CheckSiteName(site.name);
  if (site.url.size() > kMaximumValueLength) throw RecordError("a site's url is too long");
  CheckText("a site's url", site.url, false);
  CheckText("a site's type", site.type, false);
  CheckText("a site's shown name", site.displayName, false);
  if (site.displayName.size() >= 1024) throw RecordError("a site's shown name is too long");
  if (site.gatherOption > 3) {
    throw RecordError("a site's gather option is 0 to 3 (publisher, custom, manual, disabled), not " +
                      std::to_string(site.gatherOption));
  }
  if (site.versions.size() > kMaximumVersions) {
    throw RecordError("a site has at most " + std::to_string(kMaximumVersions) + " versions");
  }
}

ActionFieldInfo const& InfoOf(ActionField field) {
  return kActionFields[static_cast<std::size_t>(field)];
}

ActionRecord::ActionRecord() { (*this)[ActionField::kSubActionOrdinal] = 0xFFFFFFFFu; }

void CheckNudge(NudgeRecord const& nudge) {
  std::string const where = "the nudge " + std::to_string(nudge.id) + " of " + Shown(nudge.site);
  if (nudge.headers.size() > kMaximumNudgeHeaders) {
    throw RecordError(where + " has more than " + std::to_string(kMaximumNudgeHeaders) +
                      " headers");
  }
  for (NudgeHeaderRecord const& header : nudge.headers) {
    if (header.name.empty()) throw RecordError(where + ": a header's name cannot be empty");
    if (header.name.size() > kMaximumNameLength) {
      throw RecordError(where + ": a header's name is longer than " +
                        std::to_string(kMaximumNameLength) + " bytes: " + Shown(header.name));
    }
    CheckText(where + ": a header's name", header.name, false);
    if (header.value.size() > kMaximumValueLength) {
      throw RecordError(where + ": a header's value is longer than " +
                        std::to_string(kMaximumValueLength) + " bytes");
    }
    CheckText(where + ": a header's value", header.value, true);
  }
}

void CheckCertificate(CertificateRecord const& certificate) {
  if (certificate.name.empty()) throw RecordError("the name of a certificate cannot be empty");
  if (certificate.name.size() > kMaximumNameLength) {
    throw RecordError("the name of a certificate is longer than " +
                      std::to_string(kMaximumNameLength) + " bytes: " + Shown(certificate.name));
  }
  CheckText("the name of a certificate", certificate.name, false);
  try {
    FactsOfCertificate(certificate.der);
  } catch (RecordError const& error) {
    throw RecordError("the certificate " + Shown(certificate.name) + ": " + error.what());
  }
}

void CheckHostState(HostStateRecord const& state) {
  if (state.actionLockController > 2) {
    throw RecordError("the action lock's controller is 0 to 2 (client, console, nobody), not " +
                      std::to_string(state.actionLockController));
  }
  for (auto const* text : {&state.fipsModeFailureMessage, &state.encryptReportFailureMessage,
                           &state.wakeOnLanSubnet}) {
    if (!text->has_value()) continue;
    if ((*text)->size() > kMaximumNameLength) {
      throw RecordError("a text of the client's state is longer than " +
                        std::to_string(kMaximumNameLength) + " bytes");
    }
    CheckText("a text of the client's state", **text, false);
  }
  std::vector<std::string> names = state.pendingRestarts;
  for (std::string const& name : names) {
    if (name.empty()) throw RecordError("the name of a pending restart cannot be empty");
    if (name.size() > kMaximumNameLength) {
      throw RecordError("the name of a pending restart is longer than " +
                        std::to_string(kMaximumNameLength) + " bytes: " + Shown(name));
    }
    CheckText("the name of a pending restart", name, false);
  }
  std::sort(names.begin(), names.end());
  auto const twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) throw RecordError("the pending restart " + Shown(*twice) + " comes twice");
}

void CheckAction(ActionRecord const& action) {
  std::string const where = "the action " + std::to_string(action.id);
  for (std::size_t k = 0; k < kActionFieldCount; ++k) {
    if (action.fields[k] > kActionFields[k].maximum) {
      throw RecordError(where + ": \"" + kActionFields[k].name + "\" is at most " +
                        std::to_string(kActionFields[k].maximum) + ", not " +
                        std::to_string(action.fields[k]));
    }
  }
  if (!action.parameters.empty() && !action.current) {
    throw RecordError(where + " has parameters, which only the current action can have");
  }
  std::vector<std::string> names;
  for (ActionParameterRecord const& parameter : action.parameters) {
    if (parameter.name.empty()) throw RecordError(where + ": a parameter's name cannot be empty");
    if (parameter.name.size() > kMaximumNameLength) {
      throw RecordError(where + ": a parameter's name is longer than " +
                        std::to_string(kMaximumNameLength) + " bytes: " + Shown(parameter.name));
    }
    CheckText(where + ": a parameter's name", parameter.name, false);
    if (parameter.value.size() > kMaximumValueLength) {
      throw RecordError(where + ": a parameter's value is longer than " +
                        std::to_string(kMaximumValueLength) + " bytes");
    }
    CheckText(where + ": a parameter's value", parameter.value, true);
    names.push_back(parameter.name);
  }
  std::sort(names.begin(), names.end());
  auto const twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) {
    throw RecordError(where + ": the parameter " + Shown(*twice) + " comes twice");
  }
}

std::string EncodedClientKey(std::string_view name) {
  static char const kHex[] = "0123456789ABCDEF";
  std::string key;
  for (unsigned char const byte : name) {
    bool const kept = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                      (byte >= '0' && byte <= '9') || byte == '_' || byte == ' ' || byte == '-';
    if (kept) {
      key += static_cast<char>(byte);
    } else {
      key += '%';
      key += kHex[byte >> 4];
      key += kHex[byte & 15];
    }
  }
  return key;
}

// ---------------------------------------------------------------------------
// The database.

namespace {

// A statement prepared at its first use. Most commands touch one or two of
// the statements below (a query that tests a setting reads one), and
// preparing all of them at every open cost more than the reads themselves.
class Prepared {
 public:
  Prepared(Database& database, std::string sql) : database_(database), sql_(std::move(sql)) {}
  Prepared(Prepared const&) = delete;
  Prepared& operator=(Prepared const&) = delete;

  operator Statement&() { return Get(); }
  template <class... Arguments>
  Statement& Bind(Arguments&&... arguments) {
    return Get().Bind(std::forward<Arguments>(arguments)...);
  }
  void Run() { Get().Run(); }

 private:
  Statement& Get() {
    if (!statement_) statement_.emplace(database_, sql_);
    return *statement_;
  }

  Database& database_;
  std::string sql_;
  std::optional<Statement> statement_;
};

}  // namespace

struct ClientRecords::Statements {
  explicit Statements(Database& database)
      : setSetting(database,
                   "INSERT INTO settings (scope, section, name, value, date, deleted)"
                   " VALUES (?1, ?2, ?3, ?4, ?5, ?6)"
                   " ON CONFLICT (scope, section, name) DO UPDATE SET"
                   " value = excluded.value, date = excluded.date, deleted = excluded.deleted"),
        unsetSetting(database,
                     "UPDATE settings SET deleted = 1, date = ?4"
                     " WHERE scope = ?1 AND section = ?2 AND name = ?3"),
        findSetting(database,
                    "SELECT section, name, value, date, deleted FROM settings"
                    " WHERE scope = ?1 AND section = ?2 AND name = ?3"),
        firstSetting(database,
                     "SELECT section, name, value, date, deleted FROM settings"
                     " WHERE scope = ?1 AND section = ?2 ORDER BY name LIMIT 1"),
        nextSetting(database,
                    "SELECT section, name, value, date, deleted FROM settings"
                    " WHERE scope = ?1 AND section = ?2 AND name > ?3 ORDER BY name LIMIT 1"),
        scopeSettings(database,
                      "SELECT section, name, value, date, deleted FROM settings"
                      " WHERE scope = ?1 ORDER BY section, name"),
        sectionSettings(database,
                        "SELECT section, name, value, date, deleted FROM settings"
                        " WHERE scope = ?1 AND section = ?2 ORDER BY name"),
        allSettings(database,
                    "SELECT section, name, value, date, deleted, scope FROM settings"
                    " ORDER BY scope, section, name"),
        insertSite(database,
                   "INSERT INTO sites (name, url, type, display_name, identity, subscribe_time,"
                   " last_gather_time, gather_option, version, versions, publisher_interval,"
                   " custom_interval) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)"),
        insertGroup(database, "INSERT INTO site_groups (site, id, member) VALUES (?1, ?2, ?3)"),
        removeSite(database, "DELETE FROM sites WHERE name = ?1"),
        removeSiteSettings(database, "DELETE FROM settings WHERE scope = 1 AND section = ?1"),
        findSite(database,
                 "SELECT name, url, type, display_name, identity, subscribe_time,"
                 " last_gather_time, gather_option, version, versions, publisher_interval,"
                 " custom_interval FROM sites WHERE name = ?1"),
        allSites(database,
                 "SELECT name, url, type, display_name, identity, subscribe_time,"
                 " last_gather_time, gather_option, version, versions, publisher_interval,"
                 " custom_interval FROM sites ORDER BY name"),
        siteGroups(database, "SELECT id, member FROM site_groups WHERE site = ?1 ORDER BY id"),
        insertAction(database, InsertActionSql()),
        insertParameter(database,
                        "INSERT INTO action_parameters (action, name, value) VALUES (?1, ?2, ?3)"),
        allActions(database, std::string("SELECT ") + kActionColumns + " FROM actions"),
        findAction(database, std::string("SELECT ") + kActionColumns + " FROM actions WHERE id = ?1"),
        currentAction(database,
                      std::string("SELECT ") + kActionColumns + " FROM actions WHERE current = 1"),
        activeAction(database, std::string("SELECT ") + kActionColumns +
                                   " FROM actions WHERE active = 1"),
        actionParameters(database,
                         "SELECT name, value FROM action_parameters WHERE action = ?1 ORDER BY name"),
        insertNudge(database,
                    "INSERT INTO nudges (site, position, id, relevant) VALUES (?1, ?2, ?3, ?4)"),
        insertNudgeHeader(database,
                          "INSERT INTO nudge_headers (site, position, ordinal, name, value)"
                          " VALUES (?1, ?2, ?3, ?4, ?5)"),
        allNudges(database, "SELECT site, position, id, relevant FROM nudges ORDER BY site, position"),
        nextNudge(database,
                  "SELECT site, position, id, relevant FROM nudges WHERE site = ?1 AND position >= ?2"
                  " AND (?3 = 0 OR relevant = 1) ORDER BY position LIMIT 1"),
        nudgeHeaders(database,
                     "SELECT name, value FROM nudge_headers WHERE site = ?1 AND position = ?2"
                     " ORDER BY ordinal"),
        findFlag(database, "SELECT value FROM host_flags WHERE name = ?1"),
        setFlag(database,
                "INSERT INTO host_flags (name, value) VALUES (?1, ?2)"
                " ON CONFLICT (name) DO UPDATE SET value = excluded.value"),
        findFlagText(database, "SELECT text FROM host_flags WHERE name = ?1"),
        setFlagText(database,
                    "INSERT INTO host_flags (name, value, text) VALUES (?1, 0, ?2)"
                    " ON CONFLICT (name) DO UPDATE SET text = excluded.text"),
        insertRestart(database, "INSERT INTO pending_restarts (name) VALUES (?1)"),
        allRestarts(database, "SELECT name FROM pending_restarts ORDER BY name"),
        bump(database, "UPDATE generation SET number = number + 1"),
        generation(database, "SELECT number FROM generation") {}

  Prepared setSetting;
  Prepared unsetSetting;
  Prepared findSetting;
  Prepared firstSetting;
  Prepared nextSetting;
  Prepared scopeSettings;
  Prepared sectionSettings;
  Prepared allSettings;
  Prepared insertSite;
  Prepared insertGroup;
  Prepared removeSite;
  Prepared removeSiteSettings;
  Prepared findSite;
  Prepared allSites;
  Prepared siteGroups;
  Prepared insertAction;
  Prepared insertParameter;
  Prepared allActions;
  Prepared findAction;
  Prepared currentAction;
  Prepared activeAction;
  Prepared actionParameters;
  Prepared insertNudge;
  Prepared insertNudgeHeader;
  Prepared allNudges;
  Prepared nextNudge;
  Prepared nudgeHeaders;
  Prepared findFlag;
  Prepared setFlag;
  Prepared findFlagText;
  Prepared setFlagText;
  Prepared insertRestart;
  Prepared allRestarts;
  Prepared bump;
  Prepared generation;

  static std::string InsertActionSql() {
    std::string sql = std::string("INSERT INTO actions (") + kActionColumns + ") VALUES (?1";
    for (std::size_t k = 2; k <= kActionFieldCount + 2; ++k) sql += ", ?" + std::to_string(k);
    return sql + ")";
  }
};

namespace {

SettingRecord ReadSetting(Statement& statement, SettingScope scope) {
  SettingRecord setting;
  setting.scope = scope;
  setting.section = statement.Bytes(0);
  setting.name = statement.Bytes(1);
  setting.value = statement.Bytes(2);
  if (!statement.IsNull(3)) setting.date = statement.Number(3);
  setting.deleted = statement.Number(4) != 0;
  return setting;
}

std::optional<SettingRecord> OneSetting(Statement& statement, SettingScope scope) {
  if (!statement.Step()) return std::nullopt;
  SettingRecord setting = ReadSetting(statement, scope);
  statement.Reset();
  return setting;
}

std::vector<SettingRecord> AllSettings(Statement& statement, SettingScope scope) {
  std::vector<SettingRecord> settings;
  while (statement.Step()) settings.push_back(ReadSetting(statement, scope));
  return settings;
}

}  // namespace

ClientRecords::ClientRecords(std::string const& path) : database_(path) {
  Migrate();
  statements_ = std::make_unique<Statements>(database_);
}

ClientRecords::~ClientRecords() = default;

std::string const& ClientRecords::Path() const { return database_.Path(); }

void ClientRecords::Migrate() {
  // The version is read again inside the transaction, so that two
  // processes that open a new database at once migrate it once.
  if (database_.UserVersion() == kSchemaVersion) return;
  Transaction transaction(database_);
  int version = database_.UserVersion();
  if (version > kSchemaVersion || version < 0) {
    throw DatabaseError("the database " + database_.Path() + " has schema version " +
                        std::to_string(version) + ", newer than this build knows (" +
                        std::to_string(kSchemaVersion) + ")");
  }
  for (; version < kSchemaVersion; ++version) database_.Execute(kMigrations[version]);
  database_.SetUserVersion(kSchemaVersion);
  transaction.Commit();
}

void ClientRecords::InsertSetting(SettingRecord const& setting) {
  CheckSettingName("section", setting.section);
  CheckSettingName("name", setting.name);
  CheckSettingValue(setting.value);
  statements_->setSetting.Bind(1, static_cast<std::int64_t>(setting.scope))
      .Bind(2, setting.section)
      .Bind(3, setting.name)
      .Bind(4, setting.value)
      .Bind(5, setting.date)
      .Bind(6, std::int64_t{setting.deleted ? 1 : 0})
      .Run();
}

void ClientRecords::SetSetting(SettingRecord const& setting) {
  Transaction transaction(database_);
  if (setting.scope == SettingScope::kSites && !FindSite(setting.section)) {
    throw RecordError("there is no site named " + Shown(setting.section));
  }
  InsertSetting(setting);
  statements_->bump.Run();
  transaction.Commit();
}

bool ClientRecords::UnsetSetting(SettingScope scope, std::string_view section,
                                 std::string_view name, std::optional<std::int64_t> date) {
  Transaction transaction(database_);
  if (!FindSetting(scope, section, name)) return false;
  statements_->unsetSetting.Bind(1, static_cast<std::int64_t>(scope))
      .Bind(2, section)
      .Bind(3, name)
      .Bind(4, date)
      .Run();
  statements_->bump.Run();
  transaction.Commit();
  return true;
}

std::optional<SettingRecord> ClientRecords::FindSetting(SettingScope scope,
                                                        std::string_view section,
                                                        std::string_view name) {
  Statement& statement = statements_->findSetting;
  statement.Bind(1, static_cast<std::int64_t>(scope)).Bind(2, section).Bind(3, name);
  return OneSetting(statement, scope);
}

std::optional<SettingRecord> ClientRecords::NextSetting(SettingScope scope,
                                                        std::string_view section,
                                                        std::optional<std::string_view> after) {
  if (!after) {
    Statement& statement = statements_->firstSetting;
    statement.Bind(1, static_cast<std::int64_t>(scope)).Bind(2, section);
    return OneSetting(statement, scope);
  }
  Statement& statement = statements_->nextSetting;
  statement.Bind(1, static_cast<std::int64_t>(scope)).Bind(2, section).Bind(3, *after);
  return OneSetting(statement, scope);
}

std::vector<SettingRecord> ClientRecords::Settings(SettingScope scope,
                                                   std::optional<std::string_view> section) {
  if (section) {
    Statement& statement = statements_->sectionSettings;
    statement.Bind(1, static_cast<std::int64_t>(scope)).Bind(2, *section);
    return AllSettings(statement, scope);
  }
  Statement& statement = statements_->scopeSettings;
  statement.Bind(1, static_cast<std::int64_t>(scope));
  return AllSettings(statement, scope);
}

void ClientRecords::InsertSite(SiteRecord const& site) {
  CheckSite(site);
  statements_->insertSite.Bind(1, site.name)
      .Bind(2, site.url)
      .Bind(3, site.type)
      .Bind(4, site.displayName)
      .Bind(5, std::int64_t{site.identity})
      .Bind(6, site.subscribeTime)
      .Bind(7, site.lastGatherTime)
      .Bind(8, std::int64_t{site.gatherOption})
      .Bind(9, std::int64_t{site.version})
      .Bind(10, PackedVersions(site.versions))
      .Bind(11, std::int64_t{site.publisherInterval})
      .Bind(12, std::int64_t{site.customInterval})
      .Run();
  for (SiteGroupRecord const& group : site.groups) {
    statements_->insertGroup.Bind(1, site.name)
        .Bind(2, static_cast<std::int64_t>(group.id))
        .Bind(3, std::int64_t{group.member ? 1 : 0})
        .Run();
  }
}

void ClientRecords::AddSite(SiteRecord const& site) {
  Transaction transaction(database_);
  CheckSite(site);
  if (FindSite(site.name)) throw RecordError("there is a site named " + Shown(site.name) + " already");
  InsertSite(site);
  statements_->bump.Run();
  transaction.Commit();
}

bool ClientRecords::RemoveSite(std::string_view name) {
  Transaction transaction(database_);
  if (!FindSite(name)) return false;
  statements_->removeSiteSettings.Bind(1, name).Run();
  statements_->removeSite.Bind(1, name).Run();
  statements_->bump.Run();
  transaction.Commit();
  return true;
}

namespace {

SiteRecord SiteOfRow(Statement const& statement) {
  SiteRecord site;
  site.name = statement.Bytes(0);
  site.url = statement.Bytes(1);
  site.type = statement.Bytes(2);
  site.displayName = statement.Bytes(3);
  site.identity = static_cast<std::uint32_t>(statement.Number(4));
  site.subscribeTime = statement.Number(5);
  site.lastGatherTime = statement.Number(6);
  site.gatherOption = static_cast<std::uint32_t>(statement.Number(7));
  site.version = static_cast<std::uint32_t>(statement.Number(8));
  site.versions = UnpackedVersions(statement.Bytes(9));
  site.publisherInterval = static_cast<std::uint32_t>(statement.Number(10));
  site.customInterval = static_cast<std::uint32_t>(statement.Number(11));
  return site;
}

}  // namespace

std::optional<SiteRecord> ClientRecords::FindSite(std::string_view name) {
  Statement& statement = statements_->findSite;
  statement.Bind(1, name);
  if (!statement.Step()) return std::nullopt;
  SiteRecord site = SiteOfRow(statement);
  statement.Reset();
  Statement& groups = statements_->siteGroups;
  groups.Bind(1, site.name);
  while (groups.Step()) {
    site.groups.push_back(
        SiteGroupRecord{static_cast<std::uint64_t>(groups.Number(0)), groups.Number(1) != 0});
  }
  return site;
}

std::vector<SiteRecord> ClientRecords::Sites() {
  std::vector<SiteRecord> sites;
  Statement& statement = statements_->allSites;
  while (statement.Step()) sites.push_back(SiteOfRow(statement));
  for (SiteRecord& site : sites) {
    Statement& groups = statements_->siteGroups;
    groups.Bind(1, site.name);
    while (groups.Step()) {
      site.groups.push_back(
          SiteGroupRecord{static_cast<std::uint64_t>(groups.Number(0)), groups.Number(1) != 0});
    }
  }
  return sites;
}

void ClientRecords::InsertAction(ActionRecord const& action) {
  CheckAction(action);
  Statement& insert = statements_->insertAction;
  insert.Bind(1, static_cast<std::int64_t>(action.id)).Bind(2, std::int64_t{action.current ? 1 : 0});
  for (std::size_t k = 0; k < kActionFieldCount; ++k) {
    insert.Bind(static_cast<int>(k + 3), static_cast<std::int64_t>(action.fields[k]));
  }
  insert.Run();
  for (ActionParameterRecord const& parameter : action.parameters) {
    statements_->insertParameter.Bind(1, static_cast<std::int64_t>(action.id))
        .Bind(2, parameter.name)
        .Bind(3, parameter.value)
        .Run();
  }
}

std::vector<ActionRecord> ClientRecords::ReadActions(Statement& statement) {
  std::vector<ActionRecord> actions;
  while (statement.Step()) {
    ActionRecord action;
    action.id = static_cast<std::uint64_t>(statement.Number(0));
    action.current = statement.Number(1) != 0;
    for (std::size_t k = 0; k < kActionFieldCount; ++k) {
      action.fields[k] = static_cast<std::uint64_t>(statement.Number(static_cast<int>(k + 2)));
    }
    actions.push_back(std::move(action));
  }
  // The numbers are unsigned; the database keeps them signed.
  std::sort(actions.begin(), actions.end(),
            [](ActionRecord const& left, ActionRecord const& right) { return left.id < right.id; });
  for (ActionRecord& action : actions) {
    Statement& parameters = statements_->actionParameters;
    parameters.Bind(1, static_cast<std::int64_t>(action.id));
    while (parameters.Step()) {
      action.parameters.push_back(ActionParameterRecord{parameters.Bytes(0), parameters.Bytes(1)});
    }
  }
  return actions;
}

std::vector<ActionRecord> ClientRecords::Actions() { return ReadActions(statements_->allActions); }

std::optional<ActionRecord> ClientRecords::FindAction(std::uint64_t id) {
  Statement& statement = statements_->findAction;
  statement.Bind(1, static_cast<std::int64_t>(id));
  std::vector<ActionRecord> found = ReadActions(statement);
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

std::optional<ActionRecord> ClientRecords::CurrentAction() {
  std::vector<ActionRecord> found = ReadActions(statements_->currentAction);
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

std::optional<ActionRecord> ClientRecords::ActiveAction() {
  std::vector<ActionRecord> found = ReadActions(statements_->activeAction);
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

namespace {

constexpr char kNudgeEvaluationBlocked[] = "nudge evaluation blocked";

}  // namespace

std::vector<NudgeRecord> ClientRecords::ReadNudges(Statement& statement) {
  std::vector<NudgeRecord> nudges;
  while (statement.Step()) {
    NudgeRecord nudge;
    nudge.site = statement.Bytes(0);
    nudge.position = static_cast<std::uint32_t>(statement.Number(1));
    nudge.id = static_cast<std::uint64_t>(statement.Number(2));
    nudge.relevant = statement.Number(3) != 0;
    nudges.push_back(std::move(nudge));
  }
  for (NudgeRecord& nudge : nudges) {
    Statement& headers = statements_->nudgeHeaders;
    headers.Bind(1, nudge.site).Bind(2, std::int64_t{nudge.position});
    while (headers.Step()) nudge.headers.push_back(NudgeHeaderRecord{headers.Bytes(0), headers.Bytes(1)});
  }
  return nudges;
}

std::vector<NudgeRecord> ClientRecords::Nudges() { return ReadNudges(statements_->allNudges); }

std::optional<NudgeRecord> ClientRecords::NextNudge(std::string_view site, std::uint32_t from,
                                                    bool relevantOnly) {
  Statement& statement = statements_->nextNudge;
  statement.Bind(1, site).Bind(2, std::int64_t{from}).Bind(3, std::int64_t{relevantOnly ? 1 : 0});
  std::vector<NudgeRecord> found = ReadNudges(statement);
  if (found.empty()) return std::nullopt;
  return std::move(found.front());
}

std::optional<NudgeRecord> ClientRecords::FindNudge(std::string_view site, std::uint32_t position) {
  std::optional<NudgeRecord> found = NextNudge(site, position, false);
  if (!found || found->position != position) return std::nullopt;
  return found;
}

bool ClientRecords::NudgeEvaluationBlocked() {
  Statement& statement = statements_->findFlag;
  statement.Bind(1, std::string_view(kNudgeEvaluationBlocked));
  bool blocked = false;
  if (statement.Step()) blocked = statement.Number(0) != 0;
  statement.Reset();
  return blocked;
}

namespace {

// The host's state, row by row: a number or a text under a name.
constexpr char kComputerId[] = "computer id";
constexpr char kApparentServerTime[] = "apparent server time";
constexpr char kActionLockController[] = "action lock controller";
constexpr char kAnalysisTime[] = "analysis time";
constexpr char kFipsMode[] = "fips mode";
constexpr char kDesiredFipsMode[] = "desired fips mode";
constexpr char kFipsModeFailureMessage[] = "fips mode failure message";
constexpr char kEncryptReport[] = "encrypt report";
constexpr char kDesiredEncryptReport[] = "desired encrypt report";
constexpr char kEncryptReportFailureMessage[] = "encrypt report failure message";
constexpr char kWakeOnLanSubnet[] = "wake on lan subnet";
constexpr char kRestartPending[] = "restart pending";

}  // namespace

HostStateRecord ClientRecords::HostState() {
  auto const number = [this](char const* name) -> std::optional<std::int64_t> {
    Statement& statement = statements_->findFlag;
    statement.Bind(1, std::string_view(name));
    std::optional<std::int64_t> found;
    if (statement.Step()) found = statement.Number(0);
    statement.Reset();
    return found;
  };
  auto const text = [this](char const* name) -> std::optional<std::string> {
    Statement& statement = statements_->findFlagText;
    statement.Bind(1, std::string_view(name));
    std::optional<std::string> found;
    if (statement.Step() && !statement.IsNull(0)) found = statement.Bytes(0);
    statement.Reset();
    return found;
  };
  HostStateRecord state;
  if (auto const id = number(kComputerId)) state.computerId = static_cast<std::uint64_t>(*id);
  if (auto const time = number(kApparentServerTime)) {
    state.apparentServerTime = static_cast<std::uint64_t>(*time);
  }
  state.actionLockController = static_cast<std::uint32_t>(number(kActionLockController).value_or(0));
  state.analysisTime = number(kAnalysisTime);
  state.fipsMode = number(kFipsMode).value_or(0) != 0;
  state.desiredFipsMode = number(kDesiredFipsMode).value_or(0) != 0;
  state.fipsModeFailureMessage = text(kFipsModeFailureMessage);
  state.encryptReport = number(kEncryptReport).value_or(0) != 0;
  state.desiredEncryptReport = number(kDesiredEncryptReport).value_or(0) != 0;
  state.encryptReportFailureMessage = text(kEncryptReportFailureMessage);
  state.wakeOnLanSubnet = text(kWakeOnLanSubnet);
  state.restartPending = number(kRestartPending).value_or(0) != 0;
  Statement& restarts = statements_->allRestarts;
  while (restarts.Step()) state.pendingRestarts.push_back(restarts.Bytes(0));
  return state;
}

std::vector<CertificateRecord> ClientRecords::Certificates() {
  Statement statement(database_, "SELECT name, der FROM certificates ORDER BY name");
  std::vector<CertificateRecord> certificates;
  while (statement.Step()) {
    certificates.push_back(CertificateRecord{statement.Bytes(0), statement.Bytes(1)});
  }
  return certificates;
}

std::optional<CertificateRecord> ClientRecords::FindCertificate(std::string_view name) {
  Statement statement(database_, "SELECT name, der FROM certificates WHERE name = ?1");
  statement.Bind(1, name);
  if (!statement.Step()) return std::nullopt;
  return CertificateRecord{statement.Bytes(0), statement.Bytes(1)};
}

ClientRecordSet ClientRecords::Export() {
  // One read transaction, so that the settings and the sites agree.
  database_.Execute("BEGIN");
  try {
    ClientRecordSet records;
    Statement& statement = statements_->allSettings;
    while (statement.Step()) {
      SettingScope const scope =
          statement.Number(5) == 1 ? SettingScope::kSites : SettingScope::kClient;
      records.settings.push_back(ReadSetting(statement, scope));
    }
    records.sites = Sites();
    records.actions = Actions();
    records.nudges = Nudges();
    records.nudgeEvaluationBlocked = NudgeEvaluationBlocked();
    records.state = HostState();
    records.certificates = Certificates();
    records.servers = Servers();
    records.usageEvents = UsageEvents();
    database_.Execute("COMMIT");
    return records;
  } catch (...) {
    try {
      database_.Execute("ROLLBACK");
    } catch (DatabaseError const&) {
    }
    throw;
  }
}

void ClientRecords::Replace(ClientRecordSet const& records) {
  // Everything is checked before anything is written, so that a refused
  // record says so without a transaction to undo.
  for (SiteRecord const& site : records.sites) CheckSite(site);
  for (SettingRecord const& setting : records.settings) {
    CheckSettingName("section", setting.section);
    CheckSettingName("name", setting.name);
    CheckSettingValue(setting.value);
  }
  std::vector<std::uint64_t> numbers;
  std::size_t current = 0;
  for (ActionRecord const& action : records.actions) {
    CheckAction(action);
    numbers.push_back(action.id);
    if (action.current) ++current;
  }
  if (current > 1) throw RecordError("at most one action can be the current one");
  std::sort(numbers.begin(), numbers.end());
  auto const twice = std::adjacent_find(numbers.begin(), numbers.end());
  if (twice != numbers.end()) throw RecordError("the action " + std::to_string(*twice) + " comes twice");
  for (NudgeRecord const& nudge : records.nudges) CheckNudge(nudge);
  CheckHostState(records.state);
  std::vector<std::string> certificateNames;
  for (CertificateRecord const& certificate : records.certificates) {
    CheckCertificate(certificate);
    certificateNames.push_back(certificate.name);
  }
  std::sort(certificateNames.begin(), certificateNames.end());
  auto const sameName = std::adjacent_find(certificateNames.begin(), certificateNames.end());
  if (sameName != certificateNames.end()) {
    throw RecordError("the certificate " + Shown(*sameName) + " comes twice");
  }
  CheckServers(records.servers);
  for (UsageEventRecord const& event : records.usageEvents) CheckUsageEvent(event);
  Transaction transaction(database_);
  database_.Execute(
      "DELETE FROM host_flags; DELETE FROM pending_restarts; DELETE FROM certificates;"
      " DELETE FROM action_parameters; DELETE FROM actions; DELETE FROM nudge_headers;"
      " DELETE FROM nudges; DELETE FROM site_groups; DELETE FROM settings; DELETE FROM sites;");
  for (ActionRecord const& action : records.actions) InsertAction(action);
  InsertServers(records.servers);
  for (SiteRecord const& site : records.sites) {
    if (FindSite(site.name)) throw RecordError("the site " + Shown(site.name) + " comes twice");
    InsertSite(site);
  }
  for (NudgeRecord const& nudge : records.nudges) {
    if (!FindSite(nudge.site)) {
      throw RecordError("a nudge names the site " + Shown(nudge.site) +
                        ", which is not among the sites");
    }
    if (FindNudge(nudge.site, nudge.position)) {
      throw RecordError("the site " + Shown(nudge.site) + " has two nudges at " +
                        std::to_string(nudge.position));
    }
    statements_->insertNudge.Bind(1, nudge.site)
        .Bind(2, std::int64_t{nudge.position})
        .Bind(3, static_cast<std::int64_t>(nudge.id))
        .Bind(4, std::int64_t{nudge.relevant ? 1 : 0})
        .Run();
    for (std::size_t ordinal = 0; ordinal < nudge.headers.size(); ++ordinal) {
      statements_->insertNudgeHeader.Bind(1, nudge.site)
          .Bind(2, std::int64_t{nudge.position})
          .Bind(3, static_cast<std::int64_t>(ordinal))
          .Bind(4, nudge.headers[ordinal].name)
          .Bind(5, nudge.headers[ordinal].value)
          .Run();
    }
  }
  statements_->setFlag.Bind(1, std::string_view(kNudgeEvaluationBlocked))
      .Bind(2, std::int64_t{records.nudgeEvaluationBlocked ? 1 : 0})
      .Run();
  HostStateRecord const& state = records.state;
  auto const setNumber = [this](char const* name, std::int64_t value) {
    statements_->setFlag.Bind(1, std::string_view(name)).Bind(2, value).Run();
  };
  auto const setText = [this](char const* name, std::optional<std::string> const& value) {
    if (value) statements_->setFlagText.Bind(1, std::string_view(name)).Bind(2, *value).Run();
  };
  if (state.computerId) setNumber(kComputerId, static_cast<std::int64_t>(*state.computerId));
  if (state.apparentServerTime) {
    setNumber(kApparentServerTime, static_cast<std::int64_t>(*state.apparentServerTime));
  }
  setNumber(kActionLockController, state.actionLockController);
  if (state.analysisTime) setNumber(kAnalysisTime, *state.analysisTime);
  setNumber(kFipsMode, state.fipsMode ? 1 : 0);
  setNumber(kDesiredFipsMode, state.desiredFipsMode ? 1 : 0);
  setText(kFipsModeFailureMessage, state.fipsModeFailureMessage);
  setNumber(kEncryptReport, state.encryptReport ? 1 : 0);
  setNumber(kDesiredEncryptReport, state.desiredEncryptReport ? 1 : 0);
  setText(kEncryptReportFailureMessage, state.encryptReportFailureMessage);
  setText(kWakeOnLanSubnet, state.wakeOnLanSubnet);
  setNumber(kRestartPending, state.restartPending ? 1 : 0);
  for (std::string const& name : state.pendingRestarts) {
    statements_->insertRestart.Bind(1, name).Run();
  }
  if (!records.certificates.empty()) {
    Statement insert(database_, "INSERT INTO certificates (name, der) VALUES (?1, ?2)");
    for (CertificateRecord const& certificate : records.certificates) {
      insert.Bind(1, certificate.name).Bind(2, certificate.der).Run();
    }
  }
  for (SettingRecord const& setting : records.settings) {
    if (setting.scope == SettingScope::kSites && !FindSite(setting.section)) {
      throw RecordError("a setting names the site " + Shown(setting.section) +
                        ", which is not among the sites");
    }
    if (FindSetting(setting.scope, setting.section, setting.name)) {
      throw RecordError("the setting " + Shown(setting.name) + " of " + Shown(setting.section) +
                        " comes twice");
    }
    InsertSetting(setting);
  }
  ReplaceUsageEvents(records.usageEvents);
  statements_->bump.Run();
  transaction.Commit();
}

// ---------------------------------------------------------------------------
// The servers.

void CheckServers(ServerRecordSet const& servers) {
  struct Field {
    char const* what;
    std::string const* text;
    std::size_t maximum;
  };
  Field const fields[] = {
      {"the registration server's version", &servers.registrationServerVersion, 31},
      {"the registration server's name", &servers.registrationServerName, 255},
      {"the relay's version", &servers.relayVersion, 255},
      {"the root server's name", &servers.rootServerName, 255},
      {"the download server's name", &servers.downloadServerName, 255},
  };
  for (Field const& field : fields) {
    if (field.text->size() > field.maximum) {
      throw RecordError(std::string(field.what) + " is longer than " +
                        std::to_string(field.maximum) + " bytes: " + Shown(*field.text));
    }
    CheckText(field.what, *field.text, false);
  }
  if (servers.list.size() > kMaximumServerListEntries) {
    throw RecordError("the server list holds at most " + std::to_string(kMaximumServerListEntries) +
                      " servers");
  }
  for (std::string const& entry : servers.list) {
    // A flattened entry has at least its 32 bytes of numbers.
    if (entry.size() < 32 || entry.size() > kMaximumFlattenedServerLength) {
      throw RecordError("a server of the list is not a flattened entry of 32 to " +
                        std::to_string(kMaximumFlattenedServerLength) + " bytes");
    }
  }
  if (servers.selected && *servers.selected >= servers.list.size()) {
    throw RecordError("the selected server " + std::to_string(*servers.selected) +
                      " is not in the server list");
  }
}

void ClientRecords::InsertServers(ServerRecordSet const& servers) {
  CheckServers(servers);
  database_.Execute("DELETE FROM server_list; DELETE FROM server_record;");
  Statement record(database_,
                   "INSERT INTO server_record (only, registration_server_version,"
                   " registration_server_name, relay_version, root_server_name, root_server_id,"
                   " download_server_name, selected) VALUES (1, ?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  std::optional<std::int64_t> selected;
  if (servers.selected) selected = *servers.selected;
  record.Bind(1, servers.registrationServerVersion)
      .Bind(2, servers.registrationServerName)
      .Bind(3, servers.relayVersion)
      .Bind(4, servers.rootServerName)
      .Bind(5, std::int64_t{servers.rootServerId})
      .Bind(6, servers.downloadServerName)
      .Bind(7, selected)
      .Run();
  Statement entry(database_, "INSERT INTO server_list (position, entry) VALUES (?1, ?2)");
  for (std::size_t position = 0; position < servers.list.size(); ++position) {
    entry.Bind(1, static_cast<std::int64_t>(position)).Bind(2, servers.list[position]).Run();
  }
}

ServerRecordSet ClientRecords::Servers() {
  ServerRecordSet servers;
  Statement record(database_,
                   "SELECT registration_server_version, registration_server_name, relay_version,"
                   " root_server_name, root_server_id, download_server_name, selected"
                   " FROM server_record");
  if (record.Step()) {
    servers.registrationServerVersion = record.Bytes(0);
    servers.registrationServerName = record.Bytes(1);
    servers.relayVersion = record.Bytes(2);
    servers.rootServerName = record.Bytes(3);
    servers.rootServerId = static_cast<std::uint32_t>(record.Number(4));
    servers.downloadServerName = record.Bytes(5);
    if (!record.IsNull(6)) servers.selected = static_cast<std::uint32_t>(record.Number(6));
    record.Reset();
  }
  Statement entries(database_, "SELECT entry FROM server_list ORDER BY position");
  while (entries.Step()) servers.list.push_back(entries.Bytes(0));
  return servers;
}

std::uint64_t ClientRecords::Generation() {
  Statement& statement = statements_->generation;
  std::uint64_t number = 0;
  if (statement.Step()) number = static_cast<std::uint64_t>(statement.Number(0));
  statement.Reset();
  return number;
}

// ---------------------------------------------------------------------------
// Usage events.

void CheckUsageEvent(UsageEventRecord const& event) {
  std::string_view const name = event.application;
  if (name.empty()) throw RecordError("a usage event's application cannot be empty");
  if (name.size() > kMaximumApplicationNameLength) {
    throw RecordError("a usage event's application is longer than " +
                      std::to_string(kMaximumApplicationNameLength) + " bytes: " + Shown(name));
  }
  CheckText("a usage event's application", name, false);
  if (name.find('/') != std::string_view::npos || name == "." || name == "..") {
    throw RecordError("a usage event's application names a file: no \"/\", \".\" or \"..\": " +
                      Shown(name));
  }
  std::string const where = "the usage event " + std::to_string(event.ordinal) + " of " + Shown(name);
  for (std::int64_t const time : {event.time, event.modificationTime}) {
    if (time < 0 || time > kLatestUsageTime) {
      throw RecordError(where + ": a time is 0 to " + std::to_string(kLatestUsageTime) +
                        " microseconds, not " + std::to_string(time));
    }
  }
  for (std::string const* text : {&event.versionInfo, &event.path}) {
    if (text->size() > kMaximumUsageTextLength) {
      throw RecordError(where + ": a text is longer than " +
                        std::to_string(kMaximumUsageTextLength) + " bytes");
    }
    CheckText(where + ": a text", *text, false);
  }
}

namespace {

constexpr char kUsageColumns[] =
    "application, ordinal, type, time, modification_time, version_info, path";

UsageEventRecord ReadUsageEvent(Statement& statement) {
  UsageEventRecord event;
  event.application = statement.Bytes(0);
  event.ordinal = static_cast<std::uint32_t>(statement.Number(1));
  event.type = static_cast<std::uint32_t>(statement.Number(2));
  event.time = statement.Number(3);
  event.modificationTime = statement.Number(4);
  event.versionInfo = statement.Bytes(5);
  event.path = statement.Bytes(6);
  return event;
}

}  // namespace

std::vector<UsageEventRecord> ClientRecords::UsageEvents() {
  Statement statement(database_, std::string("SELECT ") + kUsageColumns +
                                     " FROM usage_events ORDER BY application, ordinal");
  std::vector<UsageEventRecord> events;
  while (statement.Step()) events.push_back(ReadUsageEvent(statement));
  return events;
}

std::optional<UsageEventRecord> ClientRecords::FindUsageEvent(std::string_view application,
                                                              std::uint32_t ordinal) {
  Statement statement(database_, std::string("SELECT ") + kUsageColumns +
                                     " FROM usage_events WHERE application = ?1 AND ordinal = ?2");
  statement.Bind(1, application).Bind(2, std::int64_t{ordinal});
  std::optional<UsageEventRecord> found;
  if (statement.Step()) found = ReadUsageEvent(statement);
  statement.Reset();
  return found;
}

void ClientRecords::ReplaceUsageEvents(std::vector<UsageEventRecord> const& events) {
  database_.Execute("DELETE FROM usage_events;");
  Statement insert(database_, std::string("INSERT INTO usage_events (") + kUsageColumns +
                                  ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)");
  std::map<std::string, std::int64_t> counted;
  for (UsageEventRecord const& event : events) {
    std::int64_t const ordinal = counted[event.application]++;
    insert.Bind(1, event.application)
        .Bind(2, ordinal)
        .Bind(3, std::int64_t{event.type})
        .Bind(4, event.time)
        .Bind(5, event.modificationTime)
        .Bind(6, event.versionInfo)
        .Bind(7, event.path)
        .Run();
  }
}

}  // namespace survey::client
