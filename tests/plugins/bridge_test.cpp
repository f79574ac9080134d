// What editors ask of the bridge gives the bytes that the stage renders, however they ask.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "plugins/bridge/built_in_effect.h"
#include "plugins/bridge/player.h"
#include "stage/render/scene_renderer.h"
#include "stage/scene/param_values.h"
#include "stage/scene/scene_reader.h"

namespace orvandel::bridge {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<std::filesystem::path> GoldenScenes() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(ORVANDEL_GOLDEN_SCENES)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Bytes AlphaLast(const stage::Picture& picture) {
  Bytes bytes;
  for (std::size_t at = 0; at < picture.bytes.size(); at += 4) {
    bytes.insert(bytes.end(), {picture.bytes[at + 1], picture.bytes[at + 2], picture.bytes[at + 3], picture.bytes[at]});
  }
  return bytes;
}

Bytes Frame(const Player& player, const FrameRequest& request) {
  Bytes bytes(static_cast<std::size_t>(request.width) * static_cast<std::size_t>(request.height) * 4, 0xA5);
  player.Render(request, {bytes.data(), request.width * 4});
  return bytes;
}

double SecondsOf(const stage::Scene& scene, std::int32_t frame) {
  return static_cast<double>(frame * scene.time.frameRate.den) / static_cast<double>(scene.time.frameRate.num);
}

// An editor that has the scene's own values as its keyframes, and another one's every now and then.
class Keyframes final : public ParamSource {
 public:
  explicit Keyframes(const stage::Scene& scene) : scene_(scene) {}
  Origin OriginOf(std::int32_t hostIndex) const override {
    const std::int32_t type = Info(hostIndex).definition.type;
    if (type == ORV_PARAM_LAYER) return Origin::kLook;
    // Into fractions of the frame and back, a moving point loses its last bits.
    if (type == ORV_PARAM_POINT && !Of(hostIndex).IsConstant()) return Origin::kLook;
    if (hostIndex == spinning) return Origin::kConstant;
    return Of(hostIndex).IsConstant() ? Origin::kConstant : Origin::kVarying;
  }
  stage::Value ValueAt(std::int32_t hostIndex, const LookTime& time) const override {
    if (hostIndex == spinning) return 77.0;
    EXPECT_EQ(time.unitsPerSecond, scene_.time.timeScale);
    stage::Value value =
        stage::ValueAtTime(scene_, scene_.emitters[0], Info(hostIndex), time.units + scene_.time.preroll);
    if (auto* point = std::get_if<stage::PointValue>(&value)) {
      return stage::PointValue{point->x / scene_.width, point->y / scene_.height};
    }
    return value;
  }
  std::int32_t spinning = -1;  // the host index of Spin, while it is another one

