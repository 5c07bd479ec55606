// The library calls whose outcome depends on the machine's decoding hardware, as a table that tests can
// replace.
#pragma once

#include <functional>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

namespace veyrin {

/// Results are FFmpeg's: negative is an error code.
struct DecoderCalls {
  /// Whether the decoder gives D3D11 frames when its context has a device.
  std::function<bool(const AVCodec& decoder)> offers_d3d11va;
  /// Makes a D3D11VA device on the default adapter; the caller owns it.
  std::function<int(AVBufferRef** device)> create_d3d11va_device;
  /// Opens a context for the decoder.
  std::function<int(AVCodecContext* context, const AVCodec* decoder)> open;
  /// Takes the next picture out of the decoder.
  std::function<int(AVCodecContext* context, AVFrame* frame)> receive;
  /// Copies a GPU frame's picture into system memory.
  std::function<int(AVFrame* target, const AVFrame* source)> download;
  /// Makes a GPU frame's picture readable in place.
  std::function<int(AVFrame* target, const AVFrame* source)> map;
};

/// FFmpeg's own functions.
const DecoderCalls& ffmpeg_decoder_calls();

/// Chooses from the formats that a hardware decoder offers (AV_PIX_FMT_NONE at the end): D3D11 frames if they
/// are among them, else the first.
AVPixelFormat preferred_decoder_format(const AVPixelFormat* offered);

}  // namespace veyrin
