// The two-view HEVC encoder of the machine's NVIDIA driver, reached through FFmpeg.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "media/ffmpeg.h"
#include "spatial/two_view_encoder.h"

namespace veyrin {

/// The library calls whose outcome depends on the machine's encoding hardware, as a table that tests can
/// replace. Results are FFmpeg's: negative is an error code.
struct SpatialEncoderCalls {
  std::function<const AVCodec*(const char* name)> find;
  /// Sets one of the encoder's private options on a context that is not open yet.
  std::function<int(AVCodecContext* context, const char* option, const char* value)> set_option;
  std::function<int(AVCodecContext* context)> open;
  /// A null frame says that no further one follows.
  std::function<int(AVCodecContext* context, const AVFrame* frame)> send;
  std::function<int(AVCodecContext* context, AVPacket* packet)> receive;
};

/// The calls as FFmpeg answers them.
const SpatialEncoderCalls& ffmpeg_spatial_encoder_calls();

/// What to tell a user who asks for two views of this depth from FFmpeg libraries with (`changed`) or without
/// our change for two views in 10 bits: one report line, or null when there is nothing to tell.
const char* two_view_depth_notice(BitDepth depth, bool changed);

/// Configures and opens the encoder and completes its sequence header, which must hold the parameter sets of
/// both views; null with one message in `error` on failure. Its time base is one frame. It wants the views of
/// a pair one after the other, the left one first.
[[nodiscard]] CodecContextPtr open_spatial_encoder(const SpatialWriterConfig& config,
                                                   const SpatialEncoderCalls& calls, std::string& error);

/// Packets come in pairs, that of the base view first, of equal pts; nothing else is looked at. Views may
/// arrive in calls of their own.
class ViewPairJoiner {
 public:
  /// Null when there is no memory for it.
  static std::unique_ptr<ViewPairJoiner> create();

  /// Takes the contents of `view`, which is left empty. The second view of a pair is appended to the first:
  /// `complete_unit` has the result. False with one message in `error` when the two do not belong together.
  [[nodiscard]] bool add(AVPacket& view, std::string& error);

  /// The joined pair, with the first view's times, to be consumed before the next view is added; null while a
  /// view is missing.
  [[nodiscard]] AVPacket* complete_unit() const { return complete_ ? unit_.get() : nullptr; }

  /// True while a first view waits for its second one.
  [[nodiscard]] bool waiting() const { return unit_->buf != nullptr && !complete_; }

 private:
  explicit ViewPairJoiner(PacketPtr unit) : unit_(std::move(unit)) {}
  [[nodiscard]] bool append(const AVPacket& view, std::string& error);

  PacketPtr unit_;  // no buffer: empty
  bool complete_ = false;
};

/// Gives the driver one view after the other and joins the packets that it gives back per view. A sample
/// without one of the views, with the views the wrong way round, or marked as a key frame without being one
/// ends the encoding with a message.
class NvencTwoViewEncoder final : public TwoViewEncoder {
 public:
  /// Opens the encoder; null with one message in `error` on failure. `calls` must outlive it.
  [[nodiscard]] static std::unique_ptr<NvencTwoViewEncoder> create(
      const SpatialWriterConfig& config, std::string& error,
      const SpatialEncoderCalls& calls = ffmpeg_spatial_encoder_calls());

  [[nodiscard]] const AVCodecParameters& parameters() const override { return *parameters_; }
  [[nodiscard]] AVRational time_base() const override { return context_->time_base; }
  [[nodiscard]] bool prepare_frame(int view, AVFrame& frame, std::string& error) const override;
  [[nodiscard]] bool encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                            std::string& error) override;
  [[nodiscard]] bool drain(const SampleSink& sink, std::string& error) override;

 private:
  explicit NvencTwoViewEncoder(const SpatialEncoderCalls& calls) : calls_(calls) {}
  [[nodiscard]] bool open(const SpatialWriterConfig& config, std::string& error);
  [[nodiscard]] bool exchange(const AVFrame* view, const SampleSink& sink, std::string& error);

  [[nodiscard]] bool settle_sample(AVPacket& sample, std::string& error);

  const SpatialEncoderCalls& calls_;
  CodecContextPtr context_;
  CodecParametersPtr parameters_;
  PacketPtr received_;
  std::unique_ptr<ViewPairJoiner> joiner_;
  std::optional<std::int64_t> last_dts_;  // once a sample is there
};

/// The encoder's row in the table of two-view encoders.
TwoViewEncoderKind nvenc_two_view_encoder_kind();

}  // namespace veyrin
