// Reference frames: the bytes of reference_frames.tsv must come back whatever was rendered before.
//
// A frame that differs is written to the build's mismatch folder: where the folder pictures has what was expected, as
// expected, differing pixels and got side by side. With ORVANDEL_NEW_REFERENCE=FILE the fresh renders append their own
// lines to FILE and renew the pictures there are (script/approve); they are compared all the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "stage/loading/loaded_effect.h"
#include "stage/render/frame_renderer.h"
#include "stage/scene/scene_reader.h"
#include "stage/stills/png_file.h"
#include "tests/golden/reference_table.h"

namespace orvandel::stage {
namespace {

const std::filesystem::path kFolder = ORVANDEL_GOLDEN_DIR;
const std::filesystem::path kPictures = kFolder / "pictures";
const std::filesystem::path kMismatchFolder = ORVANDEL_MISMATCH_DIR;

const std::vector<Reference>& Table() {
  static const std::vector<Reference> table = ReadTable(kFolder);
  return table;
}

// In table order: the table keeps a scene's rows together, and a renewed table keeps its order.
std::vector<std::string> SceneNames() {
  std::vector<std::string> names;
  for (const Reference& row : Table()) names.push_back(row.scene);
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

// The name of a row's picture, in the reference's folder and in that of mismatches.
std::string PictureName(const Reference& row) {
  return std::filesystem::path(row.scene).stem().string() + '.' + row.quality + '.' + std::to_string(row.downsample) +
         '.' + std::to_string(row.frame) + ".png";
}

std::uint8_t* PixelOf(Picture& picture, std::int32_t x, std::int32_t y) {
  return &picture.bytes[static_cast<std::size_t>(y * picture.width + x) * 4];
}

// Pixels that differ are white between the two, all others black.
Picture SideBySide(Picture expected, Picture got) {
  const std::int32_t width = std::max(expected.width, got.width), height = std::max(expected.height, got.height);
  Picture all(3 * width, height);
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      const auto within = [x, y](const Picture& picture) { return x < picture.width && y < picture.height; };
      const bool both = within(expected) && within(got);
      if (within(expected)) std::copy_n(PixelOf(expected, x, y), 4, PixelOf(all, x, y));
      if (within(got)) std::copy_n(PixelOf(got, x, y), 4, PixelOf(all, 2 * width + x, y));
      const bool same = both && std::equal(PixelOf(expected, x, y), PixelOf(expected, x, y) + 4, PixelOf(got, x, y));
      std::uint8_t* between = PixelOf(all, width + x, y);
      std::fill_n(between, 4, same ? 0 : 255);
      between[0] = 255;
    }
  }
  return all;
}

std::filesystem::path KeepMismatch(const Reference& row, const Picture& picture) {
  std::filesystem::create_directories(kMismatchFolder);
  const auto file = kMismatchFolder / PictureName(row), expected = kPictures / PictureName(row);
  WritePng(file, std::filesystem::exists(expected) ? SideBySide(ReadPng(expected), picture) : picture);
  return file;
}

class Golden : public testing::TestWithParam<std::string> {
 protected:
  Golden() : scene_(ReadScene(kFolder / "scenes" / GetParam(), module_.Catalog())) {
    for (const Reference& row : Table()) {
      if (row.scene == GetParam()) rows_.push_back(row);
    }
  }

  FrameRenderer RendererFor(const Reference& row) {
    RenderOptions options;
    options.highQuality = row.quality == "full";
    options.downsample = row.downsample;
    return FrameRenderer(module_, scene_, 0, options);
  }

  // Renders `rows`, all of one quality and size, on one sequence in the order given.
  void RenderOnOneSequence(const std::vector<Reference>& rows) {
    FrameRenderer renderer = RendererFor(rows.front());
    std::string order;
    for (const Reference& row : rows) {
      order += ' ' + std::to_string(row.frame);
      Compare(row, renderer.Render(row.frame), "in the order" + order);
    }
  }

  void Compare(const Reference& row, const Picture& picture, const std::string& how) {
    const std::string hash = HashOf(picture);
    if (hash == row.hash) return;
    ADD_FAILURE() << row.scene << " frame " << row.frame << ", " << row.quality << " 1/" << row.downsample << ", "
                  << picture.width << "x" << picture.height << ", rendered " << how << ": hash " << hash << ", not "
                  << row.hash << "; picture kept as " << KeepMismatch(row, picture).string();
  }

  // The scene's rows, one list for every quality and size.
  std::vector<std::vector<Reference>> Sequences() const {
    std::vector<std::vector<Reference>> sequences;
    for (const Reference& row : rows_) {
      if (sequences.empty() || !sequences.back().front().SameSequence(row)) sequences.emplace_back();
      sequences.back().push_back(row);
    }
    return sequences;
  }

  EffectModule module_{LoadEffect(DefaultModulePath())};
  Scene scene_;
  std::vector<Reference> rows_;
};

TEST_P(Golden, FreshStart) {
  const char* newReference = std::getenv("ORVANDEL_NEW_REFERENCE");
  for (const Reference& row : rows_) {
    const Picture picture = RendererFor(row).Render(row.frame);
    Compare(row, picture, "from a fresh start");
    if (newReference == nullptr) continue;
    Reference renewed = row;
    renewed.hash = HashOf(picture);
    std::ofstream(newReference, std::ios::app) << renewed.Text() << '\n';
    const auto expected = kPictures / PictureName(row);
    if (std::filesystem::exists(expected)) WritePng(expected, picture);
  }
}

TEST_P(Golden, TableOrder) {
  for (const auto& rows : Sequences()) RenderOnOneSequence(rows);
}

TEST_P(Golden, ShuffledOrders) {
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    std::mt19937 random(seed);
    for (auto rows : Sequences()) {
      rows.push_back(rows.front());  // one frame twice
      std::shuffle(rows.begin(), rows.end(), random);
      RenderOnOneSequence(rows);
    }
  }
}

TEST(GoldenPictures, AreThoseOfTheTable) {
  std::ptrdiff_t pictures = 0;
  for (const Reference& row : Table()) {
    if (!std::filesystem::exists(kPictures / PictureName(row))) continue;
    EXPECT_EQ(HashOf(ReadPng(kPictures / PictureName(row))), row.hash) << PictureName(row);
    ++pictures;
  }
  EXPECT_EQ(pictures, std::distance(std::filesystem::directory_iterator(kPictures), {})) << "one belongs to no row";
}

INSTANTIATE_TEST_SUITE_P(Scenes, Golden, testing::ValuesIn(SceneNames()),
                         [](const auto& instance) { return std::filesystem::path(instance.param).stem().string(); });

}  // namespace
}  // namespace orvandel::stage
