// A host that is given values from anywhere, in range and far outside, and sees to it that each render ends in a
// picture or a code, leaves nothing lent, and does not do more between two polls than is said here.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/faults/variant.h"
#include "tests/support/dice.h"

namespace orvandel::test {

struct Range {
  std::int32_t id = 0;
  std::int32_t type = 0;
  std::int32_t low = 0, high = 0, usual = 0;  // value words
};

class ValueHost : public FakeHost {
 public:
  ValueHost();
  ~ValueHost();

  // A render on a new sequence, or on the one that is there. Returns the code; whatever it is, everything must be in
  // order.
  std::int32_t RenderAnew(std::int32_t hostTime);
  std::int32_t RenderOn(std::int32_t hostTime);

  // Both words of a point, the value word of anything else; layers stay as they are.
  void SetWords(const Range& range, std::int32_t word, std::int32_t second);
  // Words that no slider gives, definitions of another type, records that no host fills so, images of odd sizes, path
  // services that answer nonsense. `source` must live until TameAll.
  void GoWild(Dice& source);
  std::int32_t WildTime(Dice& source) const;
  void TameAll();

  const std::vector<Range>& Ranges() const { return ranges_; }
  int Pictures() const { return pictures_; }  // that came out and are not blank

 private:
  Range RangeOf(std::int32_t id) const;
  std::int64_t Work() const;
  void CountWork();
  void WildParams(Dice& source);
  void WildRecord(Dice& source);

  std::vector<Range> ranges_;
  int pictures_ = 0;
  std::int64_t workDone_ = 0, mostWork_ = 0;
};

// Mostly not far from the usual value, where pictures are; sometimes anywhere, sometimes an end.
std::int32_t WordInRange(Dice& source, const Range& range);

}  // namespace orvandel::test
