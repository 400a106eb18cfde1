// The client's records: one SQLite database in the client folder, named
// "client.db", that holds the client's setting store, the sites' setting
// store, the sites with their nudges, the actions with their state, the
// certificates the client keeps, the servers it knows, and the usage events
// of watched applications.
//
// Every change is one transaction; a change that is refused (RecordError)
// or that fails (DatabaseError) leaves the database as it was. Readers see
// the last committed state: a setting set by another process is seen by the
// next read here.
//
// The schema carries its version in PRAGMA user_version, and an older
// database is brought forward step by step when it is opened.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/client/sqlite_database.h"

namespace survey::client {

// A record that the client does not take: the message says what and why.
class RecordError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The two setting stores.
enum class SettingScope : int { kClient = 0, kSites = 1 };

// The section of the client's own settings, and that of custom site
// subscriptions, in the client's store.
inline constexpr char kClientSection[] = "Client";
inline constexpr char kCustomSitesSection[] = "CustomSites";

struct SettingRecord {
  SettingScope scope = SettingScope::kClient;
  std::string section;
  std::string name;  // the key as stored
  std::string value;
  std::optional<std::int64_t> date;  // microseconds since 1970 in UTC
  bool deleted = false;

  bool operator==(SettingRecord const&) const = default;
};

struct SiteGroupRecord {
  std::uint64_t id = 0;
  bool member = false;

  bool operator==(SiteGroupRecord const&) const = default;
};

struct SiteRecord {
  std::string name;
  std::string url;
  std::string type = ">Nudge Remote Site";  // the site's banner
  std::string displayName;                  // a custom site's shown name
  std::uint32_t identity = 0;
  std::int64_t subscribeTime = 0;   // microseconds since 1970 in UTC
  std::int64_t lastGatherTime = 0;  // microseconds since 1970 in UTC
  std::uint32_t gatherOption = 0;   // 0 publisher, 1 custom, 2 manual, 3 disabled
  std::uint32_t version = 0;
  std::vector<std::uint32_t> versions;  // at most 128
  std::uint32_t publisherInterval = 0;  // seconds
  std::uint32_t customInterval = 0;     // seconds
  std::vector<SiteGroupRecord> groups;

  bool operator==(SiteRecord const&) const = default;
};

// The fields of an action that the client keeps, each a whole number, in
// the order of the host's action record. A flag is 0 or 1; a time counts
// microseconds since 1970 in UTC, 0 for none.
enum class ActionField : int {
  kPending,
  kDateTrue,
  kDateFalse,
  kGroupLeader,
  kOffer,
  kPendingRestart,
  kPendingLogin,
  kConstrained,
  kOfferAccepted,
  kConstraint,
  kPersistentConstraint,
  kFirstActiveCount,
  kActiveCount,
  kActiveLineNumber,
  kActiveStartTime,
  kLastActiveLineNumber,
  kLastActiveTime,
  kLastChangeTime,
  kWaitingForDownload,
  kActionId,
  kSubActionOrdinal,
  kActive,
  kOriginNudgeId,
  kFailed,
};
inline constexpr std::size_t kActionFieldCount = 24;

// What a field is called (in the import file and the database, with "_"
// for the spaces), and the largest value it holds.
struct ActionFieldInfo {
  char const* name;
  std::uint64_t maximum;
  bool flag;
};
ActionFieldInfo const& InfoOf(ActionField field);

struct ActionParameterRecord {
  std::string name;
  std::string value;

  bool operator==(ActionParameterRecord const&) const = default;
};

struct ActionRecord {
  ActionRecord();

  std::uint64_t id = 0;
  bool current = false;  // the action under evaluation; at most one is
  std::uint64_t fields[kActionFieldCount] = {};
  std::vector<ActionParameterRecord> parameters;  // of the current action alone

  std::uint64_t& operator[](ActionField field) { return fields[static_cast<int>(field)]; }
  std::uint64_t operator[](ActionField field) const { return fields[static_cast<int>(field)]; }
  bool operator==(ActionRecord const&) const = default;
};

// An advice item of a site, a nudge: its place in the site's list, its
// number, its relevance and its headers, in order; a name may come twice.
struct NudgeHeaderRecord {
  std::string name;
  std::string value;

  bool operator==(NudgeHeaderRecord const&) const = default;
};

struct NudgeRecord {
  std::string site;
  std::uint32_t position = 0;
  std::uint64_t id = 0;
  bool relevant = false;
  std::vector<NudgeHeaderRecord> headers;

