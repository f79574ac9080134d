// An optional part of the stage, behind the interface by which the core asks for it.
//
// A part is chosen by linking it in: its one object registers itself here while the program starts, and a program
// without it refuses what needs it. So the core builds where the libraries behind its additions do not exist.
#pragma once

namespace orvandel::stage {

template <typename Interface>
class Addition {
 public:
  // `part` must live as long as the program.
  explicit Addition(const Interface& part) { there = &part; }
  // Null: the program has no such part.
  static const Interface* Find() { return there; }

 private:
  static inline const Interface* there = nullptr;
};

}  // namespace orvandel::stage
