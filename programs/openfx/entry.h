#pragma once
// What the host calls: the three functions that the bundle exports.

#include "programs/openfx/abi.h"

#if defined(_WIN32)
#define FOCUSFALL_EXPORT extern "C" __declspec(dllexport)
#else
#define FOCUSFALL_EXPORT extern "C" __attribute__((visibility("default")))
#endif

FOCUSFALL_EXPORT int OfxGetNumberOfPlugins();
// Null for a number that is none of an effect.
FOCUSFALL_EXPORT ofx::plugin* OfxGetPlugin(int nth);
// Newer hosts give themselves here; the effects take what comes last.
FOCUSFALL_EXPORT ofx::status OfxSetHost(const ofx::host* given);
