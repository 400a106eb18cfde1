// The writer of the client's variable files, the small name and value
// stores that the surveyor library reads (a site's "SiteVars" among them).
//
// The format, every integer in the machine's byte order:
//
//   '[' L1 ']' ">NudgeSite Vars File" NUL    L1: 4 bytes, the text and its NUL
//   '[' L2 ']' ">Version 1.0.1" NUL          L2: the same for the version
//   size                                     4 bytes: bytes of the block
//   count                                    4 bytes: variables in the block
//   block                                    name NUL value NUL name NUL ...
//
// A name may be given more than once, which is how a list of values is kept;
// the readers find the first one by name, or any one by name and value.
//
// Use:
//
//   std::vector<survey::client::Variable> variables = {{"Fruit", "apple"},
//                                                      {"Fruit", "pear"}};
//   survey::client::WriteVariableFile(siteFolder + "/SiteVars", variables);
//
// WriteVariableFile replaces the file atomically: it writes a temporary file
// in the same folder, flushes it to the disk, renames it over the target and
// flushes the folder. Readers see the old file or the new one, never a part;
// after a crash the target is whole, old or new. Every failure throws
// VariableFileError, whose message names the file and the reason, and leaves
// the target as it was and no temporary file behind.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace survey::client {

// One variable: a name, not empty, and a value; neither may hold a NUL,
// which ends them in the file.
struct Variable {
  std::string name;
  std::string value;
};

class VariableFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The banner and version that start a variable file.
inline constexpr char kVariableFileBanner[] = ">NudgeSite Vars File";
inline constexpr char kVariableFileVersion[] = ">Version 1.0.1";

// The bytes of a variable file holding the variables, in their order.
// Throws VariableFileError for an empty name, a NUL in a name or value, or a
// block too large for its 32-bit size.
std::string EncodeVariableFile(std::vector<Variable> const& variables);

// Writes the variables to `path` atomically, as above. The file is made
// readable and writable by its owner alone, as the client folder is.
void WriteVariableFile(std::string const& path, std::vector<Variable> const& variables);

}  // namespace survey::client
