// The commands that fill and inspect a client folder:
//
//   survey client [--client DIR] setting set [--site SITE] NAME VALUE
//   survey client [--client DIR] setting get [--site SITE] NAME
//   survey client [--client DIR] setting unset [--site SITE] NAME
//   survey client [--client DIR] setting list [--site SITE]
//   survey client [--client DIR] site add NAME --url URL [...]
//   survey client [--client DIR] site remove NAME
//   survey client [--client DIR] site list
//   survey client [--client DIR] import FILE.json
//   survey client [--client DIR] export
//   survey client [--client DIR] show
//   survey client [--client DIR] list settings|sites|actions|nudges|administrators|state|analyses|servers|certificates|usage
//
// Each change is one transaction of the client's records: input that is
// refused gives a message on standard error, exit status 2, and leaves the
// records as they were.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/client/client_records.h"

namespace survey::tools {

// The status of the client command that the arguments ask for, after
// running it; nothing when they ask for something else (queries). The
// arguments ask for a client command when "client" is followed by one of
// the command words above or by --help, as the first argument or after
// --client DIR. The server list's entries are written and read in their
// flattened form by the surveyor library's own code: the library at
// `library` is loaded for that when no loaded object offers it already.
std::optional<int> RunClientCommandIfAsked(int argc, char** argv,
                                           std::string const& library = std::string());

// The records of the text of an import file (named `source` in messages),
// read as `import` reads it before it writes anything, with each site's
// masthead text beside them. Throws std::runtime_error, saying why, for text
// that is refused here; the records themselves check the rest when they are
// written.
client::ClientRecordSet RecordsOfImportText(
    std::string const& text, std::string const& source,
    std::vector<std::pair<std::string, std::string>>& mastheads);

// A paragraph for the command's own help, naming the client commands.
char const* ClientCommandsHelp();

}  // namespace survey::tools
