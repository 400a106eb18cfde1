// The client's action lock: whether the client may take actions now, from
// its one setting "__LockState", which is "true" for a lock without end,
// "false" for none, or the time text of the lock's end. A dated lock is
// compared with the server's apparent time when there is one, so that a
// wrong clock on the client cannot end it early; otherwise with the local
// clock, in whole seconds.
#pragma once

#include "survey/client/settings.h"
#include "survey/frame/adaptors.h"

SURVEY_API extern char const* const cActionLockSettingName;          // "__LockState"
SURVEY_API extern char const* const cActionLockUnlockedValue;        // "false"
SURVEY_API extern char const* const cActionLockIndefinateValue;      // "true"
SURVEY_API extern char const* const cActionLockExpireValueName;      // "ActionLockExpire"
SURVEY_API extern char const* const cActionLockEffectiveValueName;   // "ActionLockEffective"
SURVEY_API extern char const* const cActionLockControllerValueName;  // "ActionLockController"
SURVEY_API extern char const* const cActionLockOptionKeyName;
SURVEY_API extern char const* const cActionLockOffString;         // "off"
SURVEY_API extern char const* const cActionLockOnString;          // "on"
SURVEY_API extern char const* const cActionLockIndefiniteString;  // "indefinite"
SURVEY_API extern char const* const cActionLockConsoleString;     // "console"
SURVEY_API extern char const* const cActionLockClientString;      // "client"
SURVEY_API extern char const* const cActionLockNobodyString;      // "nobody"

// "action lock state": who controls the lock, as the host tells it: 0 the
// client, 1 the console, anything else nobody.
struct SURVEY_API action_lock_state {
  static constexpr char const* TypeName() { return "action lock state"; }

  unsigned int controller;
};

// The lock's value: 0 for a lock without end, 1 for none, otherwise its end
// in microseconds since 1970. NoSuchObject without the setting; a time text
// that cannot be read throws what the reading throws.
SURVEY_API long long ActionLockValue();

SURVEY_API action_lock_state ActionLockState_of_world();
// False without the setting, or when it cannot be read.
SURVEY_API boolean Locked_of(action_lock_state const& state);
// The end of a dated lock, even when it has passed. NoSuchObject when
// nobody controls the lock, or the lock is not dated.
SURVEY_API moment Expire_of(action_lock_state const& state);
// The date of the setting. NoSuchObject when nobody controls the lock or
// there is no setting.
SURVEY_API moment Effective_of(action_lock_state const& state);
SURVEY_API surveyor_string Controller_of(action_lock_state const& state);
// "Yes" while locked, otherwise empty.
SURVEY_API surveyor_string LockString_of(action_lock_state const& state);
// The end of a dated lock that still holds; empty for a lock without end,
// for none and for one that has ended.
SURVEY_API surveyor_string AsString(action_lock_state const& state);
