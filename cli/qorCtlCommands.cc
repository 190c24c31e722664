// SPDX-License-Identifier: Apache-2.0
// One function per command, or per group of commands that differ in their request kind only.
#include "cli/qorCtlCommands.h"

#include <cstdint>
#include <string>
#include <utility>

#include "cli/qorCtlConnection.h"
#include "cli/qorCtlDocument.h"
#include "cli/qorCtlDocumentSource.h"
#include "cli/qorCtlLoad.h"
#include "cli/qorCtlOptions.h"
#include "cli/qorCtlOutput.h"
#include "cli/qorCtlProgress.h"
#include "cli/qorCtlSearch.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using comm::ClientRequest;
using comm::ClientResponse;
using comm::StaticDefs;

constexpr const char* COLLECTION_LANGUAGE = "docLang";  // no constant of the interface names it

struct Context {
  const Settings& settings;
  const Terminal& terminal;
  OutputFormat format;
  Connection& connection;

  [[nodiscard]] std::unique_ptr<RowWriter> rows(std::vector<Column> columns) const {
    return makeRowWriter(format, terminal.out, std::move(columns));
  }
  void note(const std::string& text) const { terminal.err << "qorctl: " << text << '\n'; }
};

util::ExtendedProperties propertiesWith(const Context& context, const icu::UnicodeString& key,
                                        const std::string& value) {
  util::ExtendedProperties properties = context.connection.properties();
  if (!value.empty()) properties.putProperty(key, toUnicode(value));
  return properties;
}

/// A request that is answered by success or failure only.
ExitCode perform(const Context& context, ClientRequest& request) {
  ClientResponse response;
  context.connection.run(request, response);
  context.note(context.connection.where() + ": done");
  return ExitCode::DONE;
}

ExitCode onServer(const Context& context, ClientRequest::REQUEST kind) {
  ClientRequest request;
  request.buildRequest(kind, context.connection.properties());
  return perform(context, request);
}

ExitCode onCollection(const Context& context, ClientRequest::REQUEST kind,
                      const util::ExtendedProperties& properties) {
  ClientRequest request;
  request.buildRequest(toUnicode(context.settings.collection), kind, properties);
  return perform(context, request);
}

ExitCode onCollection(const Context& context, ClientRequest::REQUEST kind) {
  return onCollection(context, kind, context.connection.properties());
}

ExitCode createCollection(const Context& context) {
  util::ExtendedProperties properties =
      propertiesWith(context, StaticDefs::PARAM_DISPLAY_NAME, context.settings.displayName);
  if (!context.settings.language.empty()) {
    properties.putProperty(toUnicode(COLLECTION_LANGUAGE), toUnicode(context.settings.language));
  }
  return onCollection(context, ClientRequest::CREATE_COLLECTION, properties);
}

ExitCode copyCollection(const Context& context, ClientRequest::REQUEST kind) {
  return onCollection(
      context, kind,
      propertiesWith(context, StaticDefs::PARAM_COLLECTION_DIR, context.settings.backupName));
}

ExitCode version(const Context& context) {
  ClientResponse response;
  context.connection.run(ClientRequest::GET_SERVER_VERSION, response);
  const auto rows = context.rows({{"program", 8}, {"version"}});
  rows->write({"library", qorcomm_component_marker});
  rows->write({"server", toUtf8(response.getContent())});
  return ExitCode::DONE;
}

ExitCode status(const Context& context) {
  constexpr const char* STATES[] = {"ok", "busy", "error"};
  ClientResponse response;
  context.connection.run(ClientRequest::GET_STATUS, response);
  const unsigned int code = response.getStatusCode();
  const oss::Message message = response.getStatusMessage();
  const auto cellOf = [](const icu::UnicodeString& text) {
    return text.isEmpty() ? Cell() : Cell(toUtf8(text));
  };
  context.rows({{"status", 6}, {"state", 8}, {"id", 24}, {"message"}})
      ->write({std::uint64_t{code}, code < std::size(STATES) ? STATES[code] : "unknown",
               cellOf(message.getMessageID()), cellOf(message.getMessageText())});
  return code == 0 ? ExitCode::DONE : ExitCode::ANSWER_IS_NO;
}

ExitCode collectionStatus(const Context& context) {
  ClientRequest request;
  request.buildRequest(toUnicode(context.settings.collection), ClientRequest::COLLECTION_STATUS,
                       context.connection.properties());
  ClientResponse response;
  context.connection.run(request, response);
  writeText(context.format, context.terminal.out, "status", toUtf8(response.getContent()));
  return ExitCode::DONE;
}

ExitCode estimate(const Context& context) {
  const Settings& settings = context.settings;
  auto properties = propertiesWith(context, StaticDefs::PARAM_QUERY, settings.query);
  if (!settings.language.empty()) {
    properties.putProperty(StaticDefs::PARAM_QUERY_LANGUAGE, toUnicode(settings.language));
  }
  ClientRequest request;
  request.buildRequest(toUnicode(settings.collection), ClientRequest::SELECTIVITY, properties);
  ClientResponse response;
  context.connection.run(request, response);
  const comm::SelectivityInfo& info = response.getSelectivityInfo();
  context.rows({{"matches", 10, true}, {"atLeast", 10, true}, {"documents", 10, true}})
      ->write({info.getValue1(), info.getValue2(), info.getValue3()});
  return ExitCode::DONE;
}

ExitCode outcomes(const Context& context) {
  const auto rows = context.rows({{"accepted", 8}, {"id", 28}, {"message", 40}, {"key"}});
  bool rejected = false;
  context.connection.forEachOutcome(
      toUnicode(context.settings.collection), [&](const comm::ParseResult& outcome) {
        const oss::Message& message = outcome.getMessage();
        const bool accepted = message.getMessageID().isEmpty();
        rejected = rejected || !accepted;
        rows->write({accepted, accepted ? Cell() : Cell(toUtf8(message.getMessageID())),
                     accepted ? Cell() : Cell(toUtf8(message.getMessageText())),
                     toUtf8(outcome.getText())});
      });
  return rejected ? ExitCode::ANSWER_IS_NO : ExitCode::DONE;
}

