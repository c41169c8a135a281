// SPDX-License-Identifier: MIT
// IStream for the identification call's stream form: the platform's full
// definition (platform/istream.h, which defines VANE_ISTREAM_DEFINED). Only
// Read and Seek are used here.
#pragma once

#include "platform/istream.h"
