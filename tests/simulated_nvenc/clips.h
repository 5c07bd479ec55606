// Test clips that are encoded by FFmpeg's NVENC encoders and decoded again.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/ffmpeg.h"

namespace veyrin::test {

/// A picture that is passed to the encoder.
struct Send {
  int view = 0;
  std::int64_t moment = 0;  ///< what is painted
  std::int64_t pts = 0;
  bool key = false;
};

struct EncodeRequest {
  std::string encoder = "hevc_nvenc";
  AVPixelFormat format = AV_PIX_FMT_NV12;
  int width = 208;
  int height = 120;
  bool global_header = false;
  std::vector<std::pair<std::string, std::string>> options;
  std::vector<Send> pictures;
  bool displays = false;            ///< every picture carries the record of the reference displays
  AVBufferRef* surfaces = nullptr;  ///< GPU frames that the pictures are passed in; borrowed
};

/// `count` moments of one view.
std::vector<Send> one_view(int count);
/// `count` moments of two views, view 0 first.
std::vector<Send> two_views(int count);

struct EncodeRun {
  int open_result = 0;
  int encode_result = 0;  ///< result of the first call that failed
  std::string headers;
  std::vector<PacketPtr> packets;
};

EncodeRun encode(const EncodeRequest& request);

/// The picture that was sent.
FramePtr painted(const EncodeRequest& request, int view, std::int64_t moment);

/// Joins packets in pairs and decodes them: the frames of each view in display order. Throws when the decoder
/// fails.
std::array<std::vector<FramePtr>, 2> decode_views(const EncodeRun& run);

/// The frames of a stream of one view, in display order. Throws when the decoder fails.
std::vector<FramePtr> decode_one_view(const EncodeRun& run, AVCodecID codec);

/// Of the luma of both, over all the frames; the first is a view that was sent.
double luma_psnr(const EncodeRequest& sent, int view, const std::vector<FramePtr>& decoded);
/// PSNR in dB that an encoder must reach with such pictures.
inline constexpr double good_psnr = 38;

/// All packets concatenated to a stream of one view.
std::string elementary_stream(const EncodeRun& run);

}  // namespace veyrin::test
