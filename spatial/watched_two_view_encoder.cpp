#include "spatial/watched_two_view_encoder.h"

#include <utility>

namespace veyrin {
namespace {

class WatchedTwoViewEncoder final : public TwoViewEncoder {
 public:
  WatchedTwoViewEncoder(std::unique_ptr<TwoViewEncoder> encoder, std::function<void()> failed)
      : encoder_(std::move(encoder)), failed_(std::move(failed)) {}

  [[nodiscard]] const AVCodecParameters& parameters() const override { return encoder_->parameters(); }
  [[nodiscard]] AVRational time_base() const override { return encoder_->time_base(); }

  [[nodiscard]] bool prepare_frame(int view, AVFrame& frame, std::string& error) const override {
    return encoder_->prepare_frame(view, frame, error);
  }

  [[nodiscard]] bool encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                            std::string& error) override {
    return watched(sink, [&](const SampleSink& own) { return encoder_->encode(left, right, own, error); });
  }

  [[nodiscard]] bool drain(const SampleSink& sink, std::string& error) override {
    return watched(sink, [&](const SampleSink& own) { return encoder_->drain(own, error); });
  }

 private:
  template <typename Step>
  [[nodiscard]] bool watched(const SampleSink& sink, Step step) {
    bool taken = true;
    const SampleSink own = [&](AVPacket& sample, std::string& error) { return taken = sink(sample, error); };
    if (step(own)) return true;
    if (taken) failed_();
    return false;
  }

  std::unique_ptr<TwoViewEncoder> encoder_;
  std::function<void()> failed_;
};

}  // namespace

std::unique_ptr<TwoViewEncoder> watch_two_view_encoder(std::unique_ptr<TwoViewEncoder> encoder,
                                                       std::function<void()> failed) {
  return std::make_unique<WatchedTwoViewEncoder>(std::move(encoder), std::move(failed));
}

}  // namespace veyrin
