// The nudges part of the host's context: the sites' advice items, kept in
// the client's records (client_records.h), behind `SurveyorNudgeContext`.
//
// A nudge record that the host fills carries, in its host word, the number
// of an entry of this part's table of the nudges it gave out (site and
// position), so that the header slots know which nudge is meant. The header
// block is the host's own layout: for each header in order, the name's
// length as four bytes in the machine's order, the name, the value's length
// likewise and the value. A wanted header name is matched without regard to
// the case of ASCII letters; an empty one matches any header.
//
// Whether the nudges may be read is the host's flag "nudge evaluation
// blocked" in the records. Without a client folder the slots are null.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/client/client_records.h"
#include "host/client/client_state.h"
#include "survey/frame/boundary.h"

namespace survey::client {

// The header block of these headers, in the layout above.
std::string NudgeHeaderBlock(std::vector<NudgeHeaderRecord> const& headers);

// Takes from the cursor the next header of the block whose name matches
// `wanted` (empty for any), and moves the cursor behind it; false at the end
// of the block or where it is cut short or damaged.
bool NextNudgeHeader(SurveyorConstData& cursor, SurveyorConstData wanted, SurveyorConstData& name,
                     SurveyorConstData& value);

class NudgeContext : public SurveyorNudgeContext {
 public:
  // Serves the records of that state, which must outlive it.
  explicit NudgeContext(ClientState& state);
  NudgeContext(NudgeContext const&) = delete;
  NudgeContext& operator=(NudgeContext const&) = delete;

 private:
  static bool Nudge(SiteMap* site, nudge* record, bool relevantOnly);
  static bool HeaderSize(nudge* record);
  static bool Headers(nudge* record);
  static bool Header(SurveyorConstData* cursor, SurveyorConstData* name, SurveyorConstData* value);
  static bool Blocked();

  // The headers of the nudge that a record names, or false when it names
  // none.
  bool HeadersOf(nudge const* record, std::vector<NudgeHeaderRecord>& headers);

  ClientState& state_;
  std::vector<std::pair<std::string, std::uint32_t>> given_;
};

}  // namespace survey::client
