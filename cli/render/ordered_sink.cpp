#include "cli/render/ordered_sink.h"

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "cli/interrupt.h"
#include "stage/base/errors.h"

namespace orvandel::cli {
namespace {

class Film final : public OrderedSink {
 public:
  Film(const std::filesystem::path& file, const stage::FilmOptions& options)
      : unfinished_(stage::PartialFile(file, options.ifTaken).WorkName()),
        writer_(stage::OpenFilm(file, options)),
        picture_(options.width, options.height) {}

  void Put(std::span<const std::uint8_t> picture) override {
    std::memcpy(picture_.bytes.data(), picture.data(), picture_.bytes.size());
    writer_->Add(picture_);
  }
  void Finish() override { writer_->Finish(); }

 private:
  UnfinishedFile unfinished_;
  std::unique_ptr<stage::FilmWriter> writer_;
  stage::Picture picture_;
};

constexpr int kPollMilliseconds = 100;

class RawStream final : public OrderedSink {
 public:
  void Put(std::span<const std::uint8_t> picture) override {
    bytes_.resize(picture.size());
    for (std::size_t i = 0; i + 3 < picture.size(); i += 4) {
      bytes_[i] = picture[i + 1];
      bytes_[i + 1] = picture[i + 2];
      bytes_[i + 2] = picture[i + 3];
      bytes_[i + 3] = picture[i];
    }
    for (std::size_t done = 0; done < bytes_.size();) done += WriteSome(done);
    ++pictures_;
  }
  void Finish() override {}

 private:
  // A reader that takes nothing must not keep the person from stopping the render, so no write blocks: a pipe that has
  // room takes PIPE_BUF bytes at once.
  std::size_t WriteSome(std::size_t from) const {
    if (StopRequested()) throw stage::Interrupted();
    pollfd room{STDOUT_FILENO, POLLOUT, 0};
    if (poll(&room, 1, kPollMilliseconds) <= 0) return 0;
    const ssize_t written =
        write(STDOUT_FILENO, bytes_.data() + from, std::min<std::size_t>(PIPE_BUF, bytes_.size() - from));
    if (written >= 0) return static_cast<std::size_t>(written);
    if (errno == EINTR || errno == EAGAIN) return 0;
    if (errno == EPIPE) {
      throw stage::WorkError(
          fmt::format("standard output: its reader left after {} frame{}", pictures_, pictures_ == 1 ? "" : "s"));
    }
    throw stage::WorkError(fmt::format("standard output cannot be written: {}", std::strerror(errno)));
  }

  std::vector<std::uint8_t> bytes_;
  std::int64_t pictures_ = 0;  // written whole
};

}  // namespace

std::unique_ptr<OrderedSink> OpenSink(const Output& output, const stage::FilmOptions& film) {
  if (output.kind == OutputKind::kStream) return std::make_unique<RawStream>();
  return std::make_unique<Film>(output.FileOf(0), film);
}

}  // namespace orvandel::cli
