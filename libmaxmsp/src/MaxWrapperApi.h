// The one header through which the binding sees the Max C API: the official
// SDK's headers when the build names a checkout of it (MAX_SDK_DIR), our own
// declarations otherwise. Both give the same names, types and layouts.
#pragma once

#if defined(MAXWRAPPER_USE_MAX_SDK)
#include "ext.h"
#include "ext_obex.h"
#include "ext_obex_util.h"
#include "ext_dictionary.h"
#include "ext_parameter.h"
#include "ext_systhread.h"
#include "z_dsp.h"
#include "MaxWrapperApiList.h"
// The SDK's convenience macros that clash with ordinary C++ names.
#undef MAX
#undef MIN
#undef CLAMP
#undef ABS
#else
#include "MaxWrapperOwnApi.h"
#endif
