// OpenFX: parameters. Values travel as variable arguments: an int* or double* for each component, a char** for a text.
#pragma once

#include "plugins/openfx/abi/image_effect.h"

extern "C" {

struct OfxParam;
using OfxParamHandle = OfxParam*;

struct OfxRangeD {
  double min, max;
};

// "OfxParameterSuite" 1
struct OfxParameterSuite {
  OfxStatus (*paramDefine)(OfxParamSetHandle, const char* type, const char* name, OfxPropertyHandle*);
  OfxStatus (*paramGetHandle)(OfxParamSetHandle, const char* name, OfxParamHandle*, OfxPropertyHandle*);
  OfxStatus (*paramSetGetPropertySet)(OfxParamSetHandle, OfxPropertyHandle*);
  OfxStatus (*paramGetPropertySet)(OfxParamHandle, OfxPropertyHandle*);
  OfxStatus (*paramGetValue)(OfxParamHandle, ...);
  OfxStatus (*paramGetValueAtTime)(OfxParamHandle, OfxTime, ...);
  OfxStatus (*paramGetDerivative)(OfxParamHandle, OfxTime, ...);
  OfxStatus (*paramGetIntegral)(OfxParamHandle, OfxTime, OfxTime, ...);
  OfxStatus (*paramSetValue)(OfxParamHandle, ...);
  OfxStatus (*paramSetValueAtTime)(OfxParamHandle, OfxTime, ...);
  OfxStatus (*paramGetNumKeys)(OfxParamHandle, unsigned*);
  OfxStatus (*paramGetKeyTime)(OfxParamHandle, unsigned index, OfxTime*);
  OfxStatus (*paramGetKeyIndex)(OfxParamHandle, OfxTime, int direction, int* index);
  OfxStatus (*paramDeleteKey)(OfxParamHandle, OfxTime);
  OfxStatus (*paramDeleteAllKeys)(OfxParamHandle);
  OfxStatus (*paramCopy)(OfxParamHandle to, OfxParamHandle from, OfxTime offset, const OfxRangeD*);
  OfxStatus (*paramEditBegin)(OfxParamSetHandle, const char* name);
  OfxStatus (*paramEditEnd)(OfxParamSetHandle);
};

}  // extern "C"
