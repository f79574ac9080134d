// The effect's parameters as definitions ready to be handed over, by host index and host time.
//
// The effect asks for every animated parameter at every tick from the start to the frame, for every frame. So a
// constant parameter is one stored record, and what keyframes gave for a tick is kept.
#pragma once

#include <cstdint>
#include <vector>

#include "stage/scene/output_scale.h"
#include "stage/scene/param_catalog.h"
#include "stage/scene/scene.h"

namespace orvandel::stage {

class ValueTable {
 public:
  // The first three references must outlive the table.
  ValueTable(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog, const PixelMap& map);
  // The scene has other values than before.
  void Renew();

  std::int32_t Count() const { return static_cast<std::int32_t>(entries_.size()); }  // the input layer included
  // Type, value, name, flags as registered; of a layer without pixels. 0 is the input layer. Valid until the next call.
  const OrvParamDef& At(std::int32_t hostIndex, std::int32_t hostTime);
  // The scene's layer that a layer parameter names, from 1; 0: none.
  std::int32_t LayerAt(std::int32_t hostIndex, std::int32_t hostTime) const;
  // The parameter with a definition's lasting identity; -1: none.
  std::int32_t HostIndexOfId(std::int32_t id) const;

 private:
  struct Kept {
    std::int32_t time = -1;
    OrvParamValue value{};
  };
  struct Entry {
    const ParamInfo* info = nullptr;  // null: the input layer
    OrvParamDef definition{};
    bool constant = true;
    std::vector<Kept> kept;
  };
  void EnterId(std::int32_t id, std::int32_t hostIndex);
  std::size_t PlaceOf(std::int32_t hostTime) const;

  const Scene& scene_;
  const Emitter& emitter_;
  PixelMap map_;
  std::vector<Entry> entries_;
  std::vector<std::int32_t> indexById_;
};

}  // namespace orvandel::stage
