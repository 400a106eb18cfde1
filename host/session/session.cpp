#include "host/session/session.h"

#include <cstdio>
#include <cstring>

#include "host/client/context.h"
#include "host/lang/parser.h"

namespace survey::session {

namespace {

// What stopped an interrupted query: the user, or the time limit.
std::string InterruptCause(std::chrono::microseconds timeLimit) {
  if (host::Evaluation::InterruptRequested() || timeLimit.count() <= 0) {
    return "interrupted by the user";
  }
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%g", static_cast<double>(timeLimit.count()) / 1e6);
  return std::string("time limit of ") + seconds + " s reached";
}

}  // namespace

Session::Session() : words_(host_.GetRegistry()), evaluator_(host_) {}

AnswerValue Session::Describe(host::Value const& value) {
  AnswerValue shown;
  shown.text = evaluator_.Text(value);
  shown.type = lang::Evaluator::TypeName(value);
  if (value.Empty()) return shown;
  host::Registry const& registry = host_.GetRegistry();
  if (!evaluator_.TupleElements(value.Type()).empty()) {
    shown.form = AnswerValue::Form::kTuple;
    for (host::Value const& item : evaluator_.Items(value)) shown.items.push_back(Describe(item));
  } else if (registry.IsA(value.Type(), "integer")) {
    shown.form = AnswerValue::Form::kInteger;
    shown.number = value.As<integer>().value;
  } else if (registry.IsA(value.Type(), "boolean")) {
    shown.form = AnswerValue::Form::kBoolean;
    shown.number = value.As<boolean>().value == 1 ? 1 : 0;
  }
  return shown;
}

Session::~Session() = default;

void Session::Load(std::string const& libraryPath) { host_.Load(libraryPath); }

Answer Session::Evaluate(std::string_view query,
                         std::function<void(AnswerValue const&)> const& each, bool keep) {
  auto const started = std::chrono::steady_clock::now();
  Answer answer;
  host::Evaluation::ClearInterrupt();
  client::ClientContext context(clientFolder_.get());
  std::unique_ptr<host::Evaluation> evaluation = host_.NewEvaluation(&context);
  if (timeLimit_.count() > 0) evaluation->SetTimeLimit(timeLimit_);
  {
    host::Evaluation::Scope scope(*evaluation);
    try {
      std::unique_ptr<lang::Node> const tree = lang::Parse(query, host_.GetRegistry());
      std::unique_ptr<host::Stream> values = evaluator_.Open(*tree, host::Value());
      host::Value value;
      while (values->Next(value)) {
        AnswerValue shown = Describe(value);
        if (each) each(shown);
        if (keep) answer.values.push_back(std::move(shown));
        value = host::Value();
      }
    } catch (host::EvaluationError const& error) {
      answer.error = error;
      // The host says only "interrupted" (and what it was evaluating): the
      // session knows whether the user or the time limit stopped the query.
      std::string_view message = error.what();
      if (error.Kind() == host::ErrorKind::kInterrupted && message.starts_with("interrupted")) {
        message.remove_prefix(std::strlen("interrupted"));
        answer.error = host::EvaluationError(host::ErrorKind::kInterrupted,
                                             InterruptCause(timeLimit_) + std::string(message),
                                             error.Position());
      }
    } catch (host::InterruptedEvaluation const&) {
      answer.error =
          host::EvaluationError(host::ErrorKind::kInterrupted, InterruptCause(timeLimit_));
    } catch (std::bad_alloc const&) {
      answer.error = host::EvaluationError(host::ErrorKind::kMessage, "out of memory");
    }
  }
  answer.elapsed = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - started);
  return answer;
}

}  // namespace survey::session
