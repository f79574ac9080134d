#include "cli/render/picture_work.h"

#include <fmt/format.h>

#include <cstring>

#include "stage/base/errors.h"
#include "stage/stills/png_file.h"

namespace orvandel::cli {
namespace {

class PictureWork final : public FrameWork {
 public:
  PictureWork(const OutputPattern& pictures, const PictureForm& form) : pictures_(pictures), form_(form) {}

  void Make(std::int32_t frame, std::span<std::uint8_t> slot) override {
    const std::filesystem::path file = pictures_.For(frame);
    const stage::Picture picture = stage::ReadPng(file);
    if (picture.width != form_.width || picture.height != form_.height) {
      throw stage::InputError(fmt::format("{}: is {} x {}, not {} x {} as the film", file.string(), picture.width,
                                          picture.height, form_.width, form_.height));
    }
    std::memcpy(slot.data(), picture.bytes.data(), slot.size());
  }

 private:
  const OutputPattern& pictures_;
  PictureForm form_;
};

}  // namespace

std::unique_ptr<FrameWork> MakePictureWork(const OutputPattern& pictures, const PictureForm& form) {
  return std::make_unique<PictureWork>(pictures, form);
}

void RefuseImpossiblePictures(const OutputPattern& pictures, const Output& output) {
  if (!output.IsOrdered()) {
    throw stage::InputError("--from-pictures: only a film or standard output is made of pictures");
  }
  if (!pictures.HasNumber() || pictures.Extension() != ".png") {
    throw stage::InputError(
        fmt::format("--from-pictures: '{}' does not name numbered .png pictures; use NAME.####.png", pictures.Text()));
  }
}

}  // namespace orvandel::cli
