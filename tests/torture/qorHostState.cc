// SPDX-License-Identifier: Apache-2.0
#include "tests/torture/qorHostState.h"

#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <locale.h>
#include <malloc.h>
#include <new>
#include <pthread.h>
#include <set>
#include <unistd.h>

/// There is one in a program that is built with a sanitizer, whose heap mallinfo2() does not know.
// NOLINTNEXTLINE(bugprone-reserved-identifier, readability-identifier-naming)
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace orvix::torture {

namespace {

std::string hex(std::uintptr_t value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%zx ", value);
  return digits;
}

std::string entries(const char* folder) {
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    found.insert(entry.path().filename().string());
  }
  std::string all;
  for (const std::string& name : found) all += name + ' ';
  return all;
}

std::string members(const sigset_t& set) {
  std::string all;
  for (int signal = 1; signal < NSIG; ++signal) {
    if (sigismember(&set, signal) == 1) all += std::to_string(signal) + ' ';
  }
  return all;
}

}  // namespace

HostState hostState() {
  HostState state;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0) continue;
    state["signal " + std::to_string(signal)] =
        hex(reinterpret_cast<std::uintptr_t>(action.sa_handler)) +
        hex(static_cast<unsigned int>(action.sa_flags)) + members(action.sa_mask);
  }
  sigset_t mask{};
  ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  state["signal mask"] = members(mask);
  state["locale"] = std::setlocale(LC_ALL, nullptr);
  state["thread's locale"] = hex(reinterpret_cast<std::uintptr_t>(::uselocale(nullptr)));
  for (char** each = environ; *each != nullptr; ++each)
    state["environment"] += *each + std::string("\n");
  state["working directory"] = std::filesystem::current_path();
  state["threads"] = entries("/proc/self/task");
  state["descriptors"] = entries("/proc/self/fd");
  state["terminate handler"] = hex(reinterpret_cast<std::uintptr_t>(std::get_terminate()));
  state["new handler"] = hex(reinterpret_cast<std::uintptr_t>(std::get_new_handler()));
  state["rounding"] = std::to_string(std::fegetround());
  return state;
}

bool isSanitized() { return __sanitizer_get_current_allocated_bytes != nullptr; }

std::size_t liveHeap() {
  if (isSanitized()) return __sanitizer_get_current_allocated_bytes();
  const auto info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::string differences(const HostState& before, const HostState& after) {
  std::string all;
  for (const auto& [name, value] : after) {
    const auto at = before.find(name);
    const std::string was = at == before.end() ? "" : at->second;
    if (was != value) all += name + ": " + was + " -> " + value + '\n';
  }
  return all;
}

}  // namespace orvix::torture