 private:
  const stage::ParamInfo& Info(std::int32_t hostIndex) const { return *Catalog().AtHostIndex(hostIndex); }
  const stage::Track& Of(std::int32_t hostIndex) const {
    return scene_.emitters[0].tracks[static_cast<std::size_t>(hostIndex)];
  }
  const stage::Scene& scene_;
};

TEST(Bridge, AnyOrderAndAnyThreadGiveTheScenesFrames) {
  stage::EffectModule module(BuiltInEffect());
  for (const auto& file : GoldenScenes()) {
    const stage::Scene scene = stage::ReadScene(file, module.Catalog());
    for (const std::int32_t k : {1, 2}) {
      stage::SceneRenderer plain(module, scene, {.downsample = k});
      std::vector<Bytes> expected;
      const std::int32_t count = std::min(scene.time.frameCount, 24);
      for (std::int32_t i = 0; i < count; ++i) expected.push_back(AlphaLast(plain.Render(i)));
      const Player player;
      const auto look = Look::Open(file);
      const auto play = [&](unsigned seed) {
        std::mt19937 random(seed);
        for (int i = 0; i < 12; ++i) {
          const auto frame = static_cast<std::int32_t>(random() % expected.size());
          FrameRequest request{.look = look, .width = plain.OutputWidth(), .height = plain.OutputHeight()};
          request.seconds = SecondsOf(scene, frame);
          ASSERT_EQ(Frame(player, request), expected[static_cast<std::size_t>(frame)]) << file << ' ' << frame;
        }
      };
      std::thread other(play, 1), third(play, 2);
      play(3);
      other.join();
      third.join();
    }
  }
}

// Far from the start frames begin at states that were kept on the way.
TEST(Bridge, ScrubbingGivesWhatAFreshPlayerGives) {
  for (const auto& file : GoldenScenes()) {
    const auto look = Look::Open(file);
    const Player scrubbing;
    std::mt19937 random(5);
    double seconds = 0;
    for (int i = 0; i < 24; ++i) {
      seconds = i % 8 == 0 ? static_cast<double>(random() % 12000) / 1000 : std::max(0.0, seconds - 1 / 24.0);
      const FrameRequest request{.look = look, .seconds = seconds, .width = 96, .height = 54};
      const Bytes frame = Frame(scrubbing, request);
      if (i % 4 != 3) continue;
      const Player fresh;
      ASSERT_EQ(frame, Frame(fresh, request)) << file << ' ' << seconds;
    }
  }
}

// An editor's film may change where the effect does not look for changes. Waves that found nothing in it come back.
TEST(Bridge, PicturesThatChangeLeaveNoMark) {
  struct Square final : PictureSource {
    bool Has(Layer layer) const override { return layer == Layer::kInput; }
    bool Moves(Layer) const override { return true; }
    stage::Picture PictureAt(Layer, const LookTime& time) override {
      stage::Picture picture(96, 54);
      const bool hasSquare = isShown || time.Seconds() < 0.1;
      for (std::size_t y = 20; hasSquare && y < 30; ++y) std::fill_n(&picture.bytes[(y * 96 + 40) * 4], 40, 255);
      return picture;
    }
    bool isShown = true;
  } square;
  FrameRequest request{.seconds = 0.5, .width = 96, .height = 54, .pictures = &square};
  request.look = Look::FromText(R"({"version": 1, "width": 96, "height": 54, "frameRate": 24, "duration": 4,
      "parameters": {"Wave Type": "Image Contours", "Frequency": 4, "Expansion": 1}})",
                                "square.json");
  const Player player;
  for (const bool isShown : {true, false, true}) {
    square.isShown = isShown;
    EXPECT_EQ(Frame(player, request), Frame(Player(), request));
    request.seconds += 0.5;
  }
}

TEST(Bridge, AnEditorsKeyframesAreTheScenes) {
  stage::EffectModule module(BuiltInEffect());
  const std::int32_t spin = module.Catalog().Find("Spin")->hostIndex;
  for (const auto& file : GoldenScenes()) {
    const stage::Scene scene = stage::ReadScene(file, module.Catalog());
    if (scene.emitters.size() > 1) continue;
    stage::Scene turned = scene;
    turned.emitters[0].tracks[static_cast<std::size_t>(spin)] = {};
    turned.emitters[0].tracks[static_cast<std::size_t>(spin)].keys = {{0, 77.0, {}}};
    stage::SceneRenderer plain(module, scene, {}), other(module, turned, {});
    const Player player;
    const auto look = Look::Open(file);
    Keyframes keys(scene);
    std::uint64_t stamp = 1;
    std::mt19937 random(7);
    for (int i = 0; i < 16; ++i) {
      const auto frame = static_cast<std::int32_t>(random() % static_cast<unsigned>(scene.time.frameCount));
      if (random() % 3 == 0) {
        keys.spinning = keys.spinning < 0 ? spin : -1;
        ++stamp;
      }
      FrameRequest request{.look = look, .width = scene.width, .height = scene.height, .params = &keys};
      request.seconds = SecondsOf(scene, frame);
      request.stamp = random() % 4 == 0 ? 0 : stamp;
      const stage::Picture expected = (keys.spinning < 0 ? plain : other).Render(frame);
      ASSERT_EQ(Frame(player, request), AlphaLast(expected)) << file << ' ' << frame;
    }
  }
}

}  // namespace
}  // namespace orvandel::bridge
