// Whether a recording's sound can be copied into a container, told before anything is written.
#pragma once

#include <string>
#include <string_view>

#include "media/ffmpeg.h"

namespace veyrin {

/// Asks FFmpeg's muxer of this name, with a header that goes nowhere, whether it takes the sound. True also
/// when there is no such muxer or no memory for the question.
bool can_copy_sound(const char* muxer_name, const AVStream& sound);

/// The message for sound that cannot be copied: names its codec and `target`, and says what to do. An empty
/// `other_extension` means that no other container of the same movie would take it.
std::string sound_failure_text(const AVStream& sound, std::string_view target,
                               std::string_view other_extension);

}  // namespace veyrin
