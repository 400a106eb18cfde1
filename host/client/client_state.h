// What the context parts of one evaluation share: the client folder they
// serve, and what is read once per evaluation and then kept for the rest of
// it (the running program's path, the application table).
//
// Each part of the context (storage_context.h, process_table_context.h, ...)
// keeps a reference to the state of its evaluation; the context that joins
// the parts owns the state (context.h).
#pragma once

#include <memory>
#include <string>

#include "host/client/application_table.h"
#include "host/client/client_folder.h"
#include "host/client/client_records.h"
#include "survey/frame/boundary.h"
#include "survey/frame/remembered_cast.h"

namespace survey::client {

class SiteList;

class ClientState {
 public:
  // The state over that client folder, which must outlive it; null for none.
  explicit ClientState(ClientFolder* folder);
  ClientState(ClientState const&) = delete;
  ClientState& operator=(ClientState const&) = delete;
  ~ClientState();

  // The client folder as given, not yet made; null for none.
  ClientFolder* Folder() const { return folder_; }

  // The client folder, made on first use. Throws an evaluation error of kind
  // kNotAvailable that tells why it cannot be, or that there is none.
  ClientFolder& PreparedFolder();

  // The client's records in the prepared folder. Throws an evaluation error
  // of kind kNotAvailable that tells why they cannot be opened.
  ClientRecords& Records();

  // The sites as this evaluation sees them: built from the records on first
  // use, then the same for the rest of the evaluation.
  SiteList const& Sites();

  // The path of the running program, read on first use. Throws
  // NoSuchObject when it cannot be read.
  std::string const& ClientFile();

  // The application table as this evaluation sees it: read from /proc on
  // first use, then the same for the rest of the evaluation.
  ApplicationTable const& Applications();

 private:
  ClientFolder* folder_;
  std::string clientFile_;
  std::unique_ptr<ApplicationTable> applications_;
  std::unique_ptr<SiteList> sites_;
};

// The part of the present evaluation's context that is a `Part`, found the
// way the library finds an interface: through Get_Generic_Surveyor_Context
// and a cast. A part's slots are free functions, and this is how they reach
// the part, and through it the state, that they serve. Throws NoSuchObject
// when there is no such part, which happens only when a slot is called
// outside the evaluation that owns it; the library never does that.
template <class Part>
Part& CurrentPart() {
  SurveyorContext* const context = Get_Generic_Surveyor_Context();
  Part* const part = survey::frame::RememberedCast<Part>(context);
  if (part == nullptr) throw NoSuchObject();
  return *part;
}

}  // namespace survey::client