  bool operator==(NudgeRecord const&) const = default;
};

// What the host knows of the client's own state beside its records: each
// is absent until it is set.
struct HostStateRecord {
  std::optional<std::uint64_t> computerId;
  // Microseconds since 1970 in UTC, by the server's clock.
  std::optional<std::uint64_t> apparentServerTime;
  // Who controls the action lock: 0 the client, 1 the console, 2 nobody.
  std::uint32_t actionLockController = 0;
  // When the analysis under evaluation last ran, microseconds since 1970
  // (0 for never); absent when no analysis is under evaluation.
  std::optional<std::int64_t> analysisTime;
  bool fipsMode = false;
  bool desiredFipsMode = false;
  std::optional<std::string> fipsModeFailureMessage;
  bool encryptReport = false;
  bool desiredEncryptReport = false;
  std::optional<std::string> encryptReportFailureMessage;
  std::optional<std::string> wakeOnLanSubnet;
  bool restartPending = false;
  // The reasons for which a restart is pending, by name.
  std::vector<std::string> pendingRestarts;

  bool operator==(HostStateRecord const&) const = default;
};

// A certificate the client keeps, by name ("client", "server", ...): its DER
// form, as certificates.h reads it from PEM text.
struct CertificateRecord {
  std::string name;
  std::string der;

  bool operator==(CertificateRecord const&) const = default;
};

// The servers the client knows: what it has learnt of its registration
// server, relay, root and download servers, and its server list. A text is
// empty when it is not known.
struct ServerRecordSet {
  std::string registrationServerVersion;  // at most 31 bytes
  std::string registrationServerName;     // each name at most 255 bytes
  std::string relayVersion;               // at most 255 bytes
  std::string rootServerName;
  std::uint32_t rootServerId = 0;
  std::string downloadServerName;
  // The server list, each entry in its flattened big-endian form, in order.
  std::vector<std::string> list;
  // The place in the list of the server the client chose; none for none.
  std::optional<std::uint32_t> selected;

  bool operator==(ServerRecordSet const&) const = default;
};

// One event of a watched application's usage, in the order of its stream:
// `ordinal` counts the application's events from 0. The type is 0 "Start
// Sampling", 1 "Application Start", 2 "Application End", 3 "End
// Sampling"; other numbers are kept and passed over by the readers. Times
// count microseconds since 1970 in UTC.
struct UsageEventRecord {
  std::string application;
  std::uint32_t ordinal = 0;
  std::uint32_t type = 0;
  std::int64_t time = 0;
  std::int64_t modificationTime = 0;
  std::string versionInfo;
  std::string path;

  bool operator==(UsageEventRecord const&) const = default;
};

// Everything in the database, as export gives it and import takes it.
struct ClientRecordSet {
  std::vector<SettingRecord> settings;
  std::vector<SiteRecord> sites;
  std::vector<ActionRecord> actions;
  std::vector<NudgeRecord> nudges;
  // While set, the nudges must not be read: a query that walks them cannot
  // be answered now.
  bool nudgeEvaluationBlocked = false;
  HostStateRecord state;
  std::vector<CertificateRecord> certificates;
  ServerRecordSet servers;
  // By application, then in stream order.
  std::vector<UsageEventRecord> usageEvents;
};

// Limits of what a record holds. Longer or odder input is refused with a
// RecordError rather than stored.
inline constexpr std::size_t kMaximumNameLength = 1024;
inline constexpr std::size_t kMaximumValueLength = 65536;
inline constexpr std::size_t kMaximumSiteNameLength = 255;
inline constexpr std::size_t kMaximumVersions = 128;

// Throw RecordError, naming the field, for input that no record may hold.
// Every text is UTF-8. A setting's section and name: 1 to 1024 bytes, no
// control byte (NUL, newline...). A value: at most 65536 bytes, no control
// byte but the tab. A site's name: 1 to 255 bytes, no control byte, no "/",
// not starting with ".". A site's gather option: 0 to 3; versions: at most
// 128.
void CheckSettingName(std::string_view what, std::string_view name);
void CheckSettingValue(std::string_view value);
void CheckSiteName(std::string_view name);
void CheckSite(SiteRecord const& site);
// A nudge: of a site that exists (checked when written), at most 4096
// headers, each name 1 to 1024 bytes and value at most 65536, both UTF-8
// without control bytes (the tab allowed in a value).
inline constexpr std::size_t kMaximumNudgeHeaders = 4096;
void CheckNudge(NudgeRecord const& nudge);
// The host's state: the controller 0 to 2, each text at most 1024 bytes of
// UTF-8 without control bytes, the names of pending restarts 1 to 1024
// bytes and none twice.
void CheckHostState(HostStateRecord const& state);
// The servers: the texts UTF-8 without control bytes and within their
// lengths (so that each fits its field of the host's server record with its
// terminator), at most 1024 entries in the list, each from 32 to 4096 bytes,
// and the selected one among them.
inline constexpr std::size_t kMaximumServerListEntries = 1024;
inline constexpr std::size_t kMaximumFlattenedServerLength = 4096;
void CheckServers(ServerRecordSet const& servers);
// An action: each field within its bounds, a parameter's name 1 to 1024
// bytes and its value at most 65536, both UTF-8 without control bytes (the
// tab allowed in a value), no name twice.
void CheckAction(ActionRecord const& action);
// A certificate: its name 1 to 1024 bytes of UTF-8 without control bytes,
// its DER form one whole certificate whose facts can be read.
void CheckCertificate(CertificateRecord const& certificate);
// A usage event: the application's name 1 to 250 bytes of UTF-8 without
// control bytes or "/", neither "." nor ".." (it names the statistics file
// "NAME.stat"); times from 0 to the end of the year 9999; the version info
// and path at most 4096 bytes of UTF-8 without control bytes.
inline constexpr std::size_t kMaximumApplicationNameLength = 250;
inline constexpr std::size_t kMaximumUsageTextLength = 4096;
inline constexpr std::int64_t kLatestUsageTime = 253402300799999999;
void CheckUsageEvent(UsageEventRecord const& event);

// The client's own keys are stored percent-encoded: letters, digits, "_",
// the space and "-" stay, every other byte is written as "%" and two
// upper-case hex digits. A site's keys are stored as they are.
std::string EncodedClientKey(std::string_view name);

class ClientRecords {
 public:
  // The schema version this build writes.
  static constexpr int kSchemaVersion = 8;
  static constexpr char kFileName[] = "client.db";

