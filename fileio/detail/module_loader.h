// SPDX-License-Identifier: MIT
// Loading plug-in modules in process, probing new or changed modules in a
// child process, and the small file facts the manager keeps per module.
// Internal to the manager.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "fileio/plugin_entry.h"

namespace vane::fileio::detail {

// Plug-in modules loaded into this process so far (a seam for tests and the
// benchmark: a start with a valid cache must not move it for most modules).
size_t ModuleLoadCount();

// The module file's modification time as a DOS date and time in UTC; 0 when
// the file is missing.
DWORD DosDateTimeUTC(const std::string& utf8Path);

// Reads the executable header; false when the file is no loadable image.
// *machine gets the platform machine number (34404 for x86-64).
bool GetFileExecutableInfo(const std::string& utf8Path, DWORD* machine);

// Loads E's module in process: preloads from its folder, the module itself,
// DllGetClassObject and the class factory of E's class. On failure nothing
// stays loaded and E is unchanged.
HRESULT LoadEntryModule(tZOFIOPLUGINENTRY* e);
// Creates an object of E's class (loading the module first when needed).
HRESULT CreateEntryObject(tZOFIOPLUGINENTRY* e, REFIID iid, void** out);
void UnloadEntryModule(tZOFIOPLUGINENTRY* e);

// One class as a module's discovery object describes it.
struct ProbedClass {
  GUID classId = GUID_NULL;
  std::u16string name;
  DWORD access = 0;
  DWORD streamTypes = 0;
  DWORD flags = 0;
  DWORD enumerable = 0;
  // What the class itself says once made, when the probe could make it: its
  // reader (renderer) id, extension list and display name.
  bool readerKnown = false;
  GUID reader = GUID_NULL;
  std::u16string readerExt, readerName;
  bool rendererKnown = false;
  GUID renderer = GUID_NULL;
  std::u16string rendererExt, rendererName;
};

struct ProbeResult {
  HRESULT status = S_OK;    // of loading and the discovery object
  bool contained = false;   // ran in a child process
  bool crashed = false;     // the child died or hung: never load in process
  // The probe could not run at all (no helper, no pipe, no process): the
  // module is neither loaded nor judged at this start.
  bool notRun = false;
  std::string problem;  // why the module is unusable, for the user
  std::vector<ProbedClass> classes;
};

// Probes a module in a child process (the vane-probe helper); without a
// helper the probe does not run (notRun). The helper is $VANE_PROBE_HELPER, else
// "vane-probe" beside the kernel module or in ../bin, lib/ or the
// executable's folder. A child that takes longer than
// $VANE_PROBE_TIMEOUT_MS (10000 by default) is killed.
ProbeResult ProbeModule(const tZOFIOPLUGINENTRY& e);

// The probe in this process, also what the helper runs. Writes nothing.
// With `manager`, each class is also made (reader and renderer as its access
// says), handed `manager`, and asked for its id and texts.
ProbeResult ProbeModuleHere(const std::u16string& path, const std::u16string& preloads,
                            IZoFileIOManager* manager = nullptr);

// The helper's report: one line per fact, parsed back by the manager.
std::string FormatProbeReport(const ProbeResult& r);
bool ParseProbeReport(const std::string& text, ProbeResult* out);

}  // namespace vane::fileio::detail
