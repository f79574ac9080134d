// A string of commands on two sequences and two instances, as dice decide: set-ups and set-downs in any order and
// number, unknown selectors, edits, renders at any time, at other qualities and sizes or without pixels, an
// instance ended, the module loaded anew. Callbacks fail, throw or stop the work now and then, and memory runs out;
// every other frame must equal the same frame of a fresh sequence, and nothing may stay lent.
#pragma once

#include <array>
#include <functional>
#include <string>

#include "tests/faults/variant.h"
#include "tests/support/dice.h"

namespace orvandel::test {

class Walk {
 public:
  using Reload = std::function<OrvFilterMain()>;  // empty: the module stays

  Walk(Dice dice, OrvFilterMain entry, Reload reload);

  // To the global set-down, with expectations on the way.
  void Run();
  std::int64_t Frames() const { return frames_; }

 private:
  struct Sequence {
    OrvHandle data = nullptr;
    std::size_t variant = 0;
  };

  std::size_t Pick(std::size_t count) { return dice_(static_cast<std::uint32_t>(count)); }
  std::string Log() const { return "; commands:" + log_; }
  bool ParamsKnown() const { return !host_.definitions.empty(); }
  void Next();
  void Use(const Sequence& sequence);
  void AskFor(std::size_t terms);
  void Command(std::int32_t selector);
  std::int32_t SomeTime();
  void RenderSomeFrame();
  void BreakSomething();
  void EndInstance();
  void ChangeInstance();
  void LoadAnew();
  void ExpectOrder();

  FakeHost host_;
  Reload reload_;
  Dice dice_;
  std::array<Sequence, 2> sequences_;
  Sequence* current_ = sequences_.data();
  std::size_t terms_ = 0;
  OrvHandle otherInstance_ = nullptr;
  std::string log_;
  std::int64_t frames_ = 0;
};

}  // namespace orvandel::test
