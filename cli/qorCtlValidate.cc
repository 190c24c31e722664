// SPDX-License-Identifier: Apache-2.0
// Pure functions from a value to what is wrong with it.
#include "cli/qorCtlValidate.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <vector>

#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

constexpr double MAX_SECONDS = 86400;
constexpr std::uint64_t MAX_RETRIES = 100;
constexpr std::uint64_t MAX_PORT = 65535;
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

bool isFieldName(const std::vector<std::string>& fields, const std::string& name) {
  return std::any_of(fields.begin(), fields.end(), [&name](const std::string& field) {
    return field.substr(0, field.find('=')) == name;
  });
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

std::string checkOutput(std::string_view value) {
  if (value == "table" || value == "ndjson") return "";
  return "'" + printable(value) + "' is no output form; give table or ndjson";
}

std::string checkField(std::string_view value) {
  const std::size_t equals = value.find('=');
  if (equals == std::string_view::npos || equals == 0) {
    return "'" + printable(value) + "' is no field; give NAME=VALUE";
  }
  return isUtf8(value) ? "" : "the field is not UTF-8; convert it";
}

std::string checkTogether(const Settings& settings) {
  if (settings.command != Command::DOC_ADD) return "";
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

}  // namespace orvix::ctl
