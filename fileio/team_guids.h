// SPDX-License-Identifier: MIT
// Class ids of the team's own format plug-ins. The manager's rank and
// identification tables name these; hosts and tests may too.
#pragma once

#include "platform/guid.h"

// The Wave plug-in (plugins/wave): the module's class, its reader and its renderer.
// {AD9C731A-D239-438B-844E-6F4F07E74F47}
inline constexpr CLSID CLSID_VaneWavePlugin =
    VANE_GUID(0xAD9C731A, 0xD239, 0x438B, 0x84, 0x4E, 0x6F, 0x4F, 0x07, 0xE7, 0x4F, 0x47);
// {C86E4E7B-4E6D-48B8-94D8-E8C8A505818B}
inline constexpr GUID GUID_VaneWaveReader =
    VANE_GUID(0xC86E4E7B, 0x4E6D, 0x48B8, 0x94, 0xD8, 0xE8, 0xC8, 0xA5, 0x05, 0x81, 0x8B);
// {57DD3E6A-128C-4D6D-917A-93584CCCFEAE}
inline constexpr GUID GUID_VaneWaveRenderer =
    VANE_GUID(0x57DD3E6A, 0x128C, 0x4D6D, 0x91, 0x7A, 0x93, 0x58, 0x4C, 0xCC, 0xFE, 0xAE);

// The Wave64 classes of the same module.
// {7431F03C-CC51-492D-8EA0-1A92B572629E}
inline constexpr CLSID CLSID_VaneWave64Plugin =
    VANE_GUID(0x7431F03C, 0xCC51, 0x492D, 0x8E, 0xA0, 0x1A, 0x92, 0xB5, 0x72, 0x62, 0x9E);
// {B380BB5F-9E44-4E5F-B973-7DA467037B1D}
inline constexpr GUID GUID_VaneWave64Reader =
    VANE_GUID(0xB380BB5F, 0x9E44, 0x4E5F, 0xB9, 0x73, 0x7D, 0xA4, 0x67, 0x03, 0x7B, 0x1D);
// {1C74528F-B072-4085-96EB-1C3A30B47D22}
inline constexpr GUID GUID_VaneWave64Renderer =
    VANE_GUID(0x1C74528F, 0xB072, 0x4085, 0x96, 0xEB, 0x1C, 0x3A, 0x30, 0xB4, 0x7D, 0x22);
