// The one writer of report, warning and error lines.
#pragma once

#include <string>

namespace veyrin {

/// Writes printf-style text to standard output and flushes it. Adds no line feed.
void console_log(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Writes one line: the text, then, as a separate write, a line feed.
void console_line(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Why a text could not be written to standard output, in the system's words: of the first that was lost
/// since the program began. Empty while none was. What a `ConsoleSilence` held back is not lost.
std::string console_failure();

/// Also writes everything to standard error from now on. Off unless set.
void set_console_mirror(bool enabled);

/// Holds back everything the console writer gets while an object of this class lives; objects nest.
/// Used where standard output must carry one answer and nothing else.
class ConsoleSilence {
 public:
  ConsoleSilence();
  ~ConsoleSilence();
  ConsoleSilence(const ConsoleSilence&) = delete;
  ConsoleSilence& operator=(const ConsoleSilence&) = delete;
};

}  // namespace veyrin
