// SPDX-License-Identifier: Apache-2.0
// The symbol by which a host recognises this library as one of its own.
#pragma once

#include "comm/qorExport.h"

extern "C" {
/// The library's name and version. Nothing in the library reads it.
// NOLINTNEXTLINE(readability-identifier-naming): hosts look for this symbol
QORCOMM_EXPORT extern const char qorcomm_component_marker[];
}
