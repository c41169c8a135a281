// SPDX-License-Identifier: MIT
// The plug-in base classes in one include: what a format plug-in derives
// from (see ffbase/README.md for the minimal set a reader supplies).
#pragma once

#include "ffbase/base_global_parm.h"
#include "ffbase/base_plugin_info.h"
#include "ffbase/base_read_audio_stream.h"
#include "ffbase/base_read_file.h"
#include "ffbase/base_read_file_class.h"
#include "ffbase/base_read_meta.h"
#include "ffbase/base_render_file.h"
#include "ffbase/base_render_file_class.h"
#include "ffbase/decoders.h"
#include "ffbase/memory_token.h"
#include "ffbase/pulx_manager.h"
#include "ffbase/read_streams.h"
#include "ffbase/user_def_manager.h"
