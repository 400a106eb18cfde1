// A half-open range of positions: from `begin` up to, not including, `end`.
#pragma once

template <class T>
struct Range {
  T begin;
  T end;

  T Length() const { return end - begin; }
  bool Empty() const { return begin == end; }
};

template <class T>
bool operator==(Range<T> const& a, Range<T> const& b) {
  return a.begin == b.begin && a.end == b.end;
}
