// Encoders that code both eyes as two views of one stream, and what they are made with.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "common/platform/output_file.h"
#include "media/ffmpeg.h"
#include "media/video_types.h"

struct AVCodecParameters;

namespace veyrin {

/// The cameras of a rectified recording. Width and focal length are those of the same pixel grid, whatever
/// size the eyes are written in.
struct RectifiedStereoGeometry {
  std::int32_t left_width = 0;
  std::int32_t right_width = 0;
  double left_focal_length = 0.0;  ///< pixels
  double right_focal_length = 0.0;
  std::array<float, 3> translation{};  ///< from one camera to the other, metres
};

/// Length of the translation between the cameras, in millimetres.
double camera_distance_mm(const RectifiedStereoGeometry& geometry);

/// Across the mean of both eyes, in degrees.
double horizontal_field_of_view_degrees(const RectifiedStereoGeometry& geometry);

struct SpatialWriterConfig {
  std::filesystem::path companion_path;  ///< the recording; carried along, not read by the writer
  std::filesystem::path output_path;
  platform::OutputFile::Opening output_opening = platform::OutputFile::Opening::create;
  Size eye;  ///< as written, padding included
  FrameRate frame_rate{30, 1};
  std::int64_t bit_rate = 0;        ///< of both views together, bits per second
  double camera_distance_mm = 0.0;  ///< between the two lenses
  double horizontal_field_of_view_degrees = 0.0;
  TimeRange range;   ///< carried along: what the writer is given is trimmed already
  ColorTags colors;  ///< defaults filled in
  const AVCodecParameters* audio_parameters = nullptr;  ///< borrowed until the writer is open; null: no sound
  AVRational audio_time_base{0, 1};
  BitDepth depth = BitDepth::eight;
};

/// Gives an empty frame buffers for an eye, its colour tags, and chroma samples at the left; false with one
/// message in `error` on failure.
[[nodiscard]] bool allocate_eye_frame(AVFrame& frame, AVPixelFormat format, Size eye, RowLayout rows,
                                      const ColorTags& colors, std::string& error);

/// One open encoder, driven by one thread.
class TwoViewEncoder {
 public:
  /// Takes one coded sample: both views of one moment, the left one first, times in `time_base`. The packet
  /// may be consumed. False with one message in `error` ends the encoding.
  using SampleSink = std::function<bool(AVPacket& sample, std::string& error)>;

  virtual ~TwoViewEncoder() = default;

  /// The stream with both views, for the track of a movie.
  [[nodiscard]] virtual const AVCodecParameters& parameters() const = 0;
  /// One output frame.
  [[nodiscard]] virtual AVRational time_base() const = 0;

  /// Gives an empty frame what the encoder wants of the pictures of a view (0 left, 1 right): format, size,
  /// colour tags, buffers, side data. False with one message in `error` on failure.
  [[nodiscard]] virtual bool prepare_frame(int view, AVFrame& frame, std::string& error) const = 0;

  /// Encodes a pair of prepared frames of equal pts and hands on every sample that is ready.
  [[nodiscard]] virtual bool encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                                    std::string& error) = 0;

  /// Hands on everything that is still pending; nothing is encoded afterwards.
  [[nodiscard]] virtual bool drain(const SampleSink& sink, std::string& error) = 0;
};

/// How the report names an encoder; null: it has no such line.
struct TwoViewEncoderReport {
  const char* encoder = nullptr;  ///< the encoder
  const char* program = nullptr;  ///< the program of its own that it runs in
};

/// One kind of two-view encoder.
struct TwoViewEncoderKind {
  /// What its movies count as in the answer of check-support.
  Acceleration acceleration;
  /// Whether it serves a user who does (true) or does not want software encoding.
  bool (*serves)(bool software);
  /// Asks the machine, without opening the encoder, whether it could encode such eyes; false with one
  /// message.
  bool (*check_machine)(Size eye, BitDepth depth, std::string& error);
  /// The format of rectified eyes that it takes without conversion.
  AVPixelFormat (*canvas_format)(BitDepth depth);
  TwoViewEncoderReport report;
  /// Opens the encoder; null with one message.
  std::unique_ptr<TwoViewEncoder> (*create)(const SpatialWriterConfig& config, std::string& error);
};

}  // namespace veyrin
