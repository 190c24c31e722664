// SPDX-License-Identifier: Apache-2.0
// What a guest must leave as it was in the process that hosts it, written down so that two moments
// can be compared.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace orvix::torture {

/// By name: signal handlers and mask, locale, environment, working directory, threads, descriptors,
/// what std::terminate and a failing operator new call, the rounding of numbers.
using HostState = std::map<std::string, std::string>;
HostState hostState();

/// Bytes that are allocated and not freed, and whether a sanitizer counts them.
std::size_t liveHeap();
bool isSanitized();

/// "name: before -> after" for all that differs.
std::string differences(const HostState& before, const HostState& after);

}  // namespace orvix::torture
