// States of a sequence's simulation, kept on the way so that another frame need not begin at the start.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace orvandel::stage {

class ResumePoints {
 public:
  virtual ~ResumePoints() = default;
  // Whether the state at this tick is to be kept, on the way between two others.
  virtual bool Wants(std::int32_t tick, std::int32_t from, std::int32_t to) = 0;
  virtual void Keep(std::int32_t tick, std::span<const std::uint8_t> bytes) = 0;
  // Empty: none at or before it. Valid until the next call.
  virtual std::span<const std::uint8_t> Latest(std::int32_t atOrBefore, std::int32_t& tick) = 0;
  // The sequence has ended, its values have changed, or memory is short.
  virtual void Clear() = 0;
};

// In memory, for frames asked for backward.
//
// A way of some length leaves one state every 32 ticks, and before its end one at 16, 8, 4, 2 and 1 ticks: whoever
// steps backward then finds one near by, each further step adding what it needs. They are bounded in number and bytes;
// those go first that lie closest to their neighbours for how far they are from the latest place asked for.
class RecentPoints final : public ResumePoints {
 public:
  bool Wants(std::int32_t tick, std::int32_t from, std::int32_t to) override;
  void Keep(std::int32_t tick, std::span<const std::uint8_t> bytes) override;
  std::span<const std::uint8_t> Latest(std::int32_t atOrBefore, std::int32_t& tick) override;
  void Clear() override;

 private:
  void DropOne();

  std::map<std::int32_t, std::vector<std::uint8_t>> states_;
  std::size_t bytes_ = 0;
  std::int32_t asked_ = 0;
};

}  // namespace orvandel::stage
