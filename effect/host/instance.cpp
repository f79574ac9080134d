#include "effect/host/instance.h"

#include <cstring>

#include "effect/base/errors.h"
#include "effect/heap/heap.h"
#include "effect/host/strings.h"

namespace orvandel {
namespace {

OrvHandle currentGlobalData = nullptr;
bool heapSwitched = false;

GlobalData* BlockOf(OrvHandle handle) { return static_cast<GlobalData*>(*handle); }

// Instances share the heap of the first one called. Another instance that still has a heap state was the last in use
// when the module was unloaded: its sequences are not registered on the heap in force and start afresh, so the memory
// of its old heap is returned.
void ReturnForgottenHeap(const GlobalData& globals) {
  HeapState inForce;
  heap::SaveState(inForce);
  heap::InstallState(globals.heapState);
  heap::ReleaseAll();
  heap::InstallState(inForce);
}

void SwitchHeapTo(GlobalData& globals) {
  if (heapSwitched) {
    if (heap::IsEmpty(globals.heapState)) return;
    ReturnForgottenHeap(globals);
  } else {
    heap::SaveState(globals.savedHeapState);
    heap::InstallState(globals.heapState);
    heapSwitched = true;
  }
  globals.heapState = HeapState{};  // a copy would go stale
}

// When the module is unloaded without a global set-down, the instance's heap memory stays allocated; the state saved
// here finds it again.
struct UnloadGuard {
  ~UnloadGuard() {
    if (currentGlobalData == nullptr) return;
    GlobalData& globals = *BlockOf(currentGlobalData);
    heap::SaveState(globals.heapState);
    heap::InstallState(globals.savedHeapState);
    heap::SetTrimThreshold(0);
  }
};
UnloadGuard unloadGuard;

}  // namespace

Call::Call(OrvInRecord* inRecord, OrvOutRecord* outRecord, OrvParamDef** params, OrvImage* output) {
  if (params != nullptr && params[0] != nullptr) {
    context_.input = ImageBuffer::FromHost(params[0]->value.layer.image);
  }
  if (output != nullptr) context_.outputView = ImageBuffer::FromHost(*output);
  context_.services.Initialise(inRecord->services);
  context_.inRecord = inRecord;
  context_.outRecord = outRecord;
  context_.params = params;
  context_.output = output;
  if (inRecord->globalData != nullptr) {
    outRecord->globalData = inRecord->globalData;
    context_.globals = BlockOf(inRecord->globalData);
  } else {
    CreateGlobals();
  }
  SwitchHeapTo(*context_.globals);
  currentGlobalData = outRecord->globalData;
}

// The context is destroyed after this and returns what it holds.
Call::~Call() {
  if (currentGlobalData == nullptr) DisposeInstance();
}

void Call::CreateGlobals() {
  const OrvUtilities& utilities = *context_.inRecord->utilities;
  const OrvHandle handle = utilities.newHandle(sizeof(GlobalData));
  context_.outRecord->globalData = handle;
  if (handle == nullptr) throw AllocFailed(static_cast<std::int32_t>(sizeof(GlobalData)));
  utilities.lockHandle(handle);
  GlobalData& globals = *BlockOf(handle);
  std::memset(static_cast<void*>(&globals), 0, sizeof(GlobalData));
  globals.paramIndexTable.fill(-1);
  globals.strings = StringTableAddress();
  try {
    const std::int32_t result = context_.inRecord->callbacks.openStrings(&globals.strings, ORV_STRING_TABLE_ID);
    if (result != 0) throw AbortException(result);
  } catch (...) {
    context_.outRecord->globalData = nullptr;
    utilities.unlockHandle(handle);
    utilities.disposeHandle(handle);
    throw;
  }
  context_.globals = &globals;
}

void Call::EndInstance() noexcept { currentGlobalData = nullptr; }

void Call::DisposeInstance() noexcept {
  heap::ReleaseAll();
  heap::SetTrimThreshold(0);
  heap::InstallState(context_.globals->savedHeapState);
  heapSwitched = false;
  context_.inRecord->callbacks.closeStrings(&context_.globals->strings);
  const OrvUtilities& utilities = *context_.inRecord->utilities;
  const OrvHandle handle = context_.outRecord->globalData;
  context_.outRecord->globalData = nullptr;
  utilities.unlockHandle(handle);
  utilities.disposeHandle(handle);
}

}  // namespace orvandel
