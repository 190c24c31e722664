// SPDX-License-Identifier: Apache-2.0
// Draws by going back to the start of the line and wiping it.
#include "cli/qorCtlProgress.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace orvix::ctl {

namespace {

constexpr std::size_t BAR_WIDTH = 24;
constexpr double MEGABYTE = 1e6;
constexpr std::chrono::milliseconds REDRAW{100};

double perSecond(double amount, std::chrono::duration<double> elapsed) {
  return elapsed.count() > 0 ? amount / elapsed.count() : 0;
}

std::string bar(double done) {
  const auto full = static_cast<std::size_t>(done * static_cast<double>(BAR_WIDTH));
  char percent[16];
  std::snprintf(percent, sizeof percent, "%3d%%", static_cast<int>(done * 100));
  return '[' + std::string(full, '#') + std::string(BAR_WIDTH - full, '-') + "] " + percent + "  ";
}

}  // namespace

std::string progressLine(const ProgressCounts& counts, std::uint64_t totalBytes,
                         std::chrono::duration<double> elapsed) {
  const auto bytes = static_cast<double>(counts.bytes);
  std::string line;
  // Files may grow while they are read.
  if (totalBytes != 0) line = bar(std::min(1.0, bytes / static_cast<double>(totalBytes)));
  char numbers[128];
  std::snprintf(numbers, sizeof numbers, "%llu documents  %.0f documents/s  %.1f MB/s",
                static_cast<unsigned long long>(counts.documents),
                perSecond(static_cast<double>(counts.documents), elapsed),
                perSecond(bytes / MEGABYTE, elapsed));
  line += numbers;
  if (counts.rejected != 0) line += "  " + std::to_string(counts.rejected) + " rejected";
  return line;
}

Progress::Progress(std::ostream& out, bool on, std::uint64_t totalBytes)
    : out_(out), on_(on), totalBytes_(totalBytes) {}

Progress::~Progress() { wipe(); }

void Progress::update(const ProgressCounts& counts) {
  const auto now = Clock::now();
  if (!on_ || now - drawn_ < REDRAW) return;
  drawn_ = now;
  wipe();
  out_ << progressLine(counts, totalBytes_, elapsed()) << std::flush;
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
