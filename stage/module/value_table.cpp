#include "stage/module/value_table.h"

#include <algorithm>

#include "stage/base/errors.h"
#include "stage/scene/param_values.h"

namespace orvandel::stage {
namespace {

constexpr std::int32_t kTicksPerSecond = 30;
constexpr std::int64_t kMostKept = 1 << 16;  // of one parameter: 18 minutes of ticks
constexpr std::int32_t kHighestId = 1 << 16;

}  // namespace

ValueTable::ValueTable(const Scene& scene, const Emitter& emitter, const ParamCatalog& catalog, const PixelMap& map)
    : scene_(scene), emitter_(emitter), map_(map) {
  entries_.resize(catalog.Params().size() + 1);
  entries_[0].definition.type = ORV_PARAM_LAYER;
  EnterId(0, 0);
  for (const ParamInfo& info : catalog.Params()) {
    Entry& entry = entries_[static_cast<std::size_t>(info.hostIndex)];
    entry.info = &info;
    entry.definition = info.definition;
    EnterId(info.definition.id, info.hostIndex);
  }
  Renew();
}

void ValueTable::Renew() {
  const std::int64_t ticks =
      (std::int64_t{scene_.time.preroll} + scene_.time.duration) * kTicksPerSecond / scene_.time.timeScale;
  const auto keptCount = static_cast<std::size_t>(std::clamp<std::int64_t>(2 * (ticks + 4), 64, kMostKept));
  for (Entry& entry : entries_) {
    if (entry.info == nullptr || !entry.info->BearsValue()) continue;
    WriteValue(*entry.info, ValueAtTime(scene_, emitter_, *entry.info, 0), map_, entry.definition);
    entry.constant = emitter_.tracks[static_cast<std::size_t>(entry.info->hostIndex)].IsConstant();
    entry.kept.assign(entry.constant ? 0 : keptCount, {});
  }
}

void ValueTable::EnterId(std::int32_t id, std::int32_t hostIndex) {
  if (id < 0 || id > kHighestId) throw WorkError("the effect registers parameter id " + std::to_string(id));
  if (static_cast<std::size_t>(id) >= indexById_.size()) indexById_.resize(static_cast<std::size_t>(id) + 1, -1);
  indexById_[static_cast<std::size_t>(id)] = hostIndex;
}

std::int32_t ValueTable::HostIndexOfId(std::int32_t id) const {
  return id >= 0 && static_cast<std::size_t>(id) < indexById_.size() ? indexById_[static_cast<std::size_t>(id)] : -1;
}

// Ticks and the host unit before a tick (where the effect's two truncations may lead) have places of their own.
std::size_t ValueTable::PlaceOf(std::int32_t hostTime) const {
  return static_cast<std::size_t>(std::int64_t{hostTime} * 2 * kTicksPerSecond / scene_.time.timeScale);
}

const OrvParamDef& ValueTable::At(std::int32_t hostIndex, std::int32_t hostTime) {
  Entry& entry = entries_.at(static_cast<std::size_t>(hostIndex));
  if (entry.constant) return entry.definition;
  const std::int32_t time = std::max(hostTime, 0);
  Kept& kept = entry.kept[PlaceOf(time) % entry.kept.size()];
  if (kept.time != time) {
    WriteValue(*entry.info, ValueAtTime(scene_, emitter_, *entry.info, time), map_, entry.definition);
    kept = {time, entry.definition.value};
  } else {
    entry.definition.value = kept.value;
  }
  return entry.definition;
}

std::int32_t ValueTable::LayerAt(std::int32_t hostIndex, std::int32_t hostTime) const {
  const Entry& entry = entries_.at(static_cast<std::size_t>(hostIndex));
  return std::get<Choice>(ValueAtTime(scene_, emitter_, *entry.info, hostTime)).index;
}

}  // namespace orvandel::stage
