// SPDX-License-Identifier: Apache-2.0
// The two commands about bytes: a request that goes no further than a socket of this process, and
// captured bytes from a file. Neither talks to a server.
#include <algorithm>
#include <cstdio>
#include <string>

#include "cli/qorCtlCapture.h"
#include "cli/qorCtlContext.h"
#include "cli/qorCtlDocument.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlText.h"
#include "cli/qorCtlToken.h"
#include "cli/qorCtlWireExplain.h"

namespace orvix::ctl {

namespace {

using comm::StaticDefs;

constexpr std::size_t MAX_CAPTURE_BYTES = std::size_t{128} << 20U;
constexpr std::size_t BYTES_PER_LINE = 16;

std::string hexText(std::string_view bytes, const char* between) {
  std::string text;
  for (const char byte : bytes) {
    if (!text.empty()) text += between;
    appendHex(text, static_cast<unsigned char>(byte));
  }
  return text;
}

std::string asciiText(std::string_view bytes) {
  std::string text(bytes);
  std::replace_if(
      text.begin(), text.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '.');
  return text;
}

std::string dumpOffset(std::size_t offset) {
  char text[24];
  std::snprintf(text, sizeof text, "%08zx", offset);
  return text;
}

/// Lines of a hex dump for people, a row per part for programs.
class PartPrinter {
 public:
  explicit PartPrinter(const Context& context)
      : forPeople_(context.format() == OutputFormat::TABLE) {
    rows_ = forPeople_ ? context.rows({{"offset"}, {"bytes"}, {"text"}, {"meaning"}})
                       : context.rows({{"offset"}, {"length"}, {"bytes"}, {"meaning"}});
  }

  void print(const WirePart& part) {
    if (!forPeople_) {
      rows_->write({std::uint64_t{part.offset}, std::uint64_t{part.bytes.size()},
                    hexText(part.bytes, ""), part.meaning});
      return;
    }
    for (std::size_t at = 0; at < part.bytes.size(); at += BYTES_PER_LINE) {
      const std::string_view line = part.bytes.substr(at, BYTES_PER_LINE);
      rows_->write({dumpOffset(part.offset + at), hexText(line, " "), asciiText(line),
                    at == 0 ? part.meaning : ""});
    }
  }
  void finish() { rows_->finish(); }

 private:
  bool forPeople_;
  std::unique_ptr<RowWriter> rows_;
};

template <class Explainer>
void printParts(const Context& context, const std::string& name, const char* hint,
                Explainer explainParts) {
  PartPrinter printer(context);
  try {
    explainParts([&printer](const WirePart& part) { printer.print(part); });
  } catch (const WireFault& fault) {
    throw CtlFailure(ExitCode::PROTOCOL, name + ": " + fault.what() + hint);
  }
  printer.finish();
}

util::ExtendedProperties wireProperties(const Settings& settings) {
  util::ExtendedProperties properties;
  for (const Field& property : parseFields(settings.wireProperties)) {
    properties.putProperty(toUnicode(property.name), toUnicode(property.value));
  }
  if (!settings.tokenFile.empty()) {
    properties.putProperty(StaticDefs::PARAM_AUTHENTICATION_TOKEN,
                           toUnicode(readToken(settings.tokenFile)));
  }
  return properties;
}

Document wireDocument(const Settings& settings) {
  Document document;
  document.key = settings.documentKey;
  document.fields = parseFields(settings.fields);
  if (settings.contentText) document.content = *settings.contentText;
  if (!settings.contentFile.empty()) document.content = readFile(settings.contentFile);
  return document;
}

void build(comm::ClientRequest& request, const WireKind& kind, const Settings& settings) {
  const util::ExtendedProperties properties = wireProperties(settings);
  const icu::UnicodeString none;
  const icu::UnicodeString& collection =
      properties.getProperty(StaticDefs::PARAM_COLLECTION_ID, none);
  if (collection.isEmpty()) {
    request.buildRequest(kind.kind, properties);
  } else {
    request.buildRequest(collection, kind.kind, properties);
  }
}

/// The bytes that the library writes for the request.
std::string capture(comm::ClientRequest& request) {
  constexpr unsigned int MILLISECONDS = CaptureSocket::TIME_OUT_SECONDS * 1000;
  CaptureSocket socket;
  try {
    comm::TamberPerfClient client(u"127.0.0.1", socket.port());
    client.setTimeOut(MILLISECONDS);
    client.setReceiveTimeOut(MILLISECONDS);
    client.setSendTimeOut(MILLISECONDS);
    client.setNumRetries(0);
    comm::ClientResponse none;
    client.sendAndRecvMesg(request, none);
  } catch (const comm::RESTException& failure) {
    // All is sent, and there is no reply to be had.
    const icu::UnicodeString& id = failure.getMessages().getFirstMessage().getMessageID();
    if (id != StaticDefs::ERR_SERVER_COMM_RECV) throw;
  }
  return socket.takeBytes();
}

}  // namespace

ExitCode showRequest(Context& context) {
  const Settings& settings = context.settings();
  const WireKind& kind = *findWireKind(settings.wireKind);  // the option's check has found it
  const Document document = wireDocument(settings);
  comm::ClientRequest request;
  build(request, kind, settings);
  fillRequest(request, document, {settings.indexedFields, settings.sortableFields});
  const std::string bytes = capture(request);
  if (settings.raw) {
    context.terminal().out << bytes;
  } else {
    printParts(context, "wire " + settings.wireKind, "",
               [&bytes](const PartSink& sink) { explainRequests(bytes, sink); });
  }
  return ExitCode::DONE;
}

ExitCode explainCapture(Context& context) {
  const Settings& settings = context.settings();
  const std::string bytes = readFile(settings.decodeFile, MAX_CAPTURE_BYTES);
  const char* const hint =
      settings.replyKind.empty() ? "; if these are replies, say --kind KIND" : "";
  printParts(context, inputName(settings.decodeFile), hint, [&](const PartSink& sink) {
    if (settings.replyKind.empty()) {
      explainRequests(bytes, sink);
    } else {
      explainReplies(bytes, *findWireKind(settings.replyKind), sink);
    }
  });
  return ExitCode::DONE;
}

}  // namespace orvix::ctl
