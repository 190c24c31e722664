// SPDX-License-Identifier: Apache-2.0
#include "comm/support/qorMarker.h"

const char qorcomm_component_marker[] = "qorcomm 1";
