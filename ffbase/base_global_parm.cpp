// SPDX-License-Identifier: MIT
#include "ffbase/base_global_parm.h"

namespace ffbase {

BaseGlobalParm::BaseGlobalParm(const StringKeyValue* table, LONG count, const WCHAR* special)
    : m_table(table), m_count(table ? count : 0), m_special(special) {}

BaseGlobalParm::~BaseGlobalParm() = default;

bool BaseGlobalParm::Initialize(HINSTANCE instance) {
  m_instance = instance;
  return true;
}

void BaseGlobalParm::Terminate(HINSTANCE) { m_language = nullptr; }

const WCHAR* BaseGlobalParm::GetString(EStringId id) const {
  if (id == kStringSpecial) return m_special ? m_special : u"";
  for (LONG i = 0; i < m_count; ++i) {
    if (m_table[i].id != id) continue;
    // Resource ids need the language layer; they read as empty until then.
    if (ULONG_PTR(m_table[i].value) < 0x10000) return u"";
    return reinterpret_cast<const WCHAR*>(m_table[i].value);
  }
  return u"";
}

}  // namespace ffbase
