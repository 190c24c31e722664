// SPDX-License-Identifier: Apache-2.0
// Pure functions from a value to what is wrong with it.
#include "cli/qorCtlValidate.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <vector>

#include "cli/qorCtlDocumentSource.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlText.h"
#include "cli/qorCtlWireKinds.h"

namespace orvix::ctl {

namespace {

constexpr double MAX_SECONDS = 86400;
constexpr std::uint64_t MAX_RETRIES = 100;
constexpr std::uint64_t MAX_PORT = 65535;
constexpr std::uint64_t MAX_PINGS = 1000000;
constexpr std::string_view TOKEN_ON_THE_WIRE = "Authorization";  // no public constant names it
constexpr std::uint64_t MAX_COUNT = std::numeric_limits<std::uint32_t>::max();

template <class Number>
bool isNumber(std::string_view value, Number least, Number most) {
  Number number{};
  const char* end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  // Written so that NaN fails.
  return error == std::errc() && stop == end && number >= least && number <= most;
}

std::string checkWhole(std::string_view value, std::uint64_t least, std::uint64_t most) {
  if (isNumber<std::uint64_t>(value, least, most)) return "";
  return "'" + printable(value) + "' is not a whole number from " + std::to_string(least) + " to " +
         std::to_string(most);
}

using TogetherCheck = std::string (*)(const Settings& settings);

bool isFieldName(const std::vector<std::string>& fields, const std::string& name) {
  return std::any_of(fields.begin(), fields.end(), [&name](const std::string& field) {
    return field.substr(0, field.find('=')) == name;
  });
}

std::string checkMarkedFields(const Settings& settings) {
  if (settings.command != Command::DOC_ADD && settings.command != Command::WIRE) return "";
  for (const auto* names : {&settings.indexedFields, &settings.sortableFields}) {
    for (const std::string& name : *names) {
      if (!isFieldName(settings.fields, name)) {
        return "--index and --sortable name fields of the document, and there is none called '" +
               printable(name) + "'; give it with --field " + printable(name) + "=VALUE";
      }
    }
  }
  return "";
}

std::string checkStandardInput(const Settings& settings) {
  auto readers = std::count(settings.paths.begin(), settings.paths.end(), STANDARD_INPUT);
  for (const std::string* file :
       {&settings.tokenFile, &settings.contentFile, &settings.decodeFile}) {
    if (*file == STANDARD_INPUT) ++readers;
  }
  return readers > 1 ? "standard input (-) can be read once only; name a file for the others" : "";
}

std::string checkNamedTwice(const Settings& settings) {
  const bool keyMapped = isFieldName(settings.mappings, KEY_FIELD);
  const bool contentMapped = isFieldName(settings.mappings, CONTENT_FIELD);
  if (keyMapped && !settings.keyMember.empty()) {
    return "--key and --map key=... both name the key's column; leave one out";
  }
  if (contentMapped && !settings.contentMember.empty()) {
    return "--content and --map content=... both name the text's column; leave one out";
  }
  return "";
}

std::string checkWire(const Settings& settings) {
  if (settings.command != Command::WIRE) return "";
  if (settings.wireKind.empty()) {
    return "kind is required: name a request, such as get-status, or say wire decode FILE";
  }
  if (settings.contentText && !settings.contentFile.empty()) {
    return "--content and --content-file both give the content; leave one out";
  }
  return "";
}

}  // namespace

std::string checkLine(std::string_view value) {
  if (value.find_first_of(std::string_view("\n\r\0", 3)) != std::string_view::npos) {
    return "a line feed, carriage return or NUL cannot be sent here; take it out";
  }
  if (!isUtf8(value)) return "the value is not UTF-8; convert it";
  if (value.size() > MAX_LINE_VALUE) {
    return "the value has " + std::to_string(value.size()) + " bytes; give at most " +
           std::to_string(MAX_LINE_VALUE);
  }
  return "";
}

std::string checkFilledLine(std::string_view value) {
  return value.empty() ? checkFilled(value) : checkLine(value);
}

std::string checkFilled(std::string_view value) {
  return value.empty() ? "the value is empty; give a text" : "";
}

std::string checkPort(std::string_view value) { return checkWhole(value, 1, MAX_PORT); }

std::string checkSeconds(std::string_view value) {
  if (isNumber<double>(value, 0, MAX_SECONDS)) return "";
  return "'" + printable(value) + "' is not a number of seconds from 0 (no limit) to 86400";
}

std::string checkRetries(std::string_view value) { return checkWhole(value, 0, MAX_RETRIES); }

std::string checkOffset(std::string_view value) { return checkWhole(value, 0, MAX_COUNT); }

std::string checkLimit(std::string_view value) { return checkWhole(value, 1, MAX_COUNT); }

std::string checkCount(std::string_view value) { return checkWhole(value, 1, MAX_PINGS); }

std::string checkInterval(std::string_view value) {
  if (isNumber<double>(value, 0, MAX_SECONDS)) return "";
  return "'" + printable(value) + "' is not a number of seconds from 0 to 86400";
}

std::string checkField(std::string_view value) {
  const std::size_t equals = value.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    return "'" + printable(value) + "' is no field; give NAME=VALUE";
  }
  return isUtf8(value) ? "" : "the field is not UTF-8; convert it";
}

std::string checkMapping(std::string_view value) {
  const std::size_t equals = value.find('=');
  if (equals == std::string_view::npos || equals == 0 || equals + 1 == value.size()) {
    return "'" + printable(value) + "' is no mapping; give FIELD=COLUMN";
  }
  return isUtf8(value) ? "" : "the mapping is not UTF-8; convert it";
}

std::string checkProperty(std::string_view value) {
  const std::size_t equals = value.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    return "'" + printable(value) + "' is no property; give KEY=VALUE";
  }
  const std::string key(value.substr(0, equals));
  if (key == toUtf8(comm::StaticDefs::PARAM_AUTHENTICATION_TOKEN) || key == TOKEN_ON_THE_WIRE) {
    return "a token in an argument can be read by others; give it with --token-file";
  }
  return checkLine(value);
}

std::string checkKind(std::string_view value) {
  return findWireKind(value) == nullptr ? checkChoice(value, wireKindNames()) : "";
}

std::string checkOutputFile(std::string_view value) {
  if (value == STANDARD_INPUT) return "standard output is for data; name a file";
  return checkFilled(value);
}

std::string checkChoice(std::string_view value, const std::vector<std::string>& choices) {
  std::string all;
  for (const std::string& choice : choices) {
    if (value == choice) return "";
    all += (all.empty() ? "" : ", ") + choice;
  }
  return "'" + printable(value) + "' is not known here; give one of " + all;
}

std::string checkTogether(const Settings& settings) {
  for (const TogetherCheck check :
       {checkMarkedFields, checkStandardInput, checkNamedTwice, checkWire}) {
    std::string wrong = check(settings);
    if (!wrong.empty()) return wrong;
  }
  return "";
}

}  // namespace orvix::ctl
