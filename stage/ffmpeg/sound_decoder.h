// The sound of a file, decoded through the FFmpeg libraries frame by frame from its beginning, each with its place in
// time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "stage/ffmpeg/ffmpeg_support.h"

namespace orvandel::stage {

// Throws InputError with the file's name, as every function does.
class SoundDecoder {
 public:
  explicit SoundDecoder(std::filesystem::path file);

  int Rate() const { return codec_->sample_rate; }  // samples a second, above 0
  const AVCodecContext& Codec() const { return *codec_; }

  // The next frame with samples; false at the end. Every frame has the rate, form and channels of the first.
  bool Next();
  const AVFrame& Frame() const { return *frame_; }
  // How many samples lie between the file's time 0 and the frame's first one. A file with sound alone has its first
  // sample at 0. In a film both picture and sound go by the film's time stamps, so a sound may begin later than the
  // pictures, and may pause.
  std::int64_t Position() const { return position_; }

  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  void Open();
  bool Receive();
  bool Feed(const AvComplaints& complaints);
  void Place();

  std::filesystem::path file_;
  AvInput input_;
  AvCodec codec_;
  AvPacket packet_;
  AvFrame frame_;
  int stream_ = -1;
  bool besidePictures_ = false;
  bool atEnd_ = false;
  std::int64_t position_ = 0, next_ = 0;
  std::int64_t taken_ = 0;  // samples of one channel
};

}  // namespace orvandel::stage
