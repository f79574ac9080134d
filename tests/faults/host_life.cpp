#include "tests/faults/host_life.h"

#include <map>
#include <tuple>

#include "tests/faults/heap_faults.h"

namespace orvandel::test {
namespace {

std::vector<std::uint8_t> InputPixels(const FakeHost& host) {
  std::vector<std::uint8_t> pixels = host.input.Pixels();
  for (const FencedImage& layer : host.layers) {
    const auto more = layer.Pixels();
    pixels.insert(pixels.end(), more.begin(), more.end());
  }
  return pixels;
}

}  // namespace

const std::vector<Step>& WholeLife() {
  // Behind the fraction of a tick the waves are taken from the snapshot.
  static const std::vector<Step> steps = {
      {ORV_GLOBAL_SET_UP},   {ORV_PARAM_SET_UP},     {ORV_SEQUENCE_SET_UP},    {ORV_RENDER, 4},
      {ORV_RENDER, 7.5},     {ORV_RENDER, 8.25},     {ORV_RENDER, 2.25},       {ORV_UPDATE_PARAMS_UI},
      {ORV_ABOUT},           {ORV_SEQUENCE_FLATTEN}, {ORV_SEQUENCE_RE_SET_UP}, {ORV_RENDER, 9},
      {ORV_SEQUENCE_SET_UP}, {ORV_RENDER, 3.5},      {ORV_SEQUENCE_SET_DOWN},  {ORV_GLOBAL_SET_DOWN}};
  return steps;
}

const std::vector<std::uint8_t>& FreshPictureOf(const Variant& variant, bool passParams, double tick) {
  static std::map<std::tuple<std::string, bool, double>, std::vector<std::uint8_t>> pictures;
  auto& picture = pictures[{variant.Name(), passParams, tick}];
  if (picture.empty()) {
    FakeHost host(kSweepWidth, kSweepHeight);
    Furnish(host);
    host.passParamsToRender = passParams;
    host.Send(ORV_GLOBAL_SET_UP);
    host.Send(ORV_PARAM_SET_UP);
    Apply(host, variant);
    picture = host.FreshPictureAtTick(tick);
    host.Send(ORV_GLOBAL_SET_DOWN);
  }
  return picture;
}

HostLife::HostLife(const Variant& variant, bool passParams) : host(kSweepWidth, kSweepHeight), variant_(variant) {
  // Now, because instances share the module's heap: the end of one would take this one's memory along.
  for (const Step& step : WholeLife()) {
    if (step.selector == ORV_RENDER) FreshPictureOf(variant, passParams, step.tick);
  }
  Furnish(host);
  host.passParamsToRender = passParams;
  host.hearsWaves = variant.reflection;  // pictures are compared with those of hosts that hear of none
  inputBefore_ = InputPixels(host);
}

std::int32_t HostLife::Send(const Step& step) {
  if (step.selector == ORV_RENDER) {
    host.output = FencedImage(kSweepWidth, kSweepHeight, kUntouched);
    return host.RenderTick(step.tick);
  }
  const std::int32_t code = host.Send(step.selector);
  if (step.selector == ORV_PARAM_SET_UP && code == 0) Apply(host, variant_);
  return code;
}

std::string HostLife::Disorder() {
  std::string text;
  host.Balanced(&text);
  if (!host.output.FencesIntact()) text += "bytes outside the output were written; ";
  bool inputsWhole = host.input.FencesIntact() && InputPixels(host) == inputBefore_;
  for (const FencedImage& layer : host.layers) inputsWhole = inputsWhole && layer.FencesIntact();
  if (!inputsWhole) text += "an input was written; ";
  // The global set-down would free what a sequence forgot.
  if (host.in.sequenceData == nullptr && heap_faults::LiveBlocks() != 0) text += "heap blocks left by a sequence; ";
  return text + heap_faults::Damage();
}

std::string HostLife::Remains() {
  std::string text;
  host.NothingLeft(&text);
  if (heap_faults::LiveBlocks() != 0) text += std::to_string(heap_faults::LiveBlocks()) + " heap blocks left; ";
  return text;
}

bool HostLife::ShowsFreshPicture(const Step& step) {
  return host.output.Pixels() == FreshPictureOf(variant_, host.passParamsToRender, step.tick);
}

}  // namespace orvandel::test
