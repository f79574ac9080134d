#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "effect/host/registration.h"
#include "effect/platform/module_resource.h"
#include "stage/base/errors.h"
#include "stage/loading/registration_reader.h"
#include "stage/scene/outline_choice.h"
#include "stage/scene/scene_reader.h"
#include "stage/scene/svg_drawing.h"
#include "stage/scene/svg_path.h"
#include "tests/fuzz/targets.h"
#include "tests/stage/catalog_for_tests.h"

namespace orvandel::fuzz {
namespace {

std::string_view TextOf(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

// A complaint is one line that a terminal can show.
void ExpectPrintable(const std::string& complaint) {
  EXPECT_FALSE(complaint.empty());
  for (const char c : complaint) EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20) << complaint;
}

// The host's part: reads a file, so the bytes become one.
void ReadModuleFile(Bytes bytes) {
  const int file = memfd_create("module", 0);
  ASSERT_GE(file, 0);
  ASSERT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  try {
    const auto registration = stage::ReadRegistration("/proc/self/fd/" + std::to_string(file));
    registration.Text("name");
    registration.TerminatedText("8664");
    registration.Word("eGLO");
  } catch (const stage::WorkError& error) {
    ExpectPrintable(error.what());
  }
  close(file);
}

// The effect's part: its own resource in memory, here replaced by the bytes.
void ReadOwnResource(Bytes bytes) {
  const platform::ModuleHandle kept = platform::KeptModuleHandle();
  OrvResourceEntry directory[2] = {};
  std::copy_n(ORV_REGISTRATION_TYPE, 4, directory[0].type);
  directory[0].id = ORV_REGISTRATION_ID;
  directory[0].offset = sizeof directory;
  directory[0].size = static_cast<std::uint32_t>(bytes.size());
  std::vector<std::uint8_t> module(sizeof directory);
  std::memcpy(module.data(), directory, sizeof directory);
  module.insert(module.end(), bytes.begin(), bytes.end());
  platform::KeepModuleHandle(reinterpret_cast<platform::ModuleHandle>(module.data()));
  OrvOutRecord out{};
  EffectContext context;
  context.outRecord = &out;
  const std::int32_t code = ReadRegistration(context);
  EXPECT_TRUE(code == ORV_OK || code == ORV_INVALID_CALLBACK);
  EXPECT_LT(std::string_view(NameKey()).size(), 200U);
  platform::KeepModuleHandle(kept);
}

}  // namespace

void ReadSceneFrom(Bytes bytes) {
  static const stage::ParamCatalog catalog = stage::CatalogForTests();
  try {
    const stage::Scene scene = stage::ReadSceneText(TextOf(bytes), "/no/such/folder/scene.json", catalog);
    EXPECT_GT(scene.width, 0);
    EXPECT_GT(scene.height, 0);
  } catch (const stage::InputError& error) {
    ExpectPrintable(error.what());
  }
}

void ReadSvgPathFrom(Bytes bytes) {
  try {
    const stage::SvgPath path = stage::ParseSvgPath(TextOf(bytes));
    EXPECT_LE(path.path.segments.size(), stage::kMaxSegments);
    for (const auto& segment : path.path.segments) {
      for (const auto& point : {segment.p0, segment.c1, segment.c2, segment.p3}) {
        EXPECT_TRUE(std::isfinite(point.x) && std::isfinite(point.y));
      }
    }
  } catch (const stage::InputError& error) {
    ExpectPrintable(error.what());
  }
}

void DrawSvgFrom(Bytes bytes) {
  try {
    const stage::SvgFile file(std::string(TextOf(bytes)), "drawing.svg");
    const stage::SvgDrawing drawing = stage::DrawSvg(file, "");
    if (!drawing.complaint.empty()) ExpectPrintable(drawing.complaint);
    if (!drawing.outlines.empty()) {
      for (const stage::MaskPath& path : stage::ChooseOutlines(drawing, {}, "drawing.svg").paths) {
        EXPECT_FALSE(path.segments.empty());
      }
    }
  } catch (const stage::InputError& error) {
    ExpectPrintable(error.what());
  }
}

void ReadRegistrationFrom(Bytes bytes) {
  ReadModuleFile(bytes);
  ReadOwnResource(bytes);
}

}  // namespace orvandel::fuzz
