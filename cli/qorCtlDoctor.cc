// SPDX-License-Identifier: Apache-2.0
// Checks that build on each other, from the host's name to the collection: the first that fails
// ends the row, for those behind it could only fail for the same reason.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <netdb.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <sys/socket.h>

#include "cli/qorCtlContext.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlText.h"
#include "cli/qorCtlToken.h"

namespace orvix::ctl {

namespace {

using comm::ClientRequest;
using comm::ClientResponse;
using Json = nlohmann::json;

enum class Verdict : std::uint32_t { OK, WARN, FAIL };

struct Finding {
  Verdict verdict = Verdict::OK;
  std::string text;
  std::string remedy = {};  ///< empty when all is well
};

/// What the checks share. The connection is set up, and the token read, by the check for the token.
struct Patient {
  const Settings& settings;
  std::optional<Connection> connection = {};
};

std::string addressText(const addrinfo& address) {
  char host[NI_MAXHOST];
  const int error = ::getnameinfo(address.ai_addr, address.ai_addrlen, host, sizeof host, nullptr,
                                  0, NI_NUMERICHOST);
  return error == 0 ? host : "an address of an unknown kind";
}

Finding checkHost(Patient& patient) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const std::string& host = patient.settings.host;
  const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
  if (error != 0) {
    return {Verdict::FAIL, printable(host) + " is not known: " + ::gai_strerror(error),
            "check the spelling of --host, and this machine's name service"};
  }
  std::set<std::string> addresses;
  for (const addrinfo* at = found; at != nullptr; at = at->ai_next) {
    addresses.insert(addressText(*at));
  }
  std::string text = printable(host) + " is";
  for (const std::string& address : addresses) text += ' ' + address;
  return {Verdict::OK, text};
}

Finding checkConnection(Patient& patient) {
  const std::string peer = endpointText(patient.settings.host, patient.settings.port);
  const auto start = std::chrono::steady_clock::now();
  const auto limit =
      static_cast<unsigned long long>(std::ceil(patient.settings.connectTimeout * 1000));
  try {
    oss::Socket socket;
    socket.connect(toUnicode(patient.settings.host), patient.settings.port,
                   oss::Socket::NullAddrInfoExternal, limit == 0 ? nullptr : &limit);
  } catch (const oss::BaseException& failure) {
    return {Verdict::FAIL, printable(failure.what()),
            std::string(exitRow(ExitCode::NO_CONNECTION).remedy)};
  }
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  char text[48];
  std::snprintf(text, sizeof text, " accepts connections, in %.1f ms", taken.count());
  return {Verdict::OK, peer + text};
}

/// Whether the server takes requests with this token, or without one. What it answers is looked at
/// by the next check.
Finding checkToken(Patient& patient) {
  ClientResponse response;
  patient.connection.emplace(patient.settings);
  patient.connection->run(ClientRequest::GET_STATUS, response);
  const std::string& file = patient.settings.tokenFile;
  if (file.empty()) return {Verdict::OK, "none is given and the server asks for none"};
  if (file != STANDARD_INPUT && isReadableByOthers(file)) {
    return {Verdict::WARN, "accepted, but others may read " + inputName(file),
            "take away their right: chmod go-r " + printable(file)};
  }
  return {Verdict::OK, "accepted"};
}

Finding checkStatus(Patient& patient) {
  ClientResponse response;
  patient.connection->run(ClientRequest::GET_STATUS, response);
  const oss::Message message = response.getStatusMessage();
  if (response.getStatusCode() == 0) return {Verdict::OK, "the server is well"};
  if (response.getStatusCode() == 1) {
    return {Verdict::WARN, "the server is busy: changes are not committed yet",
            "commit them with qorctl collection update NAME"};
  }
  return {
      Verdict::FAIL,
      printable(toUtf8(message.getMessageID()) + ": " + toUtf8(message.getMessageText())),
      "see qorctl explain " + printable(toUtf8(message.getMessageID())) + ", and the server's log"};
}

Finding checkVersion(Patient& patient) {
  ClientResponse response;
  patient.connection->run(ClientRequest::GET_SERVER_VERSION, response);
  const std::string server = printable(toUtf8(response.getContent()));
  try {
    ClientResponse validation;
    patient.connection->run(ClientRequest::VERSIONS_VALIDATION, validation);
  } catch (const comm::RESTException& failure) {
    if (!failure.isServerReported()) throw;
    return {Verdict::FAIL, server + "; " + printable(failure.what()),
            "use a server and a client of the same protocol version"};
  }
  return {Verdict::OK, server + "; speaks the protocol of " + qorcomm_component_marker};
}

Finding judgeCollection(const std::string& name, const Json& status) {
  const auto text = [&status](const char* member) {
    const auto found = status.find(member);
    return found == status.end() ? std::string()
           : found->is_string()  ? found->get<std::string>()
                                 : found->dump();
  };
  std::string facts = printable(name);
  if (!text("documents").empty()) facts += " has " + text("documents") + " documents";
  if (!text("lastError").empty()) {
    return {Verdict::WARN, facts + "; its last error: " + printable(text("lastError")),
            "see the server's log, then qorctl collection update " + printable(name)};
  }
  if (!text("outcomes").empty() && text("outcomes") != "0") {
    return {Verdict::WARN, facts + "; " + text("outcomes") + " outcomes wait to be fetched",
            "fetch them with qorctl outcomes " + printable(name)};
  }
  return {Verdict::OK, facts};
}

Finding checkCollection(Patient& patient) {
  const std::string& name = patient.settings.collection;
  ClientRequest request;
  request.buildRequest(toUnicode(name), ClientRequest::COLLECTION_STATUS,
                       patient.connection->properties());
  ClientResponse response;
  try {
    patient.connection->run(request, response);
  } catch (const comm::RESTException& failure) {
    if (!failure.isServerReported()) throw;
    return {Verdict::FAIL, printable(failure.what()),
            "check its spelling, or make it with qorctl collection create " + printable(name)};
  }
  const Json status = Json::parse(toUtf8(response.getContent()), nullptr, false);
  if (!status.is_object()) return {Verdict::OK, printable(name) + " is there"};
  return judgeCollection(name, status);
}

struct CheckRow {
  const char* name;
  Finding (*run)(Patient& patient);
};

constexpr CheckRow CHECKS[] = {
    {"host", checkHost},     {"connection", checkConnection}, {"token", checkToken},
    {"status", checkStatus}, {"version", checkVersion},       {"collection", checkCollection},
};

/// What to do comes after what was found, so it is taken out of the failure's text.
Finding findingOf(Failure failure, const Settings& settings) {
  std::string remedy(exitRow(failure.code).remedy);
  const std::string ending = "; " + remedy;
  if (!remedy.empty() && failure.text.ends_with(ending)) {
    failure.text.resize(failure.text.size() - ending.size());
  }
  if (failure.code == ExitCode::NOT_AUTHORISED && !settings.tokenFile.empty()) {
    remedy = "check that the first line of " + inputName(settings.tokenFile) +
             " is a token that the server's token file has a line for";
  }
  if (!remedy.empty()) remedy += "; ";
  return {Verdict::FAIL, failure.text,
          remedy + "see qorctl explain " + std::to_string(static_cast<int>(failure.code))};
}

Finding runCheck(const CheckRow& check, Patient& patient) {
  try {
    return check.run(patient);
  } catch (const std::exception&) {
    return findingOf(currentFailure(patient.connection ? patient.connection->triedText()
                                                       : requestText(patient.settings)),
                     patient.settings);
  }
}

}  // namespace

ExitCode doctor(Context& context) {
  Settings once = context.settings();
  once.retries = 0;
  Patient patient{once};
  const auto rows = context.rows(
      {{"check", 10}, {"verdict", 7, false, true}, {"finding"}, {"remedy", 0, false, false, true}});
  bool failed = false;
  for (const CheckRow& check : CHECKS) {
    if (check.run == checkCollection && once.collection.empty()) continue;
    if (failed) {
      context.note(std::string("not checked: ") + check.name);
      continue;
    }
    const Finding finding = runCheck(check, patient);
    rows->write({check.name, std::string(VERDICTS.at(static_cast<std::size_t>(finding.verdict))),
                 finding.text, finding.remedy.empty() ? Cell() : Cell(finding.remedy)});
    rows->flush();  // the next check may take its time
    failed = finding.verdict == Verdict::FAIL;
  }
  rows->finish();
  return failed ? ExitCode::ANSWER_IS_NO : ExitCode::DONE;
}

}  // namespace orvix::ctl
