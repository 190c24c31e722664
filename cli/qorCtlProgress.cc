// SPDX-License-Identifier: Apache-2.0
// Draws by going back to the start of the line and wiping it.
#include "cli/qorCtlProgress.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

constexpr std::size_t BAR_WIDTH = 24;
constexpr std::size_t LEAST_WIDTH = 4;  // a shorter bar says nothing
constexpr double MEGABYTE = 1e6;
constexpr std::chrono::milliseconds REDRAW{100};

double perSecond(double amount, std::chrono::duration<double> elapsed) {
  return elapsed.count() > 0 ? amount / elapsed.count() : 0;
}

/// A bar in at most so many columns; nothing when that is too few for one.
std::string bar(double done, std::size_t columns) {
  char percent[16];
  std::snprintf(percent, sizeof percent, "%3d%%  ", static_cast<int>(done * 100));
  const std::size_t frame = std::char_traits<char>::length("[] ");
  const std::size_t room = columns - std::min(columns, frame + std::string_view(percent).size());
  const std::size_t width = std::min(BAR_WIDTH, room);
  if (width < LEAST_WIDTH) return percent;
  const auto full = static_cast<std::size_t>(done * static_cast<double>(width));
  return '[' + std::string(full, '#') + std::string(width - full, '-') + "] " + percent;
}

/// "1:02:03", "2:03": hours only when there are any.
std::string clockText(double seconds) {
  constexpr double LONGEST = 99 * 3600.0;
  const auto whole = static_cast<unsigned long>(std::clamp(std::ceil(seconds), 0.0, LONGEST));
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lu:%02lu:%02lu", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lu:%02lu", whole / 60, whole % 60);
  }
  return text;
}

/// Columns of the terminal on standard error; a usual number when it does not say.
std::size_t terminalWidth() {
  constexpr std::size_t USUAL = 80;
  winsize size{};
  const bool told = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return told ? size.ws_col : USUAL;
}

}  // namespace

std::string progressLine(const ProgressCounts& counts, std::uint64_t totalBytes,
                         std::chrono::duration<double> elapsed, std::size_t columns) {
  const auto bytes = static_cast<double>(counts.bytes);
  const auto total = static_cast<double>(totalBytes);
  char text[160];
  std::snprintf(text, sizeof text, "%llu documents  %.0f documents/s  %.1f MB/s  %llu rejected",
                static_cast<unsigned long long>(counts.documents),
                perSecond(static_cast<double>(counts.documents), elapsed),
                perSecond(bytes / MEGABYTE, elapsed),
                static_cast<unsigned long long>(counts.rejected));
  std::string line = text;
  if (totalBytes != 0) {
    if (counts.bytes != 0) {
      // Files may grow while they are read.
      line += "  ETA " + clockText(std::max(0.0, total - bytes) / bytes * elapsed.count());
    }
    const std::size_t room = columns - std::min(columns, line.size());
    line = bar(std::min(1.0, bytes / total), room) + line;
  }
  return std::string(fittingPart(line, columns));
}

Progress::Progress(std::ostream& out, bool on, std::uint64_t totalBytes)
    : out_(out), on_(on), totalBytes_(totalBytes) {}

Progress::~Progress() { wipe(); }

void Progress::update(const ProgressCounts& counts) {
  const auto now = Clock::now();
  if (!on_ || now - drawn_ < REDRAW) return;
  drawn_ = now;
  wipe();
  // The last column stays free: some terminals go on to the next line behind it.
  out_ << progressLine(counts, totalBytes_, elapsed(), terminalWidth() - 1) << std::flush;
  visible_ = true;
}

void Progress::say(std::string_view message) {
  wipe();
  out_ << "qorctl: " << message << '\n';
}

std::chrono::duration<double> Progress::elapsed() const { return Clock::now() - start_; }

void Progress::wipe() {
  if (visible_) out_ << "\r\x1b[K" << std::flush;
  visible_ = false;
}

}  // namespace orvix::ctl
