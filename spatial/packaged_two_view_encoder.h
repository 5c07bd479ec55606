// Two-view encoding in software, by a program of its own that is fed with raw pictures through a pipe and
// gives coded samples back through another one.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "common/platform/child_process.h"
#include "media/raw_picture.h"
#include "spatial/stall_watch.h"
#include "spatial/two_view_encoder.h"
#include "spatial/two_view_records.h"

namespace veyrin {

/// Drives one running encoder program. The thread that creates it must stay alive as long as it: the program
/// does not outlive that thread.
class PackagedTwoViewEncoder final : public TwoViewEncoder {
 public:
  /// How long the program may keep the converter waiting.
  struct Limits {
    std::chrono::milliseconds opening{30'000};    ///< until its encoder is open
    std::chrono::milliseconds encoding{600'000};  ///< without a record; large pictures take their time
  };

  /// The program named by `VEYRIN_TWO_VIEW_ENCODER`, whether it exists or not; else
  /// "veyrin-two-view-encoder" beside the converter when it is there; else empty.
  [[nodiscard]] static std::filesystem::path locate();

  /// Starts the program and has it open its encoder; null with one message in `error` on failure.
  [[nodiscard]] static std::unique_ptr<PackagedTwoViewEncoder> create(const SpatialWriterConfig& config,
                                                                      std::string& error,
                                                                      const Limits& limits);

  ~PackagedTwoViewEncoder() override;

  [[nodiscard]] const AVCodecParameters& parameters() const override { return *parameters_; }
  [[nodiscard]] AVRational time_base() const override { return av_inv_q(frame_rate_); }
  [[nodiscard]] bool prepare_frame(int view, AVFrame& frame, std::string& error) const override;
  /// The pts of the pairs count up by one.
  [[nodiscard]] bool encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                            std::string& error) override;
  [[nodiscard]] bool drain(const SampleSink& sink, std::string& error) override;

 private:
  PackagedTwoViewEncoder(const SpatialWriterConfig& config, const Limits& limits);
  [[nodiscard]] bool start(const std::filesystem::path& program, std::string& error);
  [[nodiscard]] bool open(const SpatialWriterConfig& config, const two_view::Request& request,
                          std::string& error);
  [[nodiscard]] bool accept_parameter_sets(const SpatialWriterConfig& config,
                                           const two_view::Bytes& parameter_sets, std::string& error);
  [[nodiscard]] bool send(const BytePieces& pieces, std::string& error);
  [[nodiscard]] two_view::Record await_record();
  /// Whether the sample is what is wanted now.
  [[nodiscard]] bool accept(const two_view::Unit& unit, std::string& error);
  [[nodiscard]] bool hand_on(const two_view::Unit& unit, const SampleSink& sink, std::string& error);
  [[nodiscard]] bool end_movie(const two_view::Done& done, std::string& error);
  [[nodiscard]] bool fail_with(const two_view::Record& record, std::string& error) const;

  Size eye_;
  BitDepth depth_;
  FrameRate frame_rate_;
  ColorTags colors_;
  Limits limits_;
  CodecParametersPtr parameters_;
  BytePieces pieces_;  // of the pair being sent; kept to save the allocations

  // In the order of creation: the watch ends the child, whose end ends the queue.
  std::unique_ptr<platform::ChildProcess> child_;
  std::unique_ptr<two_view::RecordQueue> records_;
  std::unique_ptr<StallWatch> watch_;

  std::optional<std::int64_t> first_pts_;
  std::uint64_t pairs_sent_ = 0;
  std::set<std::int64_t> awaited_;  // pairs sent and not come back
  std::optional<std::int64_t> last_dts_;
};

/// The encoder's row in the table of two-view encoders.
TwoViewEncoderKind packaged_two_view_encoder_kind();

}  // namespace veyrin
