#include "cli/render/ordered_sink.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "cli/interrupt.h"
#include "stage/base/errors.h"
#include "stage/base/stage_clock.h"
#include "stage/picture/host_image.h"
#include "stage/picture/pixel_order.h"

namespace orvandel::cli {
namespace {

// Encoders ask for the same large blocks for each picture. The C library would give each back to the system when it is
// freed, which has to clear it for the next picture. Only in the process that encodes: the others' memory is estimated
// to be theirs only while they use it.
void KeepFreedMemory() {
#ifdef __GLIBC__
  constexpr int kLargestKept = 32 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargestKept);
  mallopt(M_TRIM_THRESHOLD, 8 * kLargestKept);
#endif
}

class Film final : public OrderedSink {
 public:
  Film(const std::filesystem::path& file, const stage::FilmOptions& options)
      : unfinished_(stage::PartialFile(file, options.ifTaken).WorkName()),
        width_(options.width),
        height_(options.height) {
    KeepFreedMemory();
    writer_ = stage::OpenFilm(file, options);
  }

  void Put(std::span<const std::uint8_t> picture) override {
    writer_->Add(stage::HostImage::RowsIn(width_, height_, picture));
  }
  void Finish() override { writer_->Finish(); }

 private:
  UnfinishedFile unfinished_;
  std::unique_ptr<stage::FilmWriter> writer_;
  std::int32_t width_, height_;
};

constexpr int kPollMilliseconds = 100;

// Standard output, written so that a reader that takes nothing does not keep the person from stopping the render.
class StandardOutput {
 public:
  StandardOutput() {
    struct stat status {};
    if (fstat(STDOUT_FILENO, &status) != 0) return;
    if (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode)) atOnce_ = kManyBytes;  // a device here is no terminal
    if (!S_ISFIFO(status.st_mode)) return;
    // A descriptor of our own, so that other programs that share the first one are not affected by O_NONBLOCK.
    const int own = open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (own < 0) return;
    descriptor_ = own;
    atOnce_ = kManyBytes;
    fcntl(own, F_SETPIPE_SZ, static_cast<int>(kManyBytes));  // where that is more than allowed, it stays as it is
  }
  ~StandardOutput() {
    if (descriptor_ != STDOUT_FILENO) close(descriptor_);
  }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  // How many bytes were taken, which may be none; -1 with errno after a failure.
  ssize_t WriteSome(const std::uint8_t* bytes, std::size_t size) const {
    pollfd room{descriptor_, POLLOUT, 0};
    if (poll(&room, 1, kPollMilliseconds) <= 0) return 0;
    const ssize_t written = write(descriptor_, bytes, std::min(atOnce_, size));
    return written < 0 && (errno == EINTR || errno == EAGAIN) ? 0 : written;
  }

 private:
  static constexpr std::size_t kManyBytes = std::size_t{1} << 20;

  int descriptor_ = STDOUT_FILENO;
  std::size_t atOnce_ = PIPE_BUF;  // what a pipe that has any room takes without blocking
};

class RawStream final : public OrderedSink {
 public:
  explicit RawStream(std::size_t pictureBytes) : pictureBytes_(pictureBytes) {}
  void Put(std::span<const std::uint8_t> slot) override {
    const stage::StageTimer writing(stage::WorkStage::kWriting);
    std::span<const std::uint8_t> picture = slot.first(pictureBytes_);
    while (!picture.empty()) picture = picture.subspan(WriteSome(picture));
    ++pictures_;
  }
  void Finish() override {}

 private:
  std::size_t WriteSome(std::span<const std::uint8_t> bytes) const {
    if (StopRequested()) throw stage::Interrupted();
    const ssize_t written = output_.WriteSome(bytes.data(), bytes.size());
    if (written >= 0) return static_cast<std::size_t>(written);
    if (errno == EPIPE) {
      throw stage::WorkError(
          fmt::format("standard output: its reader left after {} frame{}", pictures_, pictures_ == 1 ? "" : "s"));
    }
    throw stage::WorkError(fmt::format("standard output cannot be written: {}", std::strerror(errno)));
  }

  StandardOutput output_;
  std::size_t pictureBytes_;
  std::int64_t pictures_ = 0;  // written whole
};

}  // namespace

std::function<void()> FillSlot(const stage::PictureRows& picture, OutputKind kind, std::span<std::uint8_t> slot) {
  const bool isThere = picture.top == slot.data();
  if (kind == OutputKind::kStream) {
    const auto turn = [picture, slot] {
      const stage::StageTimer encoding(stage::WorkStage::kEncoding);
      std::uint8_t* out = slot.data();
      for (std::int32_t y = 0; y < picture.height; ++y, out += picture.RowSize()) {
        stage::CopyAlphaLast(picture.Row(y), out, static_cast<std::size_t>(picture.width));
      }
    };
    if (isThere) return turn;
    turn();
    return {};
  }
  const stage::StageTimer encoding(stage::WorkStage::kEncoding);
  const stage::PictureRows rows = stage::HostImage::RowsIn(picture.width, picture.height, slot);
  for (std::int32_t y = 0; !isThere && y < picture.height; ++y) {
    std::memcpy(slot.data() + rows.rowBytes * y, picture.Row(y), picture.RowSize());
  }
  return {};
}

std::unique_ptr<OrderedSink> OpenSink(const Output& output, const stage::FilmOptions& film) {
  if (output.kind == OutputKind::kStream) {
    return std::make_unique<RawStream>(static_cast<std::size_t>(film.width) * static_cast<std::size_t>(film.height) *
                                       4);
  }
  return std::make_unique<Film>(output.FileOf(0), film);
}

}  // namespace orvandel::cli
