// The forms in which the command writes answers for programs to read: JSON,
// with each value typed, and CSV, a row per value.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "host/session/session.h"

namespace survey::command {

// A value as JSON: an integer as a number, a boolean as true or false, a
// tuple as an array of its items so made, anything else as its text.
nlohmann::json JsonValue(session::AnswerValue const& value);

// One query's answer as a JSON object: the query, each value with its type,
// text and JSON value, the time it took and the error it ended with (null
// when none).
nlohmann::json JsonAnswer(std::string const& query, session::Answer const& answer);

// A field of a CSV row: as it stands, or between double quotes, with each
// quote doubled, when it holds a comma, a quote, a carriage return or a line
// feed.
std::string CsvField(std::string_view text);

// A value as one CSV row, ended by CR LF: a tuple's items are its columns,
// each in its text form; any other value is one column.
std::string CsvRow(session::AnswerValue const& value);

}  // namespace survey::command
