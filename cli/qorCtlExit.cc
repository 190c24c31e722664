// SPDX-License-Identifier: Apache-2.0
// Sorts failures into exit codes and puts them into words.
#include "cli/qorCtlExit.h"

#include <exception>
#include <utility>

#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using comm::StaticDefs;

struct IdRow {
  const icu::UnicodeString* id;
  ExitCode code;
};

const IdRow ID_ROWS[] = {
    {&StaticDefs::ERR_CONNECT_SERVER, ExitCode::NO_CONNECTION},
    {&StaticDefs::ERR_SERVER_COMM_SEND, ExitCode::NO_CONNECTION},
    {&StaticDefs::ERR_SERVER_COMM_RECV, ExitCode::NO_CONNECTION},
    {&StaticDefs::ERR_SERVER_COMM_TIMEOUT, ExitCode::TIME_OUT},
    {&StaticDefs::ERR_SERVER_INVALID_AUTH, ExitCode::NOT_AUTHORISED},
    {&StaticDefs::ERR_SERVER_APP, ExitCode::REFUSED},
    {&StaticDefs::ERR_SERVER_PROTOCOL, ExitCode::PROTOCOL},
    {&StaticDefs::ERR_CLIENT_RESP_PARSING, ExitCode::PROTOCOL},
};

Failure withRemedy(ExitCode code, std::string text) {
  const std::string_view remedy = exitRow(code).remedy;
  if (!remedy.empty()) text.append("; ").append(remedy);
  return {code, std::move(text)};
}

}  // namespace

ExitCode exitCodeOf(const comm::RESTException& failure) {
  // The server chooses the ids of what it reports: one of ours would mean nothing there.
  if (failure.isServerReported()) return ExitCode::REFUSED;
  if (failure.getMessages().isEmpty()) return ExitCode::INTERNAL;
  const icu::UnicodeString& id = failure.getMessages().getFirstMessage().getMessageID();
  for (const IdRow& row : ID_ROWS) {
    if (*row.id == id) return row.code;
  }
  return ExitCode::INTERNAL;
}

std::string describe(const oss::BaseException& failure, std::string_view where) {
  std::string text = std::string(where) + ": " + printable(failure.what());
  bool first = true;
  for (const oss::Message& message : failure.getMessages()) {
    // A second message without text only repeats the first one's id.
    if (!first && !(message.getMessageText().isEmpty() && message.getArguments().empty())) {
      oss::BaseException cause;
      cause.addMessage(message);
      text += "; cause: " + printable(cause.what());
    }
    first = false;
  }
  return text;
}

Failure currentFailure(std::string_view where) {
  try {
    throw;
  } catch (const CtlFailure& failure) {
    return {failure.code(), failure.what()};  // says all itself
  } catch (const comm::RESTException& failure) {
    return withRemedy(exitCodeOf(failure), describe(failure, where));
  } catch (const oss::BaseException& failure) {
    return {ExitCode::INTERNAL, describe(failure, where)};
  } catch (const std::exception& failure) {
    return {ExitCode::INTERNAL, std::string(where) + ": " + printable(failure.what())};
  }
}

}  // namespace orvix::ctl
