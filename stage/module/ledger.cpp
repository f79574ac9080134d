#include "stage/module/ledger.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "stage/base/errors.h"

namespace orvandel::stage {
namespace {

constexpr std::size_t kGuardBytes = 16;
constexpr unsigned char kGuard = 0xA7;
constexpr std::size_t kFaultsKept = 8;
constexpr std::size_t kEntriesKept = 4096;  // of loans that have been returned

const char* NameOf(Ledger::Loan kind) {
  switch (kind) {
    case Ledger::Loan::kParameter:
      return "parameter";
    case Ledger::Loan::kPath:
      return "mask path";
    case Ledger::Loan::kLengthQuery:
      return "length query";
    case Ledger::Loan::kService:
      return "service";
  }
  return "loan";
}

const char* ReturnFault(Ledger::Loan kind) {
  switch (kind) {
    case Ledger::Loan::kParameter:
      return "a parameter was checked in that is not checked out";
    case Ledger::Loan::kPath:
      return "a mask path was checked in that is not checked out";
    case Ledger::Loan::kLengthQuery:
      return "a length query was released that is not lent";
    case Ledger::Loan::kService:
      return "a service was released that is not acquired";
  }
  return "something was given back that is not lent";
}

void Append(std::string& list, const std::string& item) {
  if (!list.empty()) list += "; ";
  list += item;
}

}  // namespace

// The handle is the address of `bytes`, which points behind this record into the same allocation; the guard follows
// the block.
struct Ledger::Block {
  void* bytes;
  std::uint64_t size;
  const void* owner;
  std::int64_t locks;

  unsigned char* Guard() { return static_cast<unsigned char*>(bytes) + size; }
  bool GuardIntact() {
    return std::all_of(Guard(), Guard() + kGuardBytes, [](unsigned char byte) { return byte == kGuard; });
  }
};

Ledger::~Ledger() {
  for (auto& [handle, block] : handles_) std::free(block);
}

std::int64_t* Ledger::ParameterCount(Loan kind, std::uint64_t what) noexcept {
  return kind == Loan::kParameter && what < parameters_.size() ? &parameters_[static_cast<std::size_t>(what)] : nullptr;
}

void Ledger::Lend(Loan kind, std::uint64_t what) noexcept try {
  std::int64_t* parameter = ParameterCount(kind, what);
  ++(parameter != nullptr ? *parameter : loans_[{kind, what}]);
  ++outstanding_;
} catch (const std::bad_alloc&) {
  lacksMemory_ = true;
}

bool Ledger::TakeBack(Loan kind, std::uint64_t what) noexcept {
  std::int64_t* count = ParameterCount(kind, what);
  auto found = loans_.end();
  if (count == nullptr) {
    found = loans_.find({kind, what});
    if (found != loans_.end()) count = &found->second;
  }
  if (count == nullptr || *count == 0) {
    Fault(ReturnFault(kind));
    return false;
  }
  --*count;
  --outstanding_;
  if (*count == 0 && found != loans_.end() && loans_.size() > kEntriesKept) loans_.erase(found);
  return true;
}

OrvHandle Ledger::NewHandle(std::uint64_t size, const void* owner) noexcept try {
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 40;
  constexpr std::size_t kHeader = (sizeof(Block) + 15) / 16 * 16;
  if (size > kLargest) return nullptr;
  void* memory = std::malloc(kHeader + static_cast<std::size_t>(size) + kGuardBytes);
  if (memory == nullptr) return nullptr;
  Block* block = new (memory) Block{static_cast<unsigned char*>(memory) + kHeader, size, owner, 0};
  std::memset(block->Guard(), kGuard, kGuardBytes);
  try {
    handles_.emplace(&block->bytes, block);
  } catch (...) {
    std::free(memory);
    throw;
  }
  return &block->bytes;
} catch (const std::bad_alloc&) {
  return nullptr;
}

Ledger::Block* Ledger::Known(OrvHandle handle, const char* fault) noexcept {
  const auto found = handles_.find(handle);
  if (found != handles_.end()) return found->second;
  Fault(fault);
  return nullptr;
}

void Ledger::Lock(OrvHandle handle) noexcept {
  if (Block* block = Known(handle, "lock of an unknown handle")) ++block->locks;
}

void Ledger::Unlock(OrvHandle handle) noexcept {
  Block* block = Known(handle, "unlock of an unknown handle");
  if (block != nullptr && block->locks > 0) --block->locks;
}

void Ledger::Dispose(OrvHandle handle) noexcept {
  Block* block = Known(handle, "dispose of an unknown handle");
  if (block == nullptr) return;
  if (block->locks > 0) Fault("dispose of a locked handle");
  if (!block->GuardIntact()) Fault("bytes were written behind the end of a handle's block");
  handles_.erase(handle);
  std::free(block);
}

std::size_t Ledger::HandlesOf(const void* owner) const noexcept {
  return static_cast<std::size_t>(
      std::count_if(handles_.begin(), handles_.end(), [&](const auto& entry) { return entry.second->owner == owner; }));
}

void Ledger::StringsClosed() noexcept {
  if (openStringTables_ > 0) {
    --openStringTables_;
  } else {
    Fault("a string table closed that was not open");
  }
}

void Ledger::Fault(const char* what) noexcept try {
  if (faults_.size() < kFaultsKept) faults_.emplace_back(what);
} catch (const std::bad_alloc&) {  // the first faults matter most, and those are kept
}

std::string Ledger::EndCommand() {
  if (std::exchange(lacksMemory_, false)) {  // whatever else is wrong may come of that
    parameters_.fill(0);
    loans_.clear();
    faults_.clear();
    outstanding_ = 0;
    throw OutOfMemory("there is no memory for the host's own books");
  }
  std::string wrong;
  for (const std::string& fault : faults_) Append(wrong, fault);
  faults_.clear();
  if (outstanding_ == 0) {
    if (loans_.size() > kEntriesKept) loans_.clear();
    return wrong;
  }
  const auto tell = [&](Loan kind, std::uint64_t what, std::int64_t count) {
    if (count == 0) return;
    Append(wrong, std::to_string(count) + " x " + NameOf(kind) + " " + std::to_string(what) + " still lent");
  };
  for (std::size_t i = 0; i < parameters_.size(); ++i) tell(Loan::kParameter, i, parameters_[i]);
  for (const auto& [key, count] : loans_) tell(key.kind, key.what, count);
  parameters_.fill(0);
  loans_.clear();
  outstanding_ = 0;
  return wrong;
}

std::string Ledger::EndOwner(const void* owner) const {
  const std::size_t left = HandlesOf(owner);
  return left == 0 ? std::string() : std::to_string(left) + " memory handles of the sequence are left";
}

std::string Ledger::EndAll() const {
  std::string wrong;
  if (!handles_.empty()) Append(wrong, std::to_string(handles_.size()) + " memory handles are left");
  if (openStringTables_ != 0) Append(wrong, std::to_string(openStringTables_) + " string tables are left open");
  return wrong;
}

}  // namespace orvandel::stage
