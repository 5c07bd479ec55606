// Decoders that are nothing but a way to the graphics hardware.
#pragma once

#include "media/ffmpeg.h"

namespace veyrin {

/// Whether nothing but graphics hardware can decode the stream of an opened file: FFmpeg names a decoder for
/// its codec, which says with the first packet that it has no software for it. Asks by opening the file once
/// more, and only those decoders that could answer so: software for today's codecs works on several threads.
[[nodiscard]] bool needs_hardware_decoder(const AVFormatContext& input, int stream);

/// Whether an error of a decoder for memory frames says that it works on hardware only.
[[nodiscard]] bool means_hardware_only(int decoder_error);

/// Prints "  video stream N is CODEC, which can be decoded by graphics hardware only".
void report_hardware_only(const AVStream& stream);

}  // namespace veyrin
