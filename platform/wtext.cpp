// SPDX-License-Identifier: MIT
// Placeholder: the platform owner replaces this with the full text layer.
#include "platform/wtext.h"

namespace vane::platform {
std::string ToUtf8(std::u16string_view text) { return std::string(text.begin(), text.end()); }
}  // namespace vane::platform
