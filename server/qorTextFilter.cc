// SPDX-License-Identifier: Apache-2.0
// What the filter says of a failure is passed on as far as its first line.
#include "server/qorTextFilter.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <system_error>
#include <unistd.h>

#include "server/qorContentType.h"
#include "server/qorFilterProcess.h"
#include "server/qorRefusal.h"
#include "server/qorTextDecoder.h"

namespace orvix::server {

namespace {

const TextFilter* rowOf(const std::vector<TextFilter>& filters, const std::string& type) {
  const auto found = std::find_if(filters.begin(), filters.end(), [&](const TextFilter& each) {
    return parseContentType(each.contentType).name == type;
  });
  return found == filters.end() ? nullptr : &*found;
}

/// Empty: there is no such program.
std::string programOf(const std::string& name) {
  if (name.starts_with('/')) return ::access(name.c_str(), X_OK) == 0 ? name : "";
  if (name.empty() || name.find('/') != std::string::npos) return {};
  std::string_view folders = PROGRAM_FOLDERS;
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    std::string path = std::string(folders.substr(0, end)) + "/" + name;
    if (::access(path.c_str(), X_OK) == 0) return path;
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return {};
}

/// The first line that says something, well-formed and without control characters.
std::string firstLine(std::string_view said) {
  const std::size_t start = said.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return {};
  said.remove_prefix(start);
  std::string line = toUtf8(said.substr(0, said.find_first_of("\r\n")), {});
  const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; };
  std::replace_if(line.begin(), line.end(), isControl, ' ');
  return line;
}

std::string amount(unsigned number, const char* unit) { return std::to_string(number) + unit; }

/// Empty: it ended well.
std::string faultOf(const TextFilter& filter, const ProcessResult& result) {
  switch (result.end) {
    case ProcessEnd::NOT_STARTED:
      return "could not be started: " + std::generic_category().message(result.code);
    case ProcessEnd::EXITED:
      return result.code == 0 ? "" : "failed with exit code " + std::to_string(result.code);
    case ProcessEnd::SIGNALLED:
      if (result.code == SIGXCPU) {
        return "used more than " + amount(filter.seconds, " seconds of processor time");
      }
      return "was ended by signal " + std::to_string(result.code) +
             (result.code == SIGKILL ? ", perhaps for lack of memory" : "");
    case ProcessEnd::OUT_OF_TIME:
      return "took longer than " + amount(filter.seconds, " seconds");
    case ProcessEnd::TOO_MUCH_OUTPUT:
      return "wrote more than " + amount(filter.outputMiB, " MiB of text");
  }
  return {};
}

[[noreturn]] void refuseFor(const TextFilter& filter, const std::string& why) {
  const std::string program =
      filter.command.empty() ? "" : std::filesystem::path(filter.command[0]).filename().string();
  refuse(MessageId::FILTER_FAILED, "The filter " + inQuotes(program) + " for the type " +
                                       inQuotes(filter.contentType) + " " + why);
}

}  // namespace

const TextFilter* filterFor(const std::vector<TextFilter>& filters, std::string_view type) {
  if (filters.empty() || type.empty()) return nullptr;
  const TextFilter* exact = rowOf(filters, std::string(type));
  if (exact != nullptr || textKindOf(type) != TextKind::OTHER) return exact;
  const TextFilter* family = rowOf(filters, std::string(type.substr(0, type.find('/'))) + "/*");
  return family != nullptr ? family : rowOf(filters, "*/*");
}

void checkTextFilter(const TextFilter& filter) {
  const std::string type = parseContentType(filter.contentType).name;
  const std::size_t slash = type.find('/');
  if (slash == 0 || slash == std::string::npos || slash + 1 == type.size()) {
    refuseFor(filter, "needs a type such as application/pdf, image/* or */*");
  }
  if (type == "text/*") refuseFor(filter, "has no use: the server reads all text by itself");
  if (filter.command.empty() || programOf(filter.command[0]).empty()) {
    refuseFor(filter,
              std::string("needs a program that can be run: an absolute path, or a name in ") +
                  PROGRAM_FOLDERS);
  }
  if (filter.seconds == 0 || filter.memoryMiB == 0 || filter.outputMiB == 0) {
    refuseFor(filter, "needs limits above 0 for seconds, memory and output");
  }
}

std::string runTextFilter(const TextFilter& filter, std::string_view content) {
  checkTextFilter(filter);
  const ProcessLimits limits{filter.seconds, filter.memoryMiB, filter.outputMiB};
  const ProcessResult result =
      runProcess(programOf(filter.command[0]), filter.command, PROGRAM_FOLDERS, content, limits);
  std::string fault = faultOf(filter, result);
  if (fault.empty()) return toUtf8(result.output, {});
  const std::string said = firstLine(result.errors);
  if (!said.empty()) fault += "; it says " + inQuotes(said);
  refuseFor(filter, fault);
}

}  // namespace orvix::server
