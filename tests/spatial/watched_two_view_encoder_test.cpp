#include "spatial/watched_two_view_encoder.h"

#include <gtest/gtest.h>

#include <string>

namespace veyrin::test {
namespace {

/// Gives one sample in each step and then works or fails.
class PlainEncoder final : public TwoViewEncoder {
 public:
  explicit PlainEncoder(bool works) : works_(works), parameters_(avcodec_parameters_alloc()) {}

  [[nodiscard]] const AVCodecParameters& parameters() const override { return *parameters_; }
  [[nodiscard]] AVRational time_base() const override { return {1, 7}; }
  [[nodiscard]] bool prepare_frame(int view, AVFrame& frame, std::string& /*error*/) const override {
    frame.width = 100 + view;
    return works_;
  }
  [[nodiscard]] bool encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                            std::string& error) override {
    return left.pts == 5 && right.pts == 6 && give(sink, error);
  }
  [[nodiscard]] bool drain(const SampleSink& sink, std::string& error) override { return give(sink, error); }

 private:
  [[nodiscard]] bool give(const SampleSink& sink, std::string& error) const {
    const PacketPtr sample(av_packet_alloc());
    return sink(*sample, error) && works_;
  }

  bool works_;
  CodecParametersPtr parameters_;
};

struct Outcome {
  bool encoded = false;
  bool drained = false;
  int samples = 0;
  int failures = 0;
};

/// One pair and the end of an encoder that works or not, whose samples are taken or not.
Outcome outcome(bool works, bool taken) {
  Outcome found;
  const auto encoder =
      watch_two_view_encoder(std::make_unique<PlainEncoder>(works), [&] { ++found.failures; });
  const auto sink = [&](AVPacket& /*sample*/, std::string& /*error*/) {
    ++found.samples;
    return taken;
  };
  const FramePtr left(av_frame_alloc());
  const FramePtr right(av_frame_alloc());
  left->pts = 5;
  right->pts = 6;
  std::string error;
  found.encoded = encoder->encode(*left, *right, sink, error);
  found.drained = encoder->drain(sink, error);
  EXPECT_EQ(found.samples, 2);
  return found;
}

TEST(WatchedTwoViewEncoder, TellsOfItsOwnFailuresOnly) {
  const Outcome works = outcome(/*works=*/true, /*taken=*/true);
  EXPECT_TRUE(works.encoded && works.drained);
  EXPECT_EQ(works.failures, 0);
  const Outcome not_taken = outcome(/*works=*/true, /*taken=*/false);
  EXPECT_FALSE(not_taken.encoded || not_taken.drained);
  EXPECT_EQ(not_taken.failures, 0);
  const Outcome fails = outcome(/*works=*/false, /*taken=*/true);
  EXPECT_FALSE(fails.encoded || fails.drained);
  EXPECT_EQ(fails.failures, 2) << "one for either step";
}

TEST(WatchedTwoViewEncoder, IsTheSameEncoderOtherwise) {
  const auto encoder = watch_two_view_encoder(std::make_unique<PlainEncoder>(true), [] {});
  EXPECT_EQ(av_cmp_q(encoder->time_base(), {1, 7}), 0);
  EXPECT_EQ(encoder->parameters().codec_type, AVMEDIA_TYPE_UNKNOWN);
  const FramePtr frame(av_frame_alloc());
  std::string error;
  EXPECT_TRUE(encoder->prepare_frame(1, *frame, error));
  EXPECT_EQ(frame->width, 101);
}

}  // namespace
}  // namespace veyrin::test
