// The setting stores as the host keeps them and the library reads them.
//
// A store is the host's: the library only reads it, through the three
// virtual operations of `SettingStore` below, and copies what it finds. The
// classes here are whole in this header, with nothing out of line, so that
// a host builds and fills them with its own code and the library reads them
// with its own: neither side calls a function of the other to use them.
//
// A setting has a section (the client's settings are in "Client", a
// site's in the section named after the site), a key, a value, a date and
// a deleted flag. A store walks the settings of one section in the order of
// their keys.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "survey/foundation/data.h"

// The date of a setting that has none: the smallest 64-bit number.
inline constexpr std::int64_t kSettingWithoutDate = INT64_MIN;

// One setting. A default one does not exist.
class RegImpSetting {
 public:
  RegImpSetting() = default;
  RegImpSetting(std::string name, std::string value, std::int64_t date, bool deleted)
      : name_(std::move(name)),
        value_(std::move(value)),
        date_(date),
        exists_(true),
        deleted_(deleted) {}
  RegImpSetting(RegImpSetting const&) = default;
  RegImpSetting& operator=(RegImpSetting const&) = default;

  bool Exists() const { return exists_; }
  bool Deleted() const { return deleted_; }
  // The key as stored.
  std::string const& Name() const { return name_; }
  std::string const& Value() const { return value_; }
  // Microseconds since 1970 in UTC, or kSettingWithoutDate.
  std::int64_t const& Date() const { return date_; }

 private:
  std::string name_;
  std::string value_;
  std::int64_t date_ = kSettingWithoutDate;
  bool exists_ = false;
  bool deleted_ = false;
};

class UnixSetting : public RegImpSetting {
 public:
  using RegImpSetting::RegImpSetting;
  UnixSetting() = default;
  UnixSetting(UnixSetting const&) = default;
  UnixSetting& operator=(UnixSetting const&) = default;
  virtual ~UnixSetting() = default;
};

template <class Iterator>
class SettingStore;

// A position in a store: the store, the section walked, the key of the
// present setting, whether the walk has started, whether it is at its end,
// and the present setting.
class UnixSettingIterator {
 public:
  SettingStore<UnixSettingIterator>* store = nullptr;
  std::string section;
  std::string key;
  bool started = false;
  bool atEnd = true;
  UnixSetting current;

  // Moves to the next setting of the section, as the store orders them; at
  // the last one it is at the end.
  UnixSettingIterator& operator++();
};

// What a store's operations give: the position, by value.
template <class Iterator>
class WrappedSettingIterator : public Iterator {
 public:
  WrappedSettingIterator() = default;
  explicit WrappedSettingIterator(Iterator const& position) : Iterator(position) {}
};

// The store. The destructor takes the first two places of the table of
// virtual operations, `First` the third and `Find` the fourth; `After`, the
// fifth, serves the iterator's `operator++`.
template <class Iterator>
class SettingStore {
 public:
  virtual ~SettingStore() = default;
  // The first setting of the section, or a position at its end.
  virtual WrappedSettingIterator<Iterator> First(ConstData section) = 0;
  // The setting of that key in the section, or a position at the end.
  virtual WrappedSettingIterator<Iterator> Find(ConstData section, ConstData key) = 0;
  // The setting behind `position` in its section, or a position at the end.
  virtual WrappedSettingIterator<Iterator> After(Iterator const& position) = 0;
};

inline UnixSettingIterator& UnixSettingIterator::operator++() {
  if (store == nullptr || atEnd) {
    atEnd = true;
    return *this;
  }
  *this = store->After(*this);
  return *this;
}
