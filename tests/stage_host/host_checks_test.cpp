// The host against an effect that does one thing wrong at a time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "media_files.h"
#include "stage/base/errors.h"
#include "stage/loading/loaded_effect.h"
#include "stage/module/effect_module.h"
#include "stage/module/module_session.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene_reader.h"
#include "stage/stills/png_file.h"

namespace orvandel::stage {
namespace {

class FaultyEffect : public testing::Test {
 protected:
  FaultyEffect() : module(LoadEffect(FAULTY_MODULE_FILE)) {
    WritePng(folder / "layer.png", Picture(3, 3));
    scene = ReadSceneText(R"({"version": 1, "width": 20, "height": 10, "frameRate": 30, "duration": 5,
      "layers": {"l": "layer.png"}, "masks": {"m": {"d": "M 1 1 L 9 1 L 5 8 Z"}},
      "parameters": {"Picture": "l", "Fault": 0}})",
                          folder / "scene.json", module.Catalog());
  }

  // What a render with the fault ends in; "" when it succeeds.
  std::string Outcome(int fault, bool stop = false) {
    scene.emitters[0].tracks[1].keys = {{0, static_cast<double>(fault), {}}};
    RenderOptions options;
    options.shouldStop = [stop] { return stop; };
    FrameRenderer renderer(module, scene, 0, options);
    try {
      const Picture picture = renderer.Render(3);
      EXPECT_EQ(picture.bytes[1], fault);
      return "";
    } catch (const EffectError& error) {
      return "effect " + std::to_string(error.code) + " " + error.message;
    } catch (const Interrupted&) {
      return "interrupted";
    } catch (const WorkError& error) {
      return error.what();
    }
  }

  TempFolder folder;
  EffectModule module;
  Scene scene;
};

TEST_F(FaultyEffect, IsLearntAndRegistered) {
  EXPECT_EQ(module.GetIdentity().name, "b=c") << "what follows the first equals sign";
  EXPECT_EQ(module.GetIdentity().category, "Tests") << "a text that is no key is shown as it is";
  EXPECT_NE(module.Catalog().Find("Fault"), nullptr) << "blanks around a name do not belong to it";
  EXPECT_EQ(module.Complaints().size(), 8u) << "the resource says nothing at all";
}

TEST_F(FaultyEffect, IsCaught) {
  struct Case {
    int fault;
    const char* told;
  };
  constexpr Case kCases[] = {
      {1, "parameter 1 still lent"},
      {2, "not checked out"},
      {3, "beside the output's pixels"},
      {4, "lent for reading"},
      {5, "lent for reading"},
      {6, "foreign effect reference"},
      {7, "another step or scale"},
      {9, "mask path"},
      {10, "length query"},
      {11, "service"},
      {12, "segment 99 of 3"},
      {13, "behind the end"},
      {17, "a further parameter"},
      {16, "effect 77 no\nluck"},
  };
  for (const Case& c : kCases) {
    const std::string outcome = Outcome(c.fault);
    EXPECT_NE(outcome.find(c.told), std::string::npos) << c.fault << ": " << outcome;
    EXPECT_EQ(Outcome(0), "") << "the fault before it is forgotten";
  }
}

// Pictures that were lent are not read again after every frame.
TEST_F(FaultyEffect, HidesNoWriteBehindItsLastFrame) {
  for (int good = 0; good < 12; ++good) {
    FrameRenderer renderer(module, scene, 0, {});
    const auto render = [&](int fault) {
      scene.emitters[0].tracks[1].keys = {{0, static_cast<double>(fault), {}}};
      renderer.SceneChanged();
      renderer.Render(3);
    };
    for (int i = 0; i < good; ++i) render(0);
    const auto last = [&] {
      render(4);
      renderer.Finish();
    };
    EXPECT_THAT(ErrorOf<WorkError>(last), testing::HasSubstr("lent for reading")) << good;
  }
}

TEST_F(FaultyEffect, StopsWhenItIsTold) {
  EXPECT_EQ(Outcome(15, true), "interrupted");
  EXPECT_EQ(Outcome(15, false), "");
  EXPECT_NE(Outcome(14, true).find("went on asking"), std::string::npos);
  EXPECT_EQ(Outcome(14, false), "");
}

TEST_F(FaultyEffect, LeavesAHandle) {
  EXPECT_EQ(Outcome(8), "") << "a handle may stay for the sequence";
  EXPECT_NE(module.Internals().ledger.EndAll(), "");
  EXPECT_THROW(module.SetDown(), WorkError) << "but not for ever";
}

TEST(EffectModule, SaysWhyItCannotBeLoaded) {
  const TempFolder folder;
  WriteBytes(folder / "text.so", {'h', 'i'});
  for (const auto& file : {folder / "absent.so", folder / "text.so"}) {
    EXPECT_THAT(ErrorOf<WorkError>([&] { EffectModule(LoadEffect(file)); }), testing::StartsWith(file.string()));
  }
}

}  // namespace
}  // namespace orvandel::stage
