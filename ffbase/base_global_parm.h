// SPDX-License-Identifier: MIT
// BaseGlobalParm: one per plug-in module. It keeps the module instance and
// the plug-in's string table and answers GetString for the base classes.
//
// A table value below 0x10000 is a string resource id of the plug-in's
// language module; anything else points at the text itself. Until the kernel
// has its language layer, resource ids give empty text and only direct texts
// are answered; Initialize and Terminate keep the instance and nothing else.
// Thread rule: built once at module load; GetString is read-only after that.
#pragma once

#include "platform/export.h"
#include "platform/types.h"

namespace ffbase {

enum EStringId : DWORD {
  kStringNone = 0,
  kStringName = 1,          // display name of the format
  kStringExtensions = 2,    // "*.wav;*.bwf"
  kStringDefaultExt = 4,    // extension list whose first item is the default
  kStringFilterName = 5,    // file dialog filter name
  kStringAbout = 6,         // about-box text
  kStringFormatText = 7,    // stream format text
  kStringDataRateText = 8,  // stream data-rate text ("%u kbps")
  kStringSpecial = 10,      // the value given to the constructor
};

struct StringKeyValue {
  EStringId id;
  LONG_PTR value;  // string resource id, or a const WCHAR* text
};

class VANE_EXPORT BaseGlobalParm {
 public:
  BaseGlobalParm(const StringKeyValue* table, LONG count, const WCHAR* special);
  BaseGlobalParm(const BaseGlobalParm&) = delete;
  BaseGlobalParm& operator=(const BaseGlobalParm&) = delete;
  virtual ~BaseGlobalParm();

  virtual bool Initialize(HINSTANCE instance);
  virtual void Terminate(HINSTANCE instance);
  // The text for an id; empty (never null) for an id that isn't there.
  virtual const WCHAR* GetString(EStringId id) const;
  HINSTANCE Instance() const { return m_instance; }

 private:
  const StringKeyValue* m_table;
  LONG m_count;
  const WCHAR* m_special;
  HINSTANCE m_instance = nullptr;
  void* m_language = nullptr;
};

}  // namespace ffbase
