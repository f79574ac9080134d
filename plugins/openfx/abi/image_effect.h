// OpenFX: images, clips and the effect that draws them.
#pragma once

#include "plugins/openfx/abi/core.h"

extern "C" {

struct OfxImageEffect;
using OfxImageEffectHandle = OfxImageEffect*;
struct OfxImageClip;
using OfxImageClipHandle = OfxImageClip*;
struct OfxImageMemory;
using OfxImageMemoryHandle = OfxImageMemory*;
struct OfxParamSet;
using OfxParamSetHandle = OfxParamSet*;

// "OfxImageEffectSuite" 1
struct OfxImageEffectSuite {
  OfxStatus (*getPropertySet)(OfxImageEffectHandle, OfxPropertyHandle*);
  OfxStatus (*getParamSet)(OfxImageEffectHandle, OfxParamSetHandle*);
  OfxStatus (*clipDefine)(OfxImageEffectHandle, const char* name, OfxPropertyHandle*);
  OfxStatus (*clipGetHandle)(OfxImageEffectHandle, const char* name, OfxImageClipHandle*, OfxPropertyHandle*);
  OfxStatus (*clipGetPropertySet)(OfxImageClipHandle, OfxPropertyHandle*);
  OfxStatus (*clipGetImage)(OfxImageClipHandle, OfxTime, const OfxRectD* region, OfxPropertyHandle* image);
  OfxStatus (*clipReleaseImage)(OfxPropertyHandle image);
  OfxStatus (*clipGetRegionOfDefinition)(OfxImageClipHandle, OfxTime, OfxRectD*);
  int (*abort)(OfxImageEffectHandle);
  OfxStatus (*imageMemoryAlloc)(OfxImageEffectHandle, std::size_t, OfxImageMemoryHandle*);
  OfxStatus (*imageMemoryFree)(OfxImageMemoryHandle);
  OfxStatus (*imageMemoryLock)(OfxImageMemoryHandle, void**);
  OfxStatus (*imageMemoryUnlock)(OfxImageMemoryHandle);
};

// "OfxMessageSuite" 1; version 2 goes on with the last two.
struct OfxMessageSuite {
  OfxStatus (*message)(void* effect, const char* type, const char* id, const char* format, ...);
  OfxStatus (*setPersistentMessage)(void* effect, const char* type, const char* id, const char* format, ...);
  OfxStatus (*clearPersistentMessage)(void* effect);
};

}  // extern "C"