util::ExtendedProperties documentProperties(const Context& context) {
  util::ExtendedProperties properties =
      propertiesWith(context, StaticDefs::PARAM_KNOWN_LANGUAGE, context.settings.language);
  if (!context.settings.charset.empty()) {
    properties.putProperty(StaticDefs::PARAM_KNOWN_CHARSET, toUnicode(context.settings.charset));
  }
  return properties;
}

FieldMarks fieldMarks(const Settings& settings) {
  return {settings.indexedFields, settings.sortableFields};
}

ExitCode addDocument(const Context& context) {
  const Settings& settings = context.settings;
  Document document;
  document.key = settings.documentKey;
  if (!settings.contentFile.empty()) document.content = readFile(settings.contentFile);
  for (const std::string& field : settings.fields) {
    const std::size_t equals = field.find('=');
    document.fields.push_back({field.substr(0, equals), field.substr(equals + 1)});
  }
  ClientRequest request;
  request.buildRequest(toUnicode(settings.collection), ClientRequest::ADD_DOCUMENT,
                       documentProperties(context));
  fillRequest(request, document, fieldMarks(settings));
  return perform(context, request);
}

ExitCode deleteDocument(const Context& context) {
  const std::string& key = context.settings.documentKey;
  ClientRequest request;
  request.buildRequest(toUnicode(context.settings.collection), ClientRequest::DELETE_DOCUMENT,
                       context.connection.properties());
  request.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
  return perform(context, request);
}

SourceOptions sourceOptions(const Settings& settings) {
  SourceOptions options;
  options.namedFilesAreNdjson = !settings.keyMember.empty() || !settings.contentMember.empty();
  if (!settings.keyMember.empty()) options.keyMember = settings.keyMember;
  if (!settings.contentMember.empty()) options.contentMember = settings.contentMember;
  return options;
}

void writeLoadSummary(const Context& context, const LoadCounts& counts, double seconds) {
  context
      .rows({{"sent", 10, true},
             {"accepted", 10, true},
             {"rejected", 10, true},
             {"unconfirmed", 11, true},
             {"unreadable", 10, true},
             {"bytes", 14, true},
             {"seconds", 9, true}})
      ->write({counts.sent, counts.accepted, counts.rejected, counts.unconfirmed(), counts.problems,
               counts.bytes, seconds});
}

ExitCode load(const Context& context) {
  const Settings& settings = context.settings;
  requirePaths(settings.paths);
  const bool bar = context.terminal.errIsTerminal;
  Progress progress(context.terminal.err, bar, bar ? measurePaths(settings.paths) : 0);
  Loader loader(context.connection, toUnicode(settings.collection), documentProperties(context),
                fieldMarks(settings), progress);
  const auto source = openPaths(settings.paths, sourceOptions(settings));
  const LoadResult result = loader.run(*source);
  if (result.failure) progress.say(result.failure->text);
  if (result.counts.omittedMembers != 0) {
    progress.say("members left out of their documents, for they are neither text nor numbers: " +
                 std::to_string(result.counts.omittedMembers));
  }
  progress.wipe();
  writeLoadSummary(context, result.counts, progress.elapsed().count());
  return exitCodeOf(result);
}

ExitCode search(const Context& context) {
  const std::uint64_t hits =
      runSearch(context.connection, context.settings, context.format, context.terminal.out);
  if (hits == 0) context.note(context.connection.where() + ": no hits");
  return ExitCode::DONE;
}

ExitCode dispatch(const Context& context) {
  switch (context.settings.command) {
    case Command::VERSION:
      return version(context);
    case Command::STATUS:
      return status(context);
    case Command::COLLECTION_CREATE:
      return createCollection(context);
    case Command::COLLECTION_DROP:
      return onCollection(context, ClientRequest::DROP_COLLECTION);
    case Command::COLLECTION_OPEN:
      return onCollection(context, ClientRequest::OPEN_COLLECTION);
    case Command::COLLECTION_CLOSE:
      return onCollection(context, ClientRequest::CLOSE_COLLECTION);
    case Command::COLLECTION_UPDATE:
      return onCollection(context, ClientRequest::UPDATE_INDEX);
    case Command::COLLECTION_LIST_STATUS:
      return collectionStatus(context);
    case Command::LOAD:
      return load(context);
    case Command::DOC_ADD:
      return addDocument(context);
    case Command::DOC_DELETE:
      return deleteDocument(context);
    case Command::SEARCH:
      return search(context);
    case Command::ESTIMATE:
      return estimate(context);
    case Command::OUTCOMES:
      return outcomes(context);
    case Command::BACKUP:
      return copyCollection(context, ClientRequest::BACKUP);
    case Command::RESTORE:
      return copyCollection(context, ClientRequest::RESTORE);
    case Command::TAKEOVER:
      return onServer(context, ClientRequest::TAKEOVER);
    case Command::SHUTDOWN:
      return onServer(context, ClientRequest::SHUTDOWN);
  }
  throw CtlFailure(ExitCode::INTERNAL, "a command without a handler");
}

}  // namespace

ExitCode runCommand(const Settings& settings, const Terminal& terminal) {
  Connection connection(settings);
  const OutputFormat format = outputFormat(settings.output, terminal.outIsTerminal);
  const ExitCode code = dispatch({settings, terminal, format, connection});
  finishOutput(terminal.out);
  return code;
}

}  // namespace orvix::ctl
