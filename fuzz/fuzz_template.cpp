// SPDX-License-Identifier: MIT
// Render templates from arbitrary bytes: as a stream (the current form and
// the older one), as a template list, and what loads is described, measured
// and copied, which walks its private block and texts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fileio/zotemplate.h"

namespace {
void Exercise(tagZOTEMPLATExV2* t) {
  if (!t) return;
  (void)ZoFio_GetTemplateDataCRC32(t, TRUE);
  GUID g{};
  (void)ZoFio_InitGUIDFromTemplateMD5DataHash(&g, t, TRUE);
  WCHAR text[512];
  (void)ZoFio_MakeTemplateDescription(t, nullptr, text, 512);
  (void)ZoFio_SkipDescriptionInTemplateNotesText(ZoTemplate_Notes(t));
  DWORD value[16];
  for (DWORD id = 1; id <= 22; ++id) (void)ZoFio_GetTemplateInfo(t, id, value, sizeof value);
  tagZOTEMPLATExV2* copy = nullptr;
  if (SUCCEEDED(ZoTemplate_Rebuild(&copy, t, nullptr, u"n", nullptr, 0))) ZoFio_ReleaseTemplate(copy);
  ZoFio_ReleaseTemplate(t);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  IStream* stream = SHCreateMemStream(data + 1, UINT(size - 1));
  if (!stream) return 0;
  tagZOTEMPLATExV2* t = nullptr;
  switch (data[0] % 4) {
    case 3: {
      // A record from anywhere (a plug-in's preset, a list): any head, its
      // size field the bytes there are.
      if (size - 1 >= ZOTEMPLATE_HEAD_SIZE) {
        auto* raw = static_cast<tagZOTEMPLATExV2*>(std::malloc(size - 1));
        std::memcpy(raw, data + 1, size - 1);
        raw->size = DWORD(size - 1);
        Exercise(raw);
      }
      break;
    }
    case 0:
      if (SUCCEEDED(ZoFio_LoadTemplateData(stream, &t, 0x02FFFFFF))) Exercise(t);
      break;
    case 1:
      if (SUCCEEDED(ZoFio_LoadTemplateDataV1(stream, &t, nullptr))) Exercise(t);
      break;
    default: {
      tZOLIST* list = nullptr;
      if (SUCCEEDED(ZoFio_CreateTemplateList(&list))) {
        (void)ZoFio_AddTemplatesToListFromIStream(list, stream);
        for (LONG i = 0; i < list->nItems; ++i) {
          tagZOTEMPLATExV2* copy = nullptr;
          if (SUCCEEDED(ZoFio_CopyTemplate(&copy, ZoFio_TemplateAt(list, i)))) Exercise(copy);
        }
        ZoFio_ReleaseTemplateList(list);
      }
    }
  }
  stream->Release();
  return 0;
}
