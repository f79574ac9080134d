// The video stream of one file, decoded picture by picture through the FFmpeg libraries.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "stage/ffmpeg/ffmpeg_support.h"

namespace orvandel::stage {

// Only plain files are opened, and no format that leads to other files. Every function throws InputError with the
// file's name.
class VideoStream {
 public:
  explicit VideoStream(const std::filesystem::path& file);

  // A still picture (PNG, JPEG, ...), which has no time. A damaged one is refused rather than shown in part.
  bool IsStill() const { return still_; }
  // The libraries deliver rendered drawings (SVG) with colours multiplied by alpha.
  bool IsPremultiplied() const { return codec_->codec_id == AV_CODEC_ID_SVG; }
  AVRational TimeBase() const { return stream_->time_base; }

  // The next picture in presentation order; false at the end. Time stamps rise from picture to picture.
  bool Next(AVFrame& frame);
  // Continues from a picture at or before `timeStamp` (in units of TimeBase) where the format can seek, else from the
  // start of the file.
  void GoBefore(std::int64_t timeStamp);
  // Continues from the start of the file.
  void Restart();

  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  void Open();
  void OpenDecoder();
  [[noreturn]] void FailDecoding(const std::string& reason) const;
  bool Receive(AVFrame& frame, const AvComplaints& complaints);
  void Feed(const AvComplaints& complaints);
  void GiveTime(AVFrame& frame);

  std::filesystem::path file_;
  AvInput input_;
  AvCodec codec_;
  AvPacket packet_;
  AVStream* stream_ = nullptr;  // of input_
  bool still_ = false;
  bool drained_ = false;    // the decoder has been told that no packet follows
  bool afterSeek_ = false;  // pictures that depend on skipped ones may follow
  std::int64_t lastTime_ = AV_NOPTS_VALUE;
};

}  // namespace orvandel::stage
