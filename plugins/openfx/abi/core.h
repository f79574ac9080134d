// The OpenFX image effect interface, as far as this plug-in uses it: what host and plug-in hand each other, and
// property sets. Declared by hand; the layout of every struct is the standard's and never changes.
#pragma once

#include <cstddef>

extern "C" {

using OfxStatus = int;
using OfxTime = double;  // frames

struct OfxPropertySet;  // a handle's target is the host's own
using OfxPropertyHandle = OfxPropertySet*;

struct OfxPointD {
  double x, y;
};
struct OfxRectI {  // x2 and y2 are exclusive, y runs upward
  int x1, y1, x2, y2;
};
struct OfxRectD {
  double x1, y1, x2, y2;
};

struct OfxHost {
  OfxPropertyHandle host;
  const void* (*fetchSuite)(OfxPropertyHandle host, const char* name, int version);
};

struct OfxPlugin {
  const char* pluginApi;
  int apiVersion;
  const char* pluginIdentifier;
  unsigned pluginVersionMajor;
  unsigned pluginVersionMinor;
  void (*setHost)(OfxHost* host);
  OfxStatus (*mainEntry)(const char* action, const void* handle, OfxPropertyHandle in, OfxPropertyHandle out);
};

// "OfxPropertySuite" 1
struct OfxPropertySuite {
  OfxStatus (*setPointer)(OfxPropertyHandle, const char* name, int index, void*);
  OfxStatus (*setString)(OfxPropertyHandle, const char* name, int index, const char*);
  OfxStatus (*setDouble)(OfxPropertyHandle, const char* name, int index, double);
  OfxStatus (*setInt)(OfxPropertyHandle, const char* name, int index, int);
  OfxStatus (*setPointerN)(OfxPropertyHandle, const char* name, int count, void* const*);
  OfxStatus (*setStringN)(OfxPropertyHandle, const char* name, int count, const char* const*);
  OfxStatus (*setDoubleN)(OfxPropertyHandle, const char* name, int count, const double*);
  OfxStatus (*setIntN)(OfxPropertyHandle, const char* name, int count, const int*);
  OfxStatus (*getPointer)(OfxPropertyHandle, const char* name, int index, void**);
  OfxStatus (*getString)(OfxPropertyHandle, const char* name, int index, char**);
  OfxStatus (*getDouble)(OfxPropertyHandle, const char* name, int index, double*);
  OfxStatus (*getInt)(OfxPropertyHandle, const char* name, int index, int*);
  OfxStatus (*getPointerN)(OfxPropertyHandle, const char* name, int count, void**);
  OfxStatus (*getStringN)(OfxPropertyHandle, const char* name, int count, char**);
  OfxStatus (*getDoubleN)(OfxPropertyHandle, const char* name, int count, double*);
  OfxStatus (*getIntN)(OfxPropertyHandle, const char* name, int count, int*);
  OfxStatus (*reset)(OfxPropertyHandle, const char* name);
  OfxStatus (*getDimension)(OfxPropertyHandle, const char* name, int* count);
};

}  // extern "C"

namespace orvandel::ofx {

enum Status : OfxStatus {
  kOk = 0,
  kFailed = 1,
  kUnknown = 3,
  kMissingHostFeature = 4,
  kUnsupported = 5,
  kExists = 6,
  kErrMemory = 8,
  kBadHandle = 9,
  kBadIndex = 10,
  kErrValue = 11,
  kReplyDefault = 14,
};

}  // namespace orvandel::ofx
