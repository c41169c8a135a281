// SPDX-License-Identifier: MIT
// The kernel's chief header: everything a host or plug-in needs from the
// kernel services in one include.
#pragma once

#include "kernel/clock.h"
#include "kernel/com_init.h"
#include "kernel/compress.h"
#include "kernel/cpu.h"
#include "kernel/error_report.h"
#include "kernel/instantiate.h"
#include "kernel/lifecycle.h"
#include "kernel/message_box.h"
#include "kernel/os_info.h"
#include "kernel/perfs.h"
#include "kernel/status_table.h"
#include "kernel/zolist.h"
