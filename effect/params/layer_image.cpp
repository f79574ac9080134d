#include "effect/params/layer_image.h"

#include <cstdlib>

#include "effect/base/errors.h"
#include "effect/params/param_ids.h"
#include "effect/params/param_slot.h"

namespace orvandel {
namespace {

// The walk visits pixels at uneven strides and mixes them with changing operations and byte orders, so that a shift of
// the picture or an exchange of equal changes does not cancel out.
constexpr std::array<std::int64_t, 3> kStrides = {3, 5, 11};
enum class Mix { kAdd, kXor, kSubtract };
constexpr std::array<Mix, 9> kMixes = {Mix::kAdd,      Mix::kAdd,      Mix::kXor,      Mix::kXor, Mix::kXor,
                                       Mix::kSubtract, Mix::kSubtract, Mix::kSubtract, Mix::kAdd};

// The pixel's bytes as a number, lowest first, beginning with byte `rotation`.
std::uint32_t RotatedWord(const std::uint8_t* pixel, unsigned rotation) {
  std::uint32_t word = 0;
  for (unsigned i = 4; i-- > 0;) word = word << 8 | pixel[(rotation + i) & 3];
  return word;
}

std::uint32_t Mixed(std::uint32_t sum, std::uint32_t word, Mix mix) {
  if (mix == Mix::kAdd) return sum + word;
  if (mix == Mix::kXor) return sum ^ word;
  return sum - word;
}

// Position of the walk in the picture's rows laid end to end, in 64 bits: large pictures have more than 2^31 bytes.
struct PixelWalk {
  std::int64_t rowLength;  // with padding, positive also for pictures that are stored upside down
  std::int64_t rowStart = 0;
  std::int64_t position = 0;

  // Carries into the next row at most once: in a picture narrower than the stride the position may lie beyond that
  // row's pixels, in its padding or in the row below it.
  void Advance(std::int64_t pixels, const ImageBuffer& image) {
    position += pixels * 4;
    const std::int64_t rowEnd = rowStart + static_cast<std::int64_t>(image.width) * 4;
    if (position < rowEnd) return;
    rowStart += rowLength;
    position = rowStart + (position - rowEnd);
  }

  // Null past the last pixel of a row when rows are stored upside down: that may lie outside the picture's memory.
  const std::uint8_t* Pixel(const ImageBuffer& image) const {
    if (image.rowBytes >= 0) return image.data + position;
    const std::int64_t inRow = position % rowLength;
    if (inRow + 4 > static_cast<std::int64_t>(image.width) * 4) return nullptr;
    return image.data + position / rowLength * image.rowBytes + inRow;
  }
};

}  // namespace

Fingerprint FingerprintImage(const ImageBuffer& image) {
  if (image.data == nullptr) return {0, 0};
  const std::uint32_t width = static_cast<std::uint32_t>(image.width);
  const std::uint32_t height = static_cast<std::uint32_t>(image.height);
  Fingerprint sums = {width * width, height * height};

  const std::int64_t rowLength = std::abs(std::int64_t{image.rowBytes});
  const std::int64_t end = rowLength * image.height;
  std::size_t stride = 0;
  std::size_t mix = 0;
  unsigned sum = 0;
  unsigned rotation = 0;
  for (PixelWalk walk{rowLength}; walk.position + 4 <= end;
       walk.Advance(kStrides[stride], image), stride = (stride + 1) % kStrides.size()) {
    const std::uint8_t* pixel = walk.Pixel(image);
    if (pixel != nullptr) sums[sum] = Mixed(sums[sum], RotatedWord(pixel, rotation), kMixes[mix]);
    sum = 1 - sum;
    mix = (mix + 1) % kMixes.size();
    rotation = (rotation + sum) & 3;
  }
  return sums;
}

// The value part is a union: when the host answers with a definition of another type, it holds no image. A slot whose
// first check-out was refused counts as a layer until a later one fills its type.
ImageBuffer SlotImage(const ParamSlot& slot) {
  const OrvImage& image = slot.definition.value.layer.image;
  const bool isImage = slot.definition.type == ORV_PARAM_LAYER && image.width >= 0 && image.height >= 0;
  return isImage ? ImageBuffer::FromHost(image) : ImageBuffer{};
}

bool AcquireLayer(ParamSlot& slot, std::int32_t hostTime) {
  if (slot.held && slot.sampleTime != hostTime) CheckIn(slot);
  if (!slot.held) {
    const std::int32_t code = CheckOutDefinition(slot, hostTime, slot.owner->inRecord->timeStep);
    if (code != 0) throw AbortException(code);
    slot.held = true;
    slot.sampleTime = hostTime;
  }
  return SlotImage(slot).data != nullptr;
}

ParamSlot& AcquireSourceSlot(EffectContext& context, std::int32_t hostTime) {
  ParamSlot& chosen = FilledSlot(context, kSourceLayer);
  if (AcquireLayer(chosen, hostTime)) return chosen;
  CheckIn(chosen);
  ParamSlot& own = FilledSlot(context, kInputLayer);
  AcquireLayer(own, hostTime);
  return own;
}

}  // namespace orvandel
