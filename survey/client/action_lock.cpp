#include "survey/client/action_lock.h"

#include <ctime>
#include <exception>
#include <memory>
#include <new>

#include "survey/foundation/ascii.h"
#include "survey/foundation/time.h"
#include "survey/frame/contexts.h"
#include "survey/frame/table.h"

char const* const cActionLockSettingName = "__LockState";
char const* const cActionLockUnlockedValue = "false";
char const* const cActionLockIndefinateValue = "true";
char const* const cActionLockExpireValueName = "ActionLockExpire";
char const* const cActionLockEffectiveValueName = "ActionLockEffective";
char const* const cActionLockControllerValueName = "ActionLockController";
char const* const cActionLockOptionKeyName = "Software\\Kestrix\\FleetClient\\GlobalOptions";
char const* const cActionLockOffString = "off";
char const* const cActionLockOnString = "on";
char const* const cActionLockIndefiniteString = "indefinite";
char const* const cActionLockConsoleString = "console";
char const* const cActionLockClientString = "client";
char const* const cActionLockNobodyString = "nobody";

namespace {

// The codes of the lock value; every value from 2 on is a time.
constexpr long long kLockedWithoutEnd = 0;
constexpr long long kUnlocked = 1;
constexpr unsigned int kControllerClient = 0;
constexpr unsigned int kControllerConsole = 1;
constexpr unsigned int kControllerNobody = 2;

surveyor_string TextOf(char const* text) {
  ConstData const data(text);
  return data.AsSurveyorString();
}

// The lock setting of section "Client"; NoSuchObject without it.
setting LockSetting() {
  SettingStore<UnixSettingIterator>& store = GetSettingStore();
  ConstData const section("Client");
  ConstData const key(cActionLockSettingName);
  setting found(store.Find(section, key));
  if (found.atEnd) throw NoSuchObject();
  return found;
}

moment MomentOf(long long microseconds) {
  return january_1_1970() + integer{microseconds} * microsecond_of();
}

// Whether a dated lock still holds: before the server's apparent time when
// the host knows it, otherwise the local clock in whole seconds.
bool DatedLockHolds(long long value) {
  std::unique_ptr<SurveyorServerRecord> const record = AskServerRecord();
  if (record->apparentServerTime != 0) {
    return static_cast<long long>(record->apparentServerTime) < value;
  }
  long long const now = ClockSeconds();
  return value / 1000000 > now;
}

}  // namespace

long long ActionLockValue() {
  setting const found = LockSetting();
  ConstData const value(reinterpret_cast<unsigned char const*>(found.current.Value().data()),
                        static_cast<unsigned long>(found.current.Value().size()));
  if (Ascii::EqualIgnoringCase(value, ConstData(cActionLockIndefinateValue))) {
    return kLockedWithoutEnd;
  }
  if (Ascii::EqualIgnoringCase(value, ConstData(cActionLockUnlockedValue))) return kUnlocked;
  TimeObject const end = TextToTime(value);
  return (end - TimeObject()) * 1000000LL;
}

action_lock_state ActionLockState_of_world() {
  SurveyorSystemData data{};
  if (!CallContext<&SurveyorSystemContext::GetSystemData>(&data)) throw NoSuchObject();
  return action_lock_state{data.controller};
}

boolean Locked_of(action_lock_state const&) {
  long long value = kUnlocked;
  try {
    value = ActionLockValue();
  } catch (std::bad_alloc const&) {
    throw;
  } catch (std::exception const&) {
    // No setting, no store or a date that cannot be read: not locked.
    return boolean{0};
  }
  if (value == kLockedWithoutEnd) return boolean{1};
  if (value == kUnlocked) return boolean{0};
  return boolean{static_cast<unsigned char>(DatedLockHolds(value) ? 1 : 0)};
}

moment Expire_of(action_lock_state const& state) {
  if (state.controller == kControllerNobody) throw NoSuchObject();
  long long const value = ActionLockValue();
  if (value == kLockedWithoutEnd || value == kUnlocked) throw NoSuchObject();
  return MomentOf(value);
}

moment Effective_of(action_lock_state const& state) {
  if (state.controller == kControllerNobody) throw NoSuchObject();
  // The setting's date as it stands, without a test for a missing one.
  return MomentOf(LockSetting().current.Date());
}

surveyor_string Controller_of(action_lock_state const& state) {
  if (state.controller == kControllerConsole) return TextOf(cActionLockConsoleString);
  if (state.controller == kControllerClient) return TextOf(cActionLockClientString);
  return TextOf(cActionLockNobodyString);
}

surveyor_string LockString_of(action_lock_state const& state) {
  static char const kYes[] = "Yes";
  if (Locked_of(state).value != 0) return TextOf(kYes);
  return surveyor_string{reinterpret_cast<unsigned char const*>(kYes), 0};
}

surveyor_string AsString(action_lock_state const& state) {
  static unsigned char const kEmpty[] = "";
  surveyor_string const empty{kEmpty, 0};
  if (state.controller == kControllerNobody) throw NoSuchObject();
  long long const value = ActionLockValue();
  if (value == kLockedWithoutEnd || value == kUnlocked) return empty;
  if (!DatedLockHolds(value)) return empty;
  return asString(MomentOf(value));
}

// ---------------------------------------------------------------------------
// Registration, in table order. The lock changes between evaluations, so
// nothing is reused.

namespace {

RegistrationTable table{
    TypeRow<action_lock_state>(),
    PropertyRow("action lock state", "action lock states", &ActionLockState_of_world),
    PropertyRow("locked", "lockeds", &Locked_of),
    PropertyRow("expiration date", "expiration dates", &Expire_of),
    PropertyRow("effective date", "effective dates", &Effective_of),
    PropertyRow("controller", "controllers", &Controller_of),
    PropertyRow("lock string", "lock strings", &LockString_of),
    CastRow<action_lock_state>("string", &AsString),
};

}  // namespace
