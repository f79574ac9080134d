// An account of what the host has lent: memory handles, check-outs, paths, length queries, services, string tables.
//
// Every loan is entered when the effect receives it and struck out when it comes back. After every command nothing may
// be out but memory handles and the string table; after a sequence ends none of its handles; after the module's
// set-down nothing at all. A return of something not lent, a dispose of a locked handle and a write behind the end of
// a block are entered as faults at once.
//
// The ledger also is the handles' allocator. It never throws: its functions run inside the effect's calls.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "orvandel/host.h"

namespace orvandel::stage {

class Ledger {
 public:
  enum class Loan { kParameter, kPath, kLengthQuery, kService };

  Ledger() = default;
  ~Ledger();
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;

  // --- Loans within one command: `what` identifies the loan within its kind (host index, path, query, service).
  void Lend(Loan kind, std::uint64_t what) noexcept;
  // False, and a fault, when it was not lent.
  bool TakeBack(Loan kind, std::uint64_t what) noexcept;

  // --- Memory handles. `owner` is whoever's command is running; it must stay distinct while its handles live.
  // Null when there is no memory.
  OrvHandle NewHandle(std::uint64_t size, const void* owner) noexcept;
  void Lock(OrvHandle handle) noexcept;
  void Unlock(OrvHandle handle) noexcept;  // of an unlocked handle: nothing
  void Dispose(OrvHandle handle) noexcept;
  std::size_t HandlesOf(const void* owner) const noexcept;

  // --- String tables, open from the first command to the last.
  void StringsOpened() noexcept { ++openStringTables_; }
  void StringsClosed() noexcept;

  void Fault(const char* what) noexcept;

  // Closes the account of a command: what is wrong with it, "" when nothing is. Outstanding loans are written off.
  // Throws OutOfMemory where a loan could not be written down.
  std::string EndCommand();
  // What is still lent once `owner` has ended; "" when nothing is.
  std::string EndOwner(const void* owner) const;
  // What is still lent at the end; "" when nothing is.
  std::string EndAll() const;

 private:
  struct Block;
  struct LoanKey {
    Loan kind;
    std::uint64_t what;
    bool operator==(const LoanKey&) const = default;
  };
  struct LoanHash {
    std::size_t operator()(const LoanKey& key) const noexcept {
      return static_cast<std::size_t>(key.what * 0x9E3779B97F4A7C15u) ^ static_cast<std::size_t>(key.kind);
    }
  };

  Block* Known(OrvHandle handle, const char* fault) noexcept;

  std::int64_t* ParameterCount(Loan kind, std::uint64_t what) noexcept;

  // Check-outs of parameters come by the thousand for every frame, so they have an array of their own.
  std::array<std::int64_t, 256> parameters_{};
  // All other counts by loan; entries stay at 0 after the first use, as long as they are few, so that a loan allocates
  // once and not at every check-out.
  std::unordered_map<LoanKey, std::int64_t, LoanHash> loans_;
  std::int64_t outstanding_ = 0;
  std::unordered_map<OrvHandle, Block*> handles_;
  std::int32_t openStringTables_ = 0;
  std::vector<std::string> faults_;
  bool lacksMemory_ = false;
};

}  // namespace orvandel::stage
