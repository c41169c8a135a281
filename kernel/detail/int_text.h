// SPDX-License-Identifier: MIT
// Integer text without the C library: the digits of a value, the printf
// flags, width and precision of d, i, u, o, x and X, and thousand grouping
// after the record's sizes. The formatter's hot path.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernel/intl.h"

namespace vane::kernel {

// printf's flags ('-', '+', ' ', '#', '0'), width and precision (-1: none).
struct IntSpec {
  bool left = false, plus = false, space = false, alternate = false, zero = false;
  int width = -1;
  int precision = -1;
};

// The text of one integer conversion into out (room for width + 32 and
// precision + 32); returns its length.
size_t FormatInteger(char* out, const IntSpec& spec, char conversion, std::uint64_t magnitude, bool negative);

// Digits without their leading zeros (and whatever surrounds them: a sign or padding, a
// trailing rest) grouped by the record into out; returns the length written,
// at most capacity - 1, and terminates.
size_t GroupAscii(const char* text, size_t length, const tZOINTERNATIONALS& record, WCHAR* out, size_t capacity);

}  // namespace vane::kernel
