// Writes pairs of rectified eyes as one two-view movie.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "media/ffmpeg.h"
#include "media/video_types.h"
#include "spatial/two_view_encoder.h"

namespace veyrin {

/// The coefficient table of libswscale (SWS_CS_...) for a matrix; that of BT.601 for all without a table.
int swscale_coefficients(AVColorSpace matrix);

/// One eye's converter. It is set up for full-range packed BGR, with the target's matrix and range; an eye
/// that is in the target's format already is copied as it is.
class EyeConverter {
 public:
  /// For eyes of the size, format and colour tags of `target`, a frame of the encoder; null with one message
  /// in `error` on failure.
  [[nodiscard]] static std::unique_ptr<EyeConverter> create(const AVFrame& target, std::string& error);

  /// Fills `target`, whose buffers may still be in use elsewhere and are replaced then. Both frames have the
  /// same size.
  [[nodiscard]] bool convert(const AVFrame& eye, AVFrame& target, std::string& error);

 private:
  EyeConverter(ScalerPtr scaler, AVPixelFormat source) : scaler_(std::move(scaler)), source_(source) {}
  [[nodiscard]] bool fit_to(const AVFrame& eye, const AVFrame& target);

  ScalerPtr scaler_;
  AVPixelFormat source_;  // what the scaler takes
};

/// A movie whose header is written. To be used from one thread; after a failure it can only be destroyed,
/// which leaves an unfinished file.
class SpatialVideoWriter {
 public:
  /// Creates the QuickTime file for an open encoder, which the writer takes over, and writes its header; null
  /// with one message in `error` on failure.
  [[nodiscard]] static std::unique_ptr<SpatialVideoWriter> create(const SpatialWriterConfig& config,
                                                                  std::unique_ptr<TwoViewEncoder> encoder,
                                                                  std::string& error);

  virtual ~SpatialVideoWriter() = default;

  /// Encodes one pair. Both eyes have the writer's size, best in the encoder's own format. `pts` counts
  /// output frames.
  [[nodiscard]] virtual bool write_eye_pair(const AVFrame& left, const AVFrame& right, std::int64_t pts,
                                            std::string& error) = 0;

  /// True when the movie has an audio track.
  [[nodiscard]] virtual bool has_audio() const = 0;

  /// Copies one packet of the source's sound, its times in the source's time base. Does nothing without an
  /// audio track.
  [[nodiscard]] virtual bool write_audio_packet(const AVPacket& packet, std::string& error) = 0;

  /// Writes out everything pending, completes the file and reads its description of both views again. Once
  /// that has succeeded it may be called again and does nothing.
  [[nodiscard]] virtual bool finish(std::string& error) = 0;
};

}  // namespace veyrin
