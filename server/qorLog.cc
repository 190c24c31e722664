// SPDX-License-Identifier: Apache-2.0
// The process's one log. It exists from its first line to the end of the process and is never
// destroyed, for threads may still log while the process ends.
#include "server/qorLog.h"

#include <chrono>
#include <iostream>
#include <memory>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <unistd.h>

#include "server/qorLogGate.h"
#include "server/qorLogSink.h"
#include "server/qorLogText.h"

namespace orvix::server {

namespace {

spdlog::level::level_enum spdlogLevel(LogLevel level) noexcept {
  switch (level) {
    case LogLevel::ERROR:
      return spdlog::level::err;
    case LogLevel::WARNING:
      return spdlog::level::warn;
    case LogLevel::INFO:
      return spdlog::level::info;
    case LogLevel::DEBUG:
      return spdlog::level::debug;
  }
  return spdlog::level::err;
}

/// "<3>", by which the journal knows how grave a line is.
class JournalPriority : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&,
              spdlog::memory_buf_t& out) override {
    const char digit = message.level == spdlog::level::err    ? '3'
                       : message.level == spdlog::level::warn ? '4'
                       : message.level == spdlog::level::info ? '6'
                                                              : '7';
    for (const char byte : {'<', digit, '>'}) out.push_back(byte);
  }
  [[nodiscard]] std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<JournalPriority>();
  }
};

class Log {
 public:
  Log() : sink_(std::make_shared<LogSink>(STDERR_FILENO)), logger_("qorserver", sink_) {
    auto formatter = std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc);
    if (leadsToJournal(STDERR_FILENO)) {
      formatter->add_flag<JournalPriority>('*').set_pattern("%*level=%l %v");
    } else {
      formatter->set_pattern("time=%Y-%m-%dT%H:%M:%S.%eZ level=%l %v");
    }
    sink_->set_formatter(std::move(formatter));
    setLevel(LogLevel::INFO);
  }

  void write(LogLevel level, std::string_view event, const std::string& line) {
    const bool limited = level != LogLevel::DEBUG;
    if (limited && !gate_.admits(event, LogGate::Clock::now())) return;
    logger_.log(spdlogLevel(level), spdlog::string_view_t(line));
  }

  void tellLeftOut() {
    for (const auto& [event, lines] : gate_.takeLeftOut(LogGate::Clock::now())) {
      log(LogLevel::WARNING, "lines_left_out", {{"of", event}, {"lines", lines}});
    }
    const std::uint64_t lost = sink_->takeLost();
    if (lost != 0) log(LogLevel::WARNING, "lines_lost", {{"lines", lost}});
  }

  void setLevel(LogLevel level) {
    level_ = level;
    logger_.set_level(spdlogLevel(level));
  }
  [[nodiscard]] LogLevel level() const noexcept { return level_; }

 private:
  std::shared_ptr<LogSink> sink_;
  spdlog::logger logger_;
  LogGate gate_{LOG_LINES_A_SECOND};
  std::atomic<LogLevel> level_ = LogLevel::INFO;
};

Log& theLog() {
  static Log& log = *std::make_unique<Log>().release();
  return log;
}

std::string lineOf(std::string_view event, std::initializer_list<LogField> fields,
                   std::initializer_list<LogField> more) {
  std::string line = "event=" + std::string(event);
  for (const auto& list : {fields, more}) {
    for (const LogField& field : list) {
      const std::size_t before = line.size();
      field.appendTo(line);
      if (line.size() <= MAX_LOGGED_LINE) continue;
      line.resize(before);
      return line + " ...";
    }
  }
  return line;
}

/// Whoever logs is often in the middle of cleaning up after something else: a line that there is no
/// memory for is not worth a second failure.
void writeLine(LogLevel level, std::string_view event, std::initializer_list<LogField> fields,
               std::initializer_list<LogField> more) noexcept {
  try {
    if (logs(level)) theLog().write(level, event, lineOf(event, fields, more));
  } catch (...) {
  }
}

}  // namespace

void LogField::appendTo(std::string& line) const {
  line += ' ';
  line += name_;
  line += '=';
  if (isNumber_) {
    line += std::to_string(number_);
  } else {
    appendLogged(line, text_);
  }
}

void log(LogLevel level, std::string_view event, std::initializer_list<LogField> fields) noexcept {
  writeLine(level, event, fields, {});
}

void logFault(LogLevel level, std::string_view event, const Fault& fault,
              std::initializer_list<LogField> fields) noexcept {
  writeLine(level, event, fields, {{"id", messageIdText(fault.id)}, {"text", fault.text}});
}

void tellLeftOut() noexcept {
  try {
    theLog().tellLeftOut();
  } catch (...) {
  }
}

bool logs(LogLevel level) noexcept { return level <= logLevel(); }

LogLevel logLevel() noexcept { return theLog().level(); }

void setLogLevel(LogLevel level) noexcept { theLog().setLevel(level); }

void printLine(std::string_view text) { std::cerr << printable(text) + "\n" << std::flush; }

}  // namespace orvix::server
