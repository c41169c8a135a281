// SPDX-License-Identifier: MIT
// The plug-in manager for one vane command: shut down before it goes, which
// releases its plug-in classes.
#pragma once

#include "fileio/zofileio.h"

namespace vane::tool {

struct ManagerHold {
  IZoFileIOMgrForApp* m = nullptr;
  ManagerHold() = default;
  ManagerHold(const ManagerHold&) = delete;
  ManagerHold& operator=(const ManagerHold&) = delete;
  ~ManagerHold() {
    if (m) {
      m->Shutdown();
      m->Release();
    }
  }
};

}  // namespace vane::tool
