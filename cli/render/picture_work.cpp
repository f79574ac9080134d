#include "cli/render/picture_work.h"

#include <fmt/format.h>

#include "cli/render/ordered_sink.h"
#include "stage/base/errors.h"
#include "stage/base/stage_clock.h"
#include "stage/stills/png_file.h"

namespace orvandel::cli {
namespace {

class PictureWork final : public FrameWork {
 public:
  PictureWork(const OutputPattern& pictures, const PictureForm& form, OutputKind into)
      : pictures_(pictures), form_(form), into_(into) {}

  std::function<void()> Make(std::int32_t frame, std::span<std::uint8_t> slot) override {
    const stage::StageTimer reading(stage::WorkStage::kReading);
    const std::filesystem::path file = pictures_.For(frame);
    const stage::Picture picture = stage::ReadPng(file);
    if (picture.width != form_.width || picture.height != form_.height) {
      throw stage::InputError(fmt::format("{}: is {} x {}, not {} x {} as the film", file.string(), picture.width,
                                          picture.height, form_.width, form_.height));
    }
    return FillSlot(picture, into_, slot);
  }

 private:
  const OutputPattern& pictures_;
  PictureForm form_;
  OutputKind into_;
};

}  // namespace

std::unique_ptr<FrameWork> MakePictureWork(const OutputPattern& pictures, const PictureForm& form, OutputKind into) {
  return std::make_unique<PictureWork>(pictures, form, into);
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
