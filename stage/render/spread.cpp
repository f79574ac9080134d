// Rows fall through the six boxes one after another: a column box holds the rows that it reaches over, and what it
// gives goes through a row box into the next one. So a plane is read and written once, and all else stays in the
// caches.
#include "stage/render/spread.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "stage/base/wide_code.h"

namespace orvandel::stage {
namespace {

constexpr int kBoxesInARow = 3;

// Light is at most 2^24 and a box at most some thousand pixels wide: doubles hold every sum exactly, and converting
// light as signed words is what vector units can do.
double Number(std::uint32_t light) { return static_cast<std::int32_t>(light); }

// How a box weighs; copied, so that the compiler knows that no result is written over it.
struct Shares {
  explicit Shares(const Box& box) : ends(box.ends), ofAll(1.0 / static_cast<double>(box.Weight())) {}
  // The sum is never negative, and the mean at most full light.
  std::uint32_t Mean(double sum, double sumOfEnds) const {
    const double raised = (sum * kBoxShares + sumOfEnds * ends) * ofAll + 0.5;
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(raised));
  }
  double ends, ofAll;
};

// The running sums of all columns go down together. `entering`, `below`, `leaving`: the last row inside the box, the
// one after it, and the one that has just become the end above.
ORVANDEL_WIDE_CODE void MeansOfColumns(const std::uint32_t* entering, const std::uint32_t* below,
                                       const std::uint32_t* leaving, double* sums, std::uint32_t* out,
                                       std::size_t columns, Shares shares) {
  for (std::size_t x = 0; x < columns; ++x) {
    const double left = Number(leaving[x]);
    const double sum = sums[x] + (Number(entering[x]) - left);
    sums[x] = sum;
    out[x] = shares.Mean(sum, left + Number(below[x]));
  }
}

ORVANDEL_WIDE_CODE void MeansOfSums(const double* sums, const std::uint32_t* leaving, const std::uint32_t* below,
                                    std::uint32_t* out, std::size_t columns, Shares shares) {
  for (std::size_t x = 0; x < columns; ++x) out[x] = shares.Mean(sums[x], Number(leaving[x]) + Number(below[x]));
}

class RowBox {
 public:
  RowBox(std::size_t columns, const Box& box)
      : box_(box), margin_(static_cast<std::size_t>(box.reach) + 1), padded_(columns + 2 * margin_), sums_(columns) {}

  // The row lies between `reach` + 1 dark pixels on either side, so that the sums need not ask for the edges. They are
  // taken first, since each waits for the one before: in whole numbers, which are added soonest.
  void Spread(std::uint32_t* row) {
    const std::size_t columns = sums_.size();
    std::uint32_t* const middle = padded_.data() + margin_;
    std::copy_n(row, columns, middle);
    const std::uint32_t *leaving = middle - margin_, *entering = middle + box_.reach, *below = entering + 1;
    std::int64_t sum = 0;
    for (std::size_t x = 0; x < std::min(margin_ - 1, columns); ++x) sum += middle[x];
    for (std::size_t x = 0; x < columns; ++x) {
      sum += std::int64_t{entering[x]} - leaving[x];
      sums_[x] = static_cast<double>(sum);
    }
    MeansOfSums(sums_.data(), leaving, below, row, columns, Shares(box_));
  }

 private:
  Box box_;
  std::size_t margin_;
  std::vector<std::uint32_t> padded_;
  std::vector<double> sums_;
};

// Gives the row that lies `reach` + 1 above the one it takes, of a picture of `height` rows; further ones are dark.
class ColumnBox {
 public:
  ColumnBox(std::size_t columns, std::int32_t height, const Box& box)
      : box_(box),
        height_(height),
        places_(std::min(2 * box.reach + 3, height)),
        held_(static_cast<std::size_t>(places_) * columns),
        isLit_(static_cast<std::size_t>(places_)),
        dark_(columns),
        sums_(columns) {}

  // Null: a dark row. The answer: whether `out` has any light; where not, nothing is written to it.
  bool Take(const std::uint32_t* row, std::uint32_t* out) {
    const std::int32_t y = next_++, above = y - 2 * box_.reach - 2;
    if (y < height_) Hold(row, y);
    lit_ += row != nullptr ? 1 : 0;
    const bool hasLight = lit_ > 0;  // else the sums are 0 and stay so
    if (hasLight) MeansOfColumns(Row(y - 1), Row(y), Row(above), sums_.data(), out, sums_.size(), Shares(box_));
    lit_ -= Row(above) != dark_.data() ? 1 : 0;
    return hasLight;
  }

