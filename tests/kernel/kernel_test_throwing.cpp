// SPDX-License-Identifier: MIT
// A plug-in module that throws: from its class entry always, and from its
// static constructor, while the system loader runs it, when the environment
// holds VANE_TEST_THROW_ON_LOAD.
#include <cstdlib>
#include <stdexcept>

#include "platform/com.h"
#include "platform/export.h"

namespace {

struct ThrowsOnLoad {
  ThrowsOnLoad() {
    if (std::getenv("VANE_TEST_THROW_ON_LOAD")) throw std::runtime_error("module constructor refuses to load");
  }
};
ThrowsOnLoad g_throwsOnLoad;

}  // namespace

extern "C" VANE_EXPORT HRESULT DllGetClassObject(REFCLSID, REFIID, void**) {
  throw std::runtime_error("class entry refuses to answer");
}
