// A query session: a host with the host's own words and a surveyor library
// loaded, and the evaluation of one query at a time, each with a context over
// the client folder.
//
// The session is the layer that wires the others together: the engine, the
// language (parser and evaluator) and the client (contexts and the client
// folder) know nothing of one another above the engine, and only the session
// and the command that uses it see all three.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/client/client_folder.h"
#include "host/engine/host.h"
#include "host/lang/evaluator.h"
#include "host/lang/words.h"

namespace survey::session {

// One value of an answer: its text form and the name of its type, and for
// machine-readable output what it is: an integer or a boolean with its
// number, a tuple with its items, or else text alone.
struct AnswerValue {
  enum class Form { kText, kInteger, kBoolean, kTuple };
  std::string text;
  std::string type;
  Form form = Form::kText;
  long long number = 0;            // kInteger: the integer; kBoolean: 0 or 1
  std::vector<AnswerValue> items;  // kTuple: the items, in order
};

// What a query gave: its values, in order, up to the first error if any.
struct Answer {
  std::vector<AnswerValue> values;
  std::optional<host::EvaluationError> error;
  std::chrono::microseconds elapsed{0};
};

class Session {
 public:
  Session();
  ~Session();

  // Loads the surveyor library; throws host::EvaluationError (kLoad).
  void Load(std::string const& libraryPath);

  // Bounds each query's evaluation; zero means no bound.
  void SetTimeLimit(std::chrono::microseconds limit) { timeLimit_ = limit; }

  // Evaluates a query. Values are handed to `each` as they come, so a long
  // stream is printed while it is produced; the answer keeps them too unless
  // `keep` is false.
  Answer Evaluate(std::string_view query,
                  std::function<void(AnswerValue const&)> const& each = nullptr, bool keep = true);

  host::Host& GetHost() { return host_; }
  host::Host const& GetHost() const { return host_; }

  // The client folder that each query's context serves; none by default.
  void SetClientFolder(std::shared_ptr<client::ClientFolder> folder) {
    clientFolder_ = std::move(folder);
  }
  client::ClientFolder* GetClientFolder() const { return clientFolder_.get(); }

 private:
  AnswerValue Describe(host::Value const& value);

  host::Host host_;
  lang::HostWords words_;
  lang::Evaluator evaluator_;
  std::chrono::microseconds timeLimit_{0};
  std::shared_ptr<client::ClientFolder> clientFolder_;
};

}  // namespace survey::session
