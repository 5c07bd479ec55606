// HEVC encoding in a separately packaged FFmpeg program with libx265, fed with raw frames through a pipe.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "common/platform/child_process.h"
#include "convert/movie_output.h"
#include "convert/packaged_encoder_arguments.h"
#include "media/raw_picture.h"

struct AVFrame;

namespace veyrin {

/// How long the packaged program may take to show that its libx265 works.
inline constexpr std::chrono::milliseconds packaged_probe_limit{30000};

/// Encodes one tiny picture with `executable`; true only when it exits with 0 within `limit`.
[[nodiscard]] bool probe_packaged_encoder(const std::filesystem::path& executable, BitDepth depth,
                                          std::chrono::milliseconds limit = packaged_probe_limit);

/// The converter's end of one running packaged encoder. Driven by one thread, the one that created it and
/// that stays alive until `finish`: the child does not outlive it. Destruction without a successful `finish`
/// kills the child, and removes the output when the child has created it and written nothing.
class PackagedSoftwareEncoder {
 public:
  /// The program named by `VEYRIN_FFMPEG_GPL`, else "ffmpeg-gpl" beside the converter; empty on failure.
  static std::filesystem::path locate();

  /// Whether the program is there and encodes in the given depth.
  [[nodiscard]] static bool check_availability(BitDepth depth, std::string& error);

  /// Starts the child; null with one message in `error`. The caller has checked availability, which takes
  /// about as long as encoding a few frames and is not repeated here.
  [[nodiscard]] static std::unique_ptr<PackagedSoftwareEncoder> create(const SoftwareEncodeRequest& request,
                                                                       std::string& error);

  ~PackagedSoftwareEncoder();
  PackagedSoftwareEncoder(const PackagedSoftwareEncoder&) = delete;
  PackagedSoftwareEncoder& operator=(const PackagedSoftwareEncoder&) = delete;

  /// Sends one picture of the request's size, P010 or planar 8-bit 4:2:0 as the request says. Blocks while
  /// the child is behind.
  [[nodiscard]] bool write_frame(const AVFrame* frame, std::string& error);

  /// Ends the input, waits for the child and runs the finish pass. Succeeds at once when it already has.
  [[nodiscard]] bool finish(std::string& error);

 private:
  PackagedSoftwareEncoder(SoftwareEncodeRequest request, bool output_is_new,
                          std::unique_ptr<platform::ChildProcess> child);

  SoftwareEncodeRequest request_;  ///< with absolute paths
  bool output_is_new_;
  std::int64_t frames_written_ = 0;
  BytePieces pieces_;  // of the frame being sent; kept to save the allocations
  std::unique_ptr<platform::ChildProcess> child_;
  bool finished_ = false;
};

/// A movie encoded, muxed and given its audio by the packaged encoder's process, which is started for
/// canvases of the request's size and depth and has been checked; null with one message in `error` on
/// failure.
[[nodiscard]] std::unique_ptr<MovieSink> create_packaged_movie(const SoftwareEncodeRequest& request,
                                                               std::string& error);

}  // namespace veyrin
