// SPDX-License-Identifier: Apache-2.0
// One loop serves the three pipes, so that neither side can wait for the other for ever, and sees
// the program end through a descriptor of its own.
#include "server/qorFilterProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "server/qorDescriptor.h"
#include "server/qorFilterChild.h"

namespace orvix::server {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t KEPT_ERRORS = 4096;
/// Of 64 KiB each: a pipe holds a MiB at most.
constexpr int PIECES_IN_PIPE = 16;
constexpr std::chrono::milliseconds LONGEST_WAIT{60000};  // fits every kind of number

[[noreturn]] void failed(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// Above the standard descriptors, which the program gets in their places.
Descriptor lifted(const Descriptor& low) {
  Descriptor high(::fcntl(low.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!high) failed("Moving a pipe");
  return high;
}

struct Pipe {
  Descriptor reader;
  Descriptor writer;

  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) failed("Making a pipe");
    const Descriptor first(ends[0]);
    const Descriptor second(ends[1]);
    reader = lifted(first);
    writer = lifted(second);
  }
};

void doNotBlock(const Descriptor& descriptor) {
  if (::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK) != 0) failed("Setting up a pipe");
}

/// The talk with one program.
class Talk {
 public:
  Talk(Descriptor input, Descriptor output, Descriptor errors, std::string_view bytes,
       const ProcessLimits& limits)
      : input_(std::move(input)),
        output_(std::move(output)),
        errors_(std::move(errors)),
        left_(bytes),
        most_(std::size_t{limits.outputMiB} << 20U),
        end_(Clock::now() + std::chrono::seconds(limits.seconds)) {
    doNotBlock(input_);
    doNotBlock(output_);
    doNotBlock(errors_);
  }

  /// Until the program has ended, or a limit is met, which is answered.
  std::optional<ProcessEnd> untilEnded(int ended) {
    for (;;) {
      if (left_.empty()) input_ = Descriptor();
      std::array<pollfd, 4> waiting{{{input_.get(), POLLOUT, 0},
                                     {output_.get(), POLLIN, 0},
                                     {errors_.get(), POLLIN, 0},
                                     {ended, POLLIN, 0}}};
      const auto left =
          std::min(std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()), LONGEST_WAIT);
      if (left.count() <= 0) return ProcessEnd::OUT_OF_TIME;
      if (::poll(waiting.data(), waiting.size(), static_cast<int>(left.count())) < 0 &&
          errno != EINTR) {
        failed("Waiting for a program");
      }
      if (waiting[0].revents != 0) give();
      if (waiting[1].revents != 0) take(output_, result_.output, most_ + 1);
      if (waiting[2].revents != 0) take(errors_, result_.errors, KEPT_ERRORS);
      if (result_.output.size() > most_) return ProcessEnd::TOO_MUCH_OUTPUT;
      if (waiting[3].revents != 0) return std::nullopt;
    }
  }

  /// What the pipes still hold, which is bounded: should a writer be left, it may go on.
  ProcessResult finish() {
    for (int i = 0; i < PIECES_IN_PIPE && take(output_, result_.output, most_ + 1); ++i) {
    }
    for (int i = 0; i < PIECES_IN_PIPE && take(errors_, result_.errors, KEPT_ERRORS); ++i) {
    }
    if (result_.output.size() > most_) result_.end = ProcessEnd::TOO_MUCH_OUTPUT;
    return std::move(result_);
  }

 private:
  /// One that does not want more has closed its end.
  void give() {
    const ssize_t count = ::write(input_.get(), left_.data(), left_.size());
    if (count >= 0) {
      left_.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EAGAIN && errno != EINTR) {
      left_ = {};
    }
  }

  /// Keeps no more than `most`; the rest is read and dropped. Answers whether there may be more.
  static bool take(Descriptor& from, std::string& to, std::size_t most) {
    if (!from) return false;
    std::array<char, 64U << 10U> buffer{};
    const ssize_t count = ::read(from.get(), buffer.data(), buffer.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    if (count <= 0) {
      from = Descriptor();
      return false;
    }
    to.append(buffer.data(), std::min(static_cast<std::size_t>(count), most - to.size()));
    return true;
  }

  Descriptor input_;
  Descriptor output_;
  Descriptor errors_;
  std::string_view left_;
  std::size_t most_;
  Clock::time_point end_;
  ProcessResult result_;
};

void judge(ProcessResult& result, const ProgramEnd& end) {
  result.code = end.code;
  if (end.kind == ProgramEnd::Kind::NOT_STARTED) {
    result.end = ProcessEnd::NOT_STARTED;
  } else if (WIFSIGNALED(end.code)) {
    result.end = ProcessEnd::SIGNALLED;
    result.code = WTERMSIG(end.code);
  } else {
    result.end = ProcessEnd::EXITED;
    result.code = WEXITSTATUS(end.code);
  }
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

ProcessResult runProcess(const std::string& program, const std::vector<std::string>& command,
                         const std::string& path, std::string_view input,
                         const ProcessLimits& limits) {
  std::vector<std::string> arguments = command;
  std::vector<std::string> environment{"PATH=" + path, "LANG=C.UTF-8"};
  const std::vector<char*> argumentPointers = pointersTo(arguments);
  const std::vector<char*> environmentPointers = pointersTo(environment);
  Pipe in;
  Pipe out;
  Pipe errors;
  Pipe report;
  doNotBlock(report.reader);
  Talk talk(std::move(in.writer), std::move(out.reader), std::move(errors.reader), input, limits);
  FilterChild child({program.c_str(), argumentPointers.data(), environmentPointers.data(),
                     in.reader.get(), out.writer.get(), errors.writer.get(), report.writer.get(),
                     limits, ::getpid()});
  for (Descriptor* end : {&in.reader, &out.writer, &errors.writer, &report.writer}) {
    *end = Descriptor();
  }
  const std::optional<ProcessEnd> cut = talk.untilEnded(child.ended());
  child.end();
  ProcessResult result = talk.finish();
  if (cut) {
    result.end = *cut;
  } else if (result.end != ProcessEnd::TOO_MUCH_OUTPUT) {
    judge(result, child.readEnd(report.reader));
  }
  return result;
}

}  // namespace orvix::server
