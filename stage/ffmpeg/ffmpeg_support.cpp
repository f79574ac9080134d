#include "stage/ffmpeg/ffmpeg_support.h"

extern "C" {
#include <libavutil/log.h>
}

#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>

namespace orvandel::stage {
namespace {

thread_local std::string* complaint = nullptr;

void KeepComplaint(void*, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_ERROR || complaint == nullptr || !complaint->empty()) return;
  std::array<char, 256> line{};
  std::vsnprintf(line.data(), line.size(), format, arguments);
  std::string text(line.data());
  while (!text.empty() && (text.back() == '\n' || text.back() == '.')) text.pop_back();
  *complaint = text;
}

template <typename Object>
Object* OrBadAlloc(Object* object) {
  if (object == nullptr) throw std::bad_alloc();
  return object;
}

}  // namespace

AvFrame NewFrame() { return AvFrame(OrBadAlloc(av_frame_alloc())); }

AvPacket NewPacket() { return AvPacket(OrBadAlloc(av_packet_alloc())); }

AvCodec NewCodec(const AVCodec* codec) { return AvCodec(OrBadAlloc(avcodec_alloc_context3(codec))); }

std::string AvErrorText(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return text.data();
}

AvComplaints::AvComplaints() : previous_(complaint) {
  static std::once_flag once;
  std::call_once(once, [] { av_log_set_callback(KeepComplaint); });
  complaint = &first_;
}

AvComplaints::~AvComplaints() { complaint = previous_; }

std::string AvComplaints::Explain(int code) const {
  // The complaint goes on with the whole list.
  if (first_.find("not on whitelist") != std::string::npos) return "files of this kind are not read";
  return first_.empty() ? AvErrorText(code) : AvErrorText(code) + " (" + first_ + ")";
}

AVRational ToAvRational(std::int64_t num, std::int64_t den) {
  AVRational result{};
  av_reduce(&result.num, &result.den, num, den, INT_MAX);
  return result;
}

}  // namespace orvandel::stage
