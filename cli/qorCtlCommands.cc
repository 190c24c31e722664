// SPDX-License-Identifier: Apache-2.0
// The table of commands and their functions, and those functions that are little
// more than a request.
#include "cli/qorCtlCommands.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/qorCtlContext.h"
#include "cli/qorCtlDocument.h"
#include "cli/qorCtlSearch.h"
#include "cli/qorCtlText.h"
#include "cli/qorCtlVersion.h"

namespace orvix::ctl {

namespace {

using comm::ClientRequest;
using comm::ClientResponse;
using comm::StaticDefs;

constexpr const char* COLLECTION_LANGUAGE = "docLang";  // no constant of the interface names it

util::ExtendedProperties propertiesWith(Context& context, const icu::UnicodeString& key,
                                        const std::string& value) {
  util::ExtendedProperties properties = context.connection().properties();
  if (!value.empty()) properties.putProperty(key, toUnicode(value));
  return properties;
}

/// A request that is answered by success or failure only.
ExitCode perform(Context& context, ClientRequest& request) {
  ClientResponse response;
  context.connection().run(request, response);
  context.note(context.connection().where() + ": done");
  return ExitCode::DONE;
}

template <ClientRequest::REQUEST KIND>
ExitCode onServer(Context& context) {
  ClientRequest request;
  request.buildRequest(KIND, context.connection().properties());
  return perform(context, request);
}

ExitCode onCollection(Context& context, ClientRequest::REQUEST kind,
                      const util::ExtendedProperties& properties) {
  ClientRequest request;
  request.buildRequest(toUnicode(context.settings().collection), kind, properties);
  return perform(context, request);
}

template <ClientRequest::REQUEST KIND>
ExitCode onCollection(Context& context) {
  return onCollection(context, KIND, context.connection().properties());
}

ExitCode createCollection(Context& context) {
  const Settings& settings = context.settings();
  auto properties = propertiesWith(context, StaticDefs::PARAM_DISPLAY_NAME, settings.displayName);
  if (!settings.language.empty()) {
    properties.putProperty(toUnicode(COLLECTION_LANGUAGE), toUnicode(settings.language));
  }
  return onCollection(context, ClientRequest::CREATE_COLLECTION, properties);
}

template <ClientRequest::REQUEST KIND>
ExitCode copyCollection(Context& context) {
  auto properties =
      propertiesWith(context, StaticDefs::PARAM_COLLECTION_DIR, context.settings().backupName);
  if (context.settings().replace) {
    properties.putProperty(StaticDefs::PARAM_INCREMENTAL, StaticDefs::STRING_false);
  }
  return onCollection(context, KIND, properties);
}

ExitCode version(Context& context) {
  ClientResponse response;
  context.connection().run(ClientRequest::GET_SERVER_VERSION, response);
  const auto rows = context.rows({{"program"}, {"version"}});
  rows->write({"qorctl", versionText()});
  rows->write({"library", qorcomm_component_marker});
  rows->write({"server", toUtf8(response.getContent())});
  rows->finish();
  return ExitCode::DONE;
}

Cell cellOf(const icu::UnicodeString& text) { return text.isEmpty() ? Cell() : Cell(toUtf8(text)); }

ExitCode status(Context& context) {
  constexpr const char* STATES[] = {"ok", "busy", "error"};
  ClientResponse response;
  context.connection().run(ClientRequest::GET_STATUS, response);
  const unsigned int code = response.getStatusCode();
  const oss::Message message = response.getStatusMessage();
  context.writeRow({{"status"}, {"state"}, {"id"}, {"message"}},
                   {std::uint64_t{code}, code < std::size(STATES) ? STATES[code] : "unknown",
                    cellOf(message.getMessageID()), cellOf(message.getMessageText())});
  return code == 0 ? ExitCode::DONE : ExitCode::ANSWER_IS_NO;
}

ExitCode collectionStatus(Context& context) {
  ClientRequest request;
  request.buildRequest(toUnicode(context.settings().collection), ClientRequest::COLLECTION_STATUS,
                       context.connection().properties());
  ClientResponse response;
  context.connection().run(request, response);
  writeText(context.format(), context.terminal().out, "status", toUtf8(response.getContent()));
  return ExitCode::DONE;
}

ExitCode estimate(Context& context) {
  const Settings& settings = context.settings();
  auto properties = propertiesWith(context, StaticDefs::PARAM_QUERY, settings.query);
  if (!settings.language.empty()) {
    properties.putProperty(StaticDefs::PARAM_QUERY_LANGUAGE, toUnicode(settings.language));
  }
  ClientRequest request;
  request.buildRequest(toUnicode(settings.collection), ClientRequest::SELECTIVITY, properties);
  ClientResponse response;
  context.connection().run(request, response);
  const comm::SelectivityInfo& info = response.getSelectivityInfo();
  context.writeRow({{"matches", 0, true}, {"atLeast", 0, true}, {"documents", 0, true}},
                   {info.getValue1(), info.getValue2(), info.getValue3()});
  return ExitCode::DONE;
}

ExitCode outcomes(Context& context) {
  const auto rows = context.rows({{"accepted"}, {"id"}, {"message"}, {"key"}});
  bool rejected = false;
  context.connection().forEachOutcome(
      toUnicode(context.settings().collection), [&](const comm::ParseResult& outcome) {
        const oss::Message& message = outcome.getMessage();
        const bool accepted = message.getMessageID().isEmpty();
        rejected = rejected || !accepted;
        rows->write({accepted, cellOf(message.getMessageID()),
                     accepted ? Cell() : Cell(toUtf8(message.getMessageText())),
                     toUtf8(outcome.getText())});
      });
  rows->finish();
  return rejected ? ExitCode::ANSWER_IS_NO : ExitCode::DONE;
}

ExitCode addDocument(Context& context) {
  const Settings& settings = context.settings();
  Document document;
  document.key = settings.documentKey;
  if (!settings.contentFile.empty()) document.content = readFile(settings.contentFile);
  document.fields = parseFields(settings.fields);
  ClientRequest request;
  request.buildRequest(toUnicode(settings.collection), ClientRequest::ADD_DOCUMENT,
                       documentProperties(context));
  fillRequest(request, document, {settings.indexedFields, settings.sortableFields});
  return perform(context, request);
}

ExitCode deleteDocument(Context& context) {
  const std::string& key = context.settings().documentKey;
  ClientRequest request;
  request.buildRequest(toUnicode(context.settings().collection), ClientRequest::DELETE_DOCUMENT,
                       context.connection().properties());
  request.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
  return perform(context, request);
}

ExitCode search(Context& context) {
  const std::uint64_t hits = runSearch(context);
  if (hits == 0) context.note(context.connection().where() + ": no hits");
  return ExitCode::DONE;
}

struct HandlerRow {
  Command command;
  ExitCode (*run)(Context& context);
};

constexpr HandlerRow HANDLERS[] = {
    {Command::VERSION, version},
    {Command::STATUS, status},
    {Command::PING, ping},
    {Command::DOCTOR, doctor},
    {Command::COLLECTION_CREATE, createCollection},
    {Command::COLLECTION_DROP, onCollection<ClientRequest::DROP_COLLECTION>},
    {Command::COLLECTION_OPEN, onCollection<ClientRequest::OPEN_COLLECTION>},
    {Command::COLLECTION_CLOSE, onCollection<ClientRequest::CLOSE_COLLECTION>},
    {Command::COLLECTION_UPDATE, onCollection<ClientRequest::UPDATE_INDEX>},
    {Command::COLLECTION_LIST_STATUS, collectionStatus},
    {Command::LOAD, loadDocuments},
    {Command::DOC_ADD, addDocument},
    {Command::DOC_DELETE, deleteDocument},
    {Command::SEARCH, search},
    {Command::ESTIMATE, estimate},
    {Command::OUTCOMES, outcomes},
    {Command::BACKUP, copyCollection<ClientRequest::BACKUP>},
    {Command::RESTORE, copyCollection<ClientRequest::RESTORE>},
    {Command::TAKEOVER, onServer<ClientRequest::TAKEOVER>},
    {Command::SHUTDOWN, onServer<ClientRequest::SHUTDOWN>},
    {Command::WIRE, showRequest},
    {Command::WIRE_DECODE, explainCapture},
    {Command::EXPLAIN, explain},
    {Command::COMPLETION, completion},
    {Command::MAN, manualPage},
};

ExitCode dispatch(Context& context) {
  for (const HandlerRow& row : HANDLERS) {
    if (row.command == context.settings().command) return row.run(context);
  }
  throw CtlFailure(ExitCode::INTERNAL, "a command without a handler");
}

}  // namespace

util::ExtendedProperties documentProperties(Context& context) {
  const Settings& settings = context.settings();
  auto properties = propertiesWith(context, StaticDefs::PARAM_KNOWN_LANGUAGE, settings.language);
  if (!settings.charset.empty()) {
    properties.putProperty(StaticDefs::PARAM_KNOWN_CHARSET, toUnicode(settings.charset));
  }
  return properties;
}

namespace {

/// What the server says in words of the protocol, in those of the command line.
struct Hint {
  Command command;
  std::string_view id;
  const char* text;
};
constexpr Hint HINTS[] = {
    {Command::RESTORE, "SRV_COLLECTION_EXISTS", "; here: give --replace"},
    {Command::SEARCH, "SRV_SORT_FIELD_UNKNOWN", "; here: load it with --sortable"},
};

std::string hintFor(Command command, const Failure& failure) {
  for (const Hint& hint : HINTS) {
    if (hint.command == command && failure.code == ExitCode::REFUSED &&
        failure.text.find(hint.id) != std::string::npos) {
      return hint.text;
    }
  }
  return "";
}

}  // namespace

ExitCode runCommand(const Settings& settings, const Terminal& terminal) {
  Context context(settings, terminal);
  try {
    const ExitCode code = dispatch(context);
    finishOutput(terminal.out);
    return code;
  } catch (const std::exception&) {
    const Failure failure = currentFailure(context.where());
    throw CtlFailure(failure.code, failure.text + hintFor(settings.command, failure));
  }
}

}  // namespace orvix::ctl
