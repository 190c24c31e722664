// SPDX-License-Identifier: Apache-2.0
#include "cli/qorCtlVersion.h"

#include <unicode/uversion.h>

#include "qorcomm.h"

namespace orvix::ctl {

std::string nameAndVersion() { return std::string("qorctl ") + QORCTL_VERSION; }

std::string versionText() {
  return nameAndVersion() + ", library " + qorcomm_component_marker + ", ICU " + U_ICU_VERSION;
}

}  // namespace orvix::ctl
