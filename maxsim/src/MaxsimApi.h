// The Max API as the kernel exports it: our declarations of the SDK subset,
// given default visibility so externals resolve them from this library while
// everything else in it stays hidden.
#pragma once

#if defined(_WIN32)
#include "MaxWrapperOwnApi.h"
#define MAXSIM_EXPORT __declspec(dllexport)
#else
#pragma GCC visibility push(default)
#include "MaxWrapperOwnApi.h"
#pragma GCC visibility pop
#define MAXSIM_EXPORT __attribute__((visibility("default")))
#endif
