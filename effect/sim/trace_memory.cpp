#include "effect/sim/trace_memory.h"

#include <algorithm>
#include <cstring>

namespace orvandel {
namespace {

std::size_t RowLength(const ImageBuffer& source) { return static_cast<std::size_t>(source.width) * sizeof(OrvPixel); }
std::int32_t Rows(const ImageBuffer& source) { return source.HasPixels() ? source.height : 0; }

}  // namespace

bool TraceMemory::HoldsPicture(const ImageBuffer& source) const {
  const bool sameSize = source.width == settings_.sourceWidth && source.height == settings_.sourceHeight &&
                        (source.data != nullptr) == settings_.sourceHasPixels;
  if (!filled_ || !sameSize) return false;
  const std::uint8_t* kept = pixels_.data();
  for (std::int32_t y = 0; y < Rows(source); ++y, kept += RowLength(source)) {
    if (std::memcmp(kept, source.Row(y), RowLength(source)) != 0) return false;
  }
  return true;
}

// Comparing a small picture costs no more than asking the host for its stamp.
TraceMemory::KnownCheckOut TraceMemory::CheckOutOf(const ParamSlot& slot) {
  constexpr std::int64_t kPixelsWorthAsking = 1 << 14;
  const ImageBuffer image = SlotImage(slot);
  const bool asks = std::int64_t{image.width} * image.height >= kPixelsWorthAsking;
  return {asks ? slot.owner->ChangeStamp() : 0, slot.hostIndex, slot.sampleTime};
}

bool TraceMemory::HoldsLayer(ParamSlot& slot) {
  if (!filled_) return false;
  if (slot.knownPicture == number_) return true;
  const KnownCheckOut checkOut = CheckOutOf(slot);
  const bool promised = checkOut.changeStamp != 0 && std::find(known_.begin(), known_.end(), checkOut) != known_.end();
  if (!promised && !HoldsPicture(SlotImage(slot))) return false;
  Note(slot, checkOut);
  return true;
}

void TraceMemory::NoteLayer(ParamSlot& slot) { Note(slot, CheckOutOf(slot)); }

void TraceMemory::Note(ParamSlot& slot, const KnownCheckOut& checkOut) {
  constexpr std::size_t kMostKnown = 256;
  slot.knownPicture = number_;
  if (checkOut.changeStamp == 0 || std::find(known_.begin(), known_.end(), checkOut) != known_.end()) return;
  if (known_.size() == kMostKnown) known_.clear();
  known_.push_back(checkOut);
}

void TraceMemory::Remember(const TraceSettings& settings, const ImageBuffer& source, const Fingerprint& fingerprint,
                           const PictureOutline& chain, std::int64_t found, std::int64_t abortChecks) {
  filled_ = false;
  ++number_;
  known_.clear();
  fingerprint_ = fingerprint;
  chain_ = chain;
  pixels_.resize(RowLength(source) * static_cast<std::size_t>(Rows(source)));
  std::uint8_t* kept = pixels_.data();
  for (std::int32_t y = 0; y < Rows(source); ++y, kept += RowLength(source)) {
    std::memcpy(kept, source.Row(y), RowLength(source));
  }
  settings_ = settings;
  found_ = found;
  abortChecks_ = abortChecks;
  filled_ = true;
}

}  // namespace orvandel
