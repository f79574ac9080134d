// Where frames go that must come in their order: a film, or standard output.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "cli/render/output.h"
#include "stage/films/film_out.h"

namespace orvandel::cli {

// Destroyed without Finish, a film leaves no file.
class OrderedSink {
 public:
  virtual ~OrderedSink() = default;
  virtual void Put(std::span<const std::uint8_t> picture) = 0;  // as FillSlot leaves it
  virtual void Finish() = 0;
};

// Puts a picture into a slot as the sink takes it: for a film as a HostImage, for a stream as rows packed from the top
// with the alpha last. A picture that was drawn into the slot is only turned there. Returns what is left to do, as
// FrameWork::Make.
std::function<void()> FillSlot(const stage::PictureRows& picture, OutputKind kind, std::span<std::uint8_t> slot);

std::unique_ptr<OrderedSink> OpenSink(const Output& output, const stage::FilmOptions& film);

}  // namespace orvandel::cli
