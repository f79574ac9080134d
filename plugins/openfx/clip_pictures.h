// What is traced: a clip's frames as the effect asks for them.
#pragma once

#include "plugins/bridge/param_source.h"
#include "plugins/openfx/moment.h"

namespace orvandel::ofx {

// Within a render, on its thread: pictures may be had at no other time.
class ClipPictures final : public bridge::PictureSource {
 public:
  ClipPictures(const Instance& instance, const Moment& moment) : instance_(instance), moment_(moment) {}

  bool Has(Layer layer) const override { return layer == Layer::kInput; }
  bool Moves(Layer) const override { return true; }
  stage::Picture PictureAt(Layer layer, const bridge::LookTime& time) override;

 private:
  const Instance& instance_;
  const Moment& moment_;
};

}  // namespace orvandel::ofx
