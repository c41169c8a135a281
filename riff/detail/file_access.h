// SPDX-License-Identifier: MIT
// The RIFF family's one road to file handles. Every read, write and seek of
// the chunk layers goes through here, so that a test can count the bytes a
// call reads (identification promises a bound) without touching the platform.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace vane::riff {

// Reads up to n bytes; *got receives the count. False when the call failed.
bool FileRead(HANDLE file, void* buffer, DWORD n, DWORD* got);
// Reads exactly n bytes, false on failure or a short read.
bool FileReadExact(HANDLE file, void* buffer, DWORD n);
bool FileWrite(HANDLE file, const void* buffer, DWORD n, DWORD* put);
bool FileWriteExact(HANDLE file, const void* buffer, DWORD n);
// Seeks; a target below 0 or beyond 2^63 fails without moving.
bool FileSeek(HANDLE file, std::int64_t distance, DWORD method, std::int64_t* position = nullptr);
// Moves forward by an unsigned distance, failing where the target overflows.
bool FileSkip(HANDLE file, std::uint64_t distance);
bool FileTell(HANDLE file, std::int64_t* position);
bool FileSize(HANDLE file, std::int64_t* size);
bool FileTruncate(HANDLE file);

// Test seam: while set, every byte read through this file adds to *counter
// on the calling thread. Pass null to stop counting.
void SetReadCounterForThread(std::uint64_t* counter);

}  // namespace vane::riff
