#include "host/client/nudge_context.h"

#include <cstring>

#include "host/client/site_context.h"

namespace survey::client {

namespace {

void PutLength(std::string& block, std::size_t length) {
  std::uint32_t const word = static_cast<std::uint32_t>(length);
  block.append(reinterpret_cast<char const*>(&word), sizeof word);
}

// Reads a length and the bytes it counts from the cursor; false when the
// block ends first.
bool TakeField(SurveyorConstData& cursor, SurveyorConstData& field) {
  if (cursor.begin == nullptr || cursor.end < cursor.begin) return false;
  std::size_t const left = static_cast<std::size_t>(cursor.end - cursor.begin);
  std::uint32_t length = 0;
  if (left < sizeof length) return false;
  std::memcpy(&length, cursor.begin, sizeof length);
  if (left - sizeof length < length) return false;
  field.begin = cursor.begin + sizeof length;
  field.end = field.begin + length;
  cursor.begin = field.end;
  return true;
}

unsigned char Lower(unsigned char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

bool Matches(SurveyorConstData wanted, SurveyorConstData name) {
  if (wanted.begin == nullptr || wanted.end <= wanted.begin) return true;
  if (wanted.end - wanted.begin != name.end - name.begin) return false;
  for (std::ptrdiff_t k = 0; k < wanted.end - wanted.begin; ++k) {
    if (Lower(wanted.begin[k]) != Lower(name.begin[k])) return false;
  }
  return true;
}

}  // namespace

std::string NudgeHeaderBlock(std::vector<NudgeHeaderRecord> const& headers) {
  std::string block;
  for (NudgeHeaderRecord const& header : headers) {
    PutLength(block, header.name.size());
    block += header.name;
    PutLength(block, header.value.size());
    block += header.value;
  }
  return block;
}

bool NextNudgeHeader(SurveyorConstData& cursor, SurveyorConstData wanted, SurveyorConstData& name,
                     SurveyorConstData& value) {
  SurveyorConstData at = cursor;
  while (at.begin != nullptr && at.begin < at.end) {
    SurveyorConstData foundName{};
    SurveyorConstData foundValue{};
    if (!TakeField(at, foundName) || !TakeField(at, foundValue)) return false;
    if (Matches(wanted, foundName)) {
      name = foundName;
      value = foundValue;
      cursor = at;
      return true;
    }
  }
  cursor = at;
  return false;
}

NudgeContext::NudgeContext(ClientState& state) : state_(state) {
  if (state.Folder() != nullptr) {
    GetNudge = &Nudge;
    GetHeaderSize = &HeaderSize;
    GetHeaders = &Headers;
    NextHeader = &Header;
    IsEvaluationBlocked = &Blocked;
  }
}

bool NudgeContext::Nudge(SiteMap* site, nudge* record, bool relevantOnly) {
  NudgeContext& part = CurrentPart<NudgeContext>();
  if (site == nullptr || record == nullptr) return false;
  // The site's name is that of its record: the list is linked in the order
  // of the records, each record starting with the link to the next.
  SiteList const& sites = part.state_.Sites();
  SiteMap* at = sites.Head();
  std::size_t index = 0;
  while (at != nullptr && at != site) {
    at = *reinterpret_cast<SiteMap* const*>(at);
    ++index;
  }
  if (at == nullptr || index >= sites.Records().size()) return false;
  std::string const& name = sites.Records()[index].name;
  std::optional<NudgeRecord> const found =
      part.state_.Records().NextNudge(name, record->position, relevantOnly);
  if (!found) return false;
  part.given_.emplace_back(name, found->position);
  record->relevant = found->relevant ? 1 : 0;
  record->position = found->position;
  record->id = found->id;
  record->host = static_cast<unsigned int>(part.given_.size());
  return true;
}

bool NudgeContext::HeadersOf(nudge const* record, std::vector<NudgeHeaderRecord>& headers) {
  if (record == nullptr || record->host == 0 || record->host > given_.size()) return false;
  auto const& [site, position] = given_[record->host - 1];
  std::optional<NudgeRecord> const found = state_.Records().FindNudge(site, position);
  if (!found) return false;
  headers = found->headers;
  return true;
}

bool NudgeContext::HeaderSize(nudge* record) {
  std::vector<NudgeHeaderRecord> headers;
  if (!CurrentPart<NudgeContext>().HeadersOf(record, headers)) return false;
  record->headerSize = static_cast<unsigned int>(NudgeHeaderBlock(headers).size());
  return true;
}

bool NudgeContext::Headers(nudge* record) {
  std::vector<NudgeHeaderRecord> headers;
  if (!CurrentPart<NudgeContext>().HeadersOf(record, headers)) return false;
  std::string const block = NudgeHeaderBlock(headers);
  // The headers may have changed since their size was asked: a block that
  // no longer fits is not written.
  if (block.size() != record->headerSize) return false;
  if (!block.empty()) {
    if (record->headerBlock == nullptr) return false;
    std::memcpy(record->headerBlock, block.data(), block.size());
  }
  return true;
}

bool NudgeContext::Header(SurveyorConstData* cursor, SurveyorConstData* name,
                          SurveyorConstData* value) {
  if (cursor == nullptr || name == nullptr || value == nullptr) return false;
  return NextNudgeHeader(*cursor, *name, *name, *value);
}

bool NudgeContext::Blocked() { return CurrentPart<NudgeContext>().state_.Records().NudgeEvaluationBlocked(); }

}  // namespace survey::client
