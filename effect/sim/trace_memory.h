// The contour traced last in a sequence, so that waves with the same picture and settings trace it once, and frames
// between ticks, which restore waves without their shapes, do not trace again.
//
// A picture counts as the same only when all its bytes are equal: a fingerprint is not enough. Replaying a trace must
// not be visible to the host, so the abort checks of the trace are remembered as a count and made again.
#pragma once

#include <cstdint>

#include "effect/base/geometry.h"
#include "effect/host/effect_context.h"
#include "effect/params/layer_image.h"

namespace orvandel {

// All that a traced contour depends on apart from the picture's bytes.
struct TraceSettings {
  std::int32_t sourceWidth, sourceHeight;  // pixels
  bool sourceHasPixels;
  std::int32_t valueWidth, valueHeight;  // of the value image
  std::uint32_t valueChannel;
  float valueThreshold, preBlur;
  bool invertInput;
  std::int32_t contour;
  double blurScaleX, blurScaleY;
  bool operator==(const TraceSettings&) const = default;
};

class TraceMemory {
 public:
  // Whether the remembered trace is of this picture; comparing is several times faster than taking a fingerprint.
  bool HoldsPicture(const ImageBuffer& source) const;
  // The same for a layer that is checked out. Its pixels are not compared again while it stays checked out, nor while
  // the host's change stamp promises that an earlier comparison at this time still holds.
  bool HoldsLayer(ParamSlot& slot);
  // Notes that this layer has the remembered picture.
  void NoteLayer(ParamSlot& slot);
  // Whether the remembered trace was made with these settings.
  bool HasSettings(const TraceSettings& settings) const { return settings == settings_; }
  // AllocFailed leaves nothing remembered.
  void Remember(const TraceSettings& settings, const ImageBuffer& source, const Fingerprint& fingerprint,
                const PictureOutline& chain, std::int64_t found, std::int64_t abortChecks);
  const Fingerprint& PictureFingerprint() const { return fingerprint_; }

  const PictureOutline& Chain() const { return chain_; }
  std::int64_t Found() const { return found_; }
  std::int64_t AbortChecks() const { return abortChecks_; }

 private:
  // A check-out that gave the remembered picture, under the host's change stamp; 0 promises nothing.
  struct KnownCheckOut {
    std::uint64_t changeStamp;
    std::int32_t hostIndex, hostTime;
    bool operator==(const KnownCheckOut&) const = default;
  };
  static KnownCheckOut CheckOutOf(const ParamSlot& slot);
  void Note(ParamSlot& slot, const KnownCheckOut& checkOut);

  bool filled_ = false;
  std::uint32_t number_ = 0;  // of the remembered picture, for ParamSlot::knownPicture
  HeapVector<KnownCheckOut> known_;
  TraceSettings settings_{};
  Fingerprint fingerprint_{};
  HeapVector<std::uint8_t> pixels_;  // the picture's rows without padding
  PictureOutline chain_;
  std::int64_t found_ = 0;
  std::int64_t abortChecks_ = 0;
};

}  // namespace orvandel
