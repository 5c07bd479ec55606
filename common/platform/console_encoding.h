// What the console takes the program's bytes for.
#pragma once

namespace veyrin::platform {

/// Lets the console show UTF-8 while it lives, of which there may be one at a time; without effect where it
/// always does, or where there is no console.
class Utf8Console {
 public:
  Utf8Console();
  // NOLINTNEXTLINE(performance-trivially-destructible): on Windows there is something to undo.
  ~Utf8Console();
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
};

}  // namespace veyrin::platform
