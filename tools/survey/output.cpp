#include "tools/survey/output.h"

#include "host/engine/errors.h"

namespace survey::command {

using session::AnswerValue;

nlohmann::json JsonValue(AnswerValue const& value) {
  switch (value.form) {
    case AnswerValue::Form::kInteger: return value.number;
    case AnswerValue::Form::kBoolean: return value.number != 0;
    case AnswerValue::Form::kTuple: {
      nlohmann::json items = nlohmann::json::array();
      for (AnswerValue const& item : value.items) items.push_back(JsonValue(item));
      return items;
    }
    case AnswerValue::Form::kText: break;
  }
  return value.text;
}

nlohmann::json JsonAnswer(std::string const& query, session::Answer const& answer) {
  nlohmann::json values = nlohmann::json::array();
  for (AnswerValue const& value : answer.values) {
    values.push_back({{"type", value.type}, {"text", value.text}, {"value", JsonValue(value)}});
  }
  nlohmann::json object = {
      {"query", query}, {"values", values}, {"elapsed_us", answer.elapsed.count()}};
  if (answer.error) {
    object["error"] = {{"kind", host::ErrorKindName(answer.error->Kind())},
                       {"message", answer.error->what()},
                       {"position", answer.error->Position()}};
  } else {
    object["error"] = nullptr;
  }
  return object;
}

std::string CsvField(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  std::string field = "\"";
  for (char const c : text) {
    if (c == '"') field += '"';
    field += c;
  }
  field += '"';
  return field;
}

std::string CsvRow(AnswerValue const& value) {
  std::string row;
  if (value.form == AnswerValue::Form::kTuple) {
    for (std::size_t k = 0; k < value.items.size(); ++k) {
      if (k != 0) row += ',';
      row += CsvField(value.items[k].text);
    }
  } else {
    row = CsvField(value.text);
  }
  // A row of one empty field is written "" so that it is not read as a
  // blank line, which readers skip.
  if (row.empty()) row = "\"\"";
  row += "\r\n";
  return row;
}

}  // namespace survey::command