 private:
  std::size_t PlaceOf(std::int32_t y) const { return static_cast<std::size_t>(y % places_); }

  void Hold(const std::uint32_t* row, std::int32_t y) {
    isLit_[PlaceOf(y)] = row != nullptr ? 1 : 0;
    if (row != nullptr) std::copy_n(row, sums_.size(), held_.data() + PlaceOf(y) * sums_.size());
  }

  const std::uint32_t* Row(std::int32_t y) const {
    const bool isLit = y >= 0 && y < height_ && isLit_[PlaceOf(y)] != 0;
    return isLit ? held_.data() + PlaceOf(y) * sums_.size() : dark_.data();
  }

  Box box_;
  std::int32_t height_, places_;     // from the end above to the end below, or the whole picture
  std::vector<std::uint32_t> held_;  // a row in each, in turns
  std::vector<char> isLit_;
  std::vector<std::uint32_t> dark_;
  std::vector<double> sums_;
  std::int32_t next_ = 0, lit_ = 0;  // of the rows from `above` on
};

// The boxes of one column after another. Rows come from above, dark ones after the last.
class Cascade {
 public:
  Cascade(std::size_t columns, std::int32_t height, const Box& box)
      : height_(height),
        rowsLate_(box.reach + 1),
        across_(columns, box),
        down_(kBoxesInARow, ColumnBox(columns, height, box)),
        rows_(2 * columns) {}

  // How many rows above the one taken lies the one given.
  std::int32_t RowsLate() const { return kBoxesInARow * rowsLate_; }

  // Null: a dark row, taken and given alike.
  const std::uint32_t* Take(const std::uint32_t* row, std::int32_t y) {
    const std::size_t columns = rows_.size() / 2;
    for (std::size_t i = 0; i < kBoxesInARow; ++i) {
      std::uint32_t* const out = rows_.data() + i % 2 * columns;
      const bool isLit = down_[i].Take(row, out);
      y -= rowsLate_;
      if (y < 0) return nullptr;
      row = isLit && y < height_ ? out : nullptr;  // below the picture it is dark between two boxes, too
      if (row != nullptr) across_.Spread(out);
    }
    return row;
  }

 private:
  std::int32_t height_, rowsLate_;  // of one box
  RowBox across_;
  std::vector<ColumnBox> down_;
  std::vector<std::uint32_t> rows_;  // two
};

bool IsLit(const std::uint32_t* row, std::size_t columns) {
  return std::any_of(row, row + columns, [](std::uint32_t light) { return light != 0; });
}

}  // namespace

std::int64_t Box::Weight() const { return std::int64_t{kBoxShares} * (2 * reach + 1) + 2 * ends; }

// A box of width w has the variance (w * w - 1) / 12 over whole pixels; with a share f of one more at each end
// (2 * (1 + 4 + ... + reach^2) + 2 * f * (reach + 1)^2) / (2 * reach + 1 + 2 * f), from which f follows.
Box BoxOf(double deviation) {
  const double variance = deviation * deviation / kBoxesInARow;
  const double reach = std::floor((std::sqrt(12 * variance + 1) - 1) / 2);
  const double squares = reach * (reach + 1) * (2 * reach + 1) / 3, next = (reach + 1) * (reach + 1);
  const double ends = (variance * (2 * reach + 1) - squares) / (2 * (next - variance));
  Box box;
  box.reach = static_cast<std::int32_t>(reach);
  box.ends = static_cast<std::int32_t>(std::floor(std::clamp(ends, 0.0, 1.0) * kBoxShares + 0.5));
  return box;
}

void Spread(const LightPlane& from, LightPlane& to, std::int32_t width, std::int32_t height, const Box& box) {
  if (box.reach == 0 && box.ends == 0) {
    if (&from != &to) to = from;
    return;
  }
  to.resize(from.size());
  const auto columns = static_cast<std::size_t>(width);
  Cascade cascade(columns, height, box);
  for (std::int32_t y = 0; y < height + cascade.RowsLate(); ++y) {
    const std::uint32_t* row = y < height ? from.data() + static_cast<std::size_t>(y) * columns : nullptr;
    if (row != nullptr && !IsLit(row, columns)) row = nullptr;
    const std::uint32_t* const given = cascade.Take(row, y);
    const std::int32_t above = y - cascade.RowsLate();
    if (above < 0) continue;
    std::uint32_t* const out = to.data() + static_cast<std::size_t>(above) * columns;
    if (given != nullptr) {
      std::copy_n(given, columns, out);
    } else {
      std::fill_n(out, columns, 0);
    }
  }
}

}  // namespace orvandel::stage
