// What `dmidecode -u` prints of a firmware table, read back:
// each structure's type, its length, the bytes of its formatted area and
// the bytes of its strings, by number. The tests take every expected value
// from here.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/shell.h"

namespace survey::testing {

struct DecodedStructure {
  unsigned type = 0;
  unsigned length = 0;                   // as the structure's header says
  std::vector<unsigned char> formatted;  // the bytes printed, at most `length`
  std::vector<std::string> strings;      // string 1 first
};

struct DecodedTable {
  std::vector<DecodedStructure> structures;
  bool broken = false;  // the decoder stopped before the table's end
};

inline bool IsHexByte(std::string const& word) {
  return word.size() == 2 && std::isxdigit(static_cast<unsigned char>(word[0])) &&
         std::isxdigit(static_cast<unsigned char>(word[1])) &&
         !std::islower(static_cast<unsigned char>(word[0])) &&
         !std::islower(static_cast<unsigned char>(word[1]));
}

// The bytes of a line of hex pairs, or false when the line is anything else.
inline bool HexLine(std::string const& line, std::vector<unsigned char>& bytes) {
  std::istringstream words(line);
  std::string word;
  std::vector<unsigned char> read;
  while (words >> word) {
    if (!IsHexByte(word)) return false;
    read.push_back(static_cast<unsigned char>(std::stoul(word, nullptr, 16)));
  }
  if (read.empty()) return false;
  bytes.insert(bytes.end(), read.begin(), read.end());
  return true;
}

// What dmidecode prints with the arguments that name the table, as
// "--from-dump 'FILE'" or "--no-sysfs -d 'IMAGE'".
inline DecodedTable Dmidecode(std::string const& source) {
  ShellResult const run = RunShell("dmidecode -u " + source + " 2>&1");
  EXPECT_EQ(0, run.status) << run.output;
  DecodedTable table;
  std::istringstream lines(run.output);
  std::string line;
  enum { kNone, kData, kStrings } section = kNone;
  bool textLineNext = false;  // the string's text follows its hex lines
  std::vector<unsigned char> pending;
  while (std::getline(lines, line)) {
    if (line.rfind("Handle ", 0) == 0) {
      DecodedStructure structure;
      std::size_t const type = line.find("DMI type ");
      std::size_t const comma = line.find(", ", type);
      structure.type = static_cast<unsigned>(std::stoul(line.substr(type + 9)));
      structure.length = static_cast<unsigned>(std::stoul(line.substr(comma + 2)));
      table.structures.push_back(structure);
      section = kNone;
      textLineNext = false;
      pending.clear();
      continue;
    }
    if (line.find("DMI table is broken") != std::string::npos) table.broken = true;
    if (table.structures.empty()) continue;
    DecodedStructure& current = table.structures.back();
    if (line == "\tHeader and Data:") {
      section = kData;
      continue;
    }
    if (line == "\tStrings:") {
      section = kStrings;
      continue;
    }
    if (line.rfind("\t\t", 0) != 0) {
      section = kNone;
      continue;
    }
    if (section == kData) {
      HexLine(line, current.formatted);
    } else if (section == kStrings) {
      if (textLineNext) {
        textLineNext = false;
        continue;
      }
      EXPECT_TRUE(HexLine(line, pending)) << line;
      if (!pending.empty() && pending.back() == 0) {
        pending.pop_back();
        current.strings.emplace_back(pending.begin(), pending.end());
        pending.clear();
        textLineNext = true;
      }
    }
  }
  return table;
}

}  // namespace survey::testing