  // Opens the database at that path, making it if missing and bringing its
  // schema forward. Throws DatabaseError when the file cannot be opened, is
  // not a database, or holds a schema newer than this build knows.
  explicit ClientRecords(std::string const& path);
  ClientRecords(ClientRecords const&) = delete;
  ClientRecords& operator=(ClientRecords const&) = delete;
  ~ClientRecords();

  std::string const& Path() const;

  // Settings. `Set` writes the value and date and clears the deleted flag;
  // `Unset` keeps the setting, marked deleted, with the new date, and
  // returns false when there is no such setting.
  void SetSetting(SettingRecord const& setting);
  bool UnsetSetting(SettingScope scope, std::string_view section, std::string_view name,
                    std::optional<std::int64_t> date);
  std::optional<SettingRecord> FindSetting(SettingScope scope, std::string_view section,
                                           std::string_view name);
  // The first setting of the section whose key comes after `after` (from
  // the first with none), in the order of the keys' bytes.
  std::optional<SettingRecord> NextSetting(SettingScope scope, std::string_view section,
                                           std::optional<std::string_view> after);
  // Every setting of the scope, of one section or of all.
  std::vector<SettingRecord> Settings(SettingScope scope,
                                      std::optional<std::string_view> section = std::nullopt);

  // Sites. `AddSite` refuses a name that is taken; `RemoveSite` takes the
  // site's settings with it and returns false when there is no such site.
  void AddSite(SiteRecord const& site);
  bool RemoveSite(std::string_view name);
  std::optional<SiteRecord> FindSite(std::string_view name);
  std::vector<SiteRecord> Sites();

  // Actions, in the order of their numbers. The current action is the one
  // marked so; the active action is the first one whose script runs now.
  std::vector<ActionRecord> Actions();
  std::optional<ActionRecord> FindAction(std::uint64_t id);
  std::optional<ActionRecord> CurrentAction();
  std::optional<ActionRecord> ActiveAction();

  // Nudges: all of them, by site and position; the first of a site at or
  // behind a position, of the relevant ones only if asked; one by place.
  std::vector<NudgeRecord> Nudges();
  std::optional<NudgeRecord> NextNudge(std::string_view site, std::uint32_t from,
                                       bool relevantOnly);
  std::optional<NudgeRecord> FindNudge(std::string_view site, std::uint32_t position);
  bool NudgeEvaluationBlocked();
  HostStateRecord HostState();
  ServerRecordSet Servers();

  // Certificates, in the order of their names' bytes.
  std::vector<CertificateRecord> Certificates();
  std::optional<CertificateRecord> FindCertificate(std::string_view name);

  // Usage events: all of them, by application and in stream order; the
  // event of an application at an ordinal.
  std::vector<UsageEventRecord> UsageEvents();
  std::optional<UsageEventRecord> FindUsageEvent(std::string_view application,
                                                 std::uint32_t ordinal);

  // The whole state; `Replace` puts another in its place, in one
  // transaction.
  ClientRecordSet Export();
  void Replace(ClientRecordSet const& records);

  // A number that changes whenever the database changes, from this or any
  // other connection.
  std::uint64_t Generation();

 private:
  struct Statements;
  void Migrate();
  void InsertSite(SiteRecord const& site);
  void InsertSetting(SettingRecord const& setting);
  void InsertAction(ActionRecord const& action);
  void InsertServers(ServerRecordSet const& servers);
  std::vector<ActionRecord> ReadActions(Statement& statement);
  std::vector<NudgeRecord> ReadNudges(Statement& statement);
  // Within the transaction of `Replace`: the usage events in place of the
  // stored ones, each application's numbered from 0 in the order given.
  void ReplaceUsageEvents(std::vector<UsageEventRecord> const& events);

  Database database_;
  std::unique_ptr<Statements> statements_;
};

}  // namespace survey::client
