#include "spatial/spatial_video_writer.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "common/error_text.h"
#include "media/ffmpeg.h"
#include "spatial/eye_converter.h"
#include "spatial/spatial_container.h"
#include "spatial/spatial_encoder.h"
#include "spatial/spatial_metadata.h"
#include "spatial/view_pair_joiner.h"

namespace veyrin {
namespace {

constexpr std::size_t views = 2;  // 0: left, 1: right

bool attach_view_id(AVFrame& frame, int view, std::string& error) {
  AVFrameSideData* record = av_frame_new_side_data(&frame, AV_FRAME_DATA_VIEW_ID, sizeof view);
  if (record == nullptr) return fail(error, "could not attach MV-HEVC view ID");
  std::memcpy(record->data, &view, sizeof view);
  return true;
}

bool prepare_eye_frame(const AVCodecContext& encoder, int view, AVFrame& frame, std::string& error) {
  frame.color_range = encoder.color_range;
  frame.color_primaries = encoder.color_primaries;
  frame.color_trc = encoder.color_trc;
  frame.colorspace = encoder.colorspace;
  frame.chroma_location = encoder.chroma_sample_location;
  const int result = allocate_frame_buffers(frame, encoder.pix_fmt, encoder.width, encoder.height);
  if (result < 0) return fail_with_library_error(error, "could not allocate MV-HEVC eye frame", result);
  return attach_view_id(frame, view, error) && attach_reference_displays(frame, error);
}

class FfmpegSpatialVideoWriter final : public SpatialVideoWriter {
 public:
  FfmpegSpatialVideoWriter(SpatialWriterConfig config, const SpatialEncoderCalls& calls)
      : config_(std::move(config)), calls_(calls) {}

  bool open(std::string& error) {
    encoder_ = open_spatial_encoder(config_, calls_, error);
    if (!encoder_) return false;
    container_ = SpatialContainer::create(config_, *encoder_, error);
    // What was borrowed for the header is not needed again.
    config_.audio_parameters = nullptr;
    return container_ && prepare_frames(error) && create_converters(error);
  }

  bool write_eye_pair(const AVFrame& left, const AVFrame& right, std::int64_t pts,
                      std::string& error) override {
    if (!has_eye_size(left) || !has_eye_size(right)) {
      return fail(error, "rectified eye frame does not match the spatial writer size");
    }
    if (!converters_[0]->convert(left, *frames_[0], error) ||
        !converters_[1]->convert(right, *frames_[1], error)) {
      return false;
    }
    for (const FramePtr& frame : frames_) frame->pts = pts;
    return encode(frames_[0].get(), error) && encode(frames_[1].get(), error);
  }

  [[nodiscard]] bool has_audio() const override { return container_->has_audio(); }

  bool write_audio_packet(const AVPacket& packet, std::string& error) override {
    return !has_audio() || container_->write_audio(packet, error);
  }

  bool finish(std::string& error) override {
    if (finished_) return true;
    if (!encode(nullptr, error)) return false;
    if (joiner_.waiting()) return fail(error, "NVENC produced an incomplete MV-HEVC view pair");
    finished_ = container_->finish(error);
    return finished_;
  }

 private:
  bool prepare_frames(std::string& error) {
    for (FramePtr& frame : frames_) frame.reset(av_frame_alloc());
    received_.reset(av_packet_alloc());
    if (!frames_[0] || !frames_[1] || !received_ || !joiner_.ready()) return false;
    return prepare_eye_frame(*encoder_, 0, *frames_[0], error) &&
           prepare_eye_frame(*encoder_, 1, *frames_[1], error);
  }

  bool create_converters(std::string& error) {
    for (auto& converter : converters_) {
      converter = EyeConverter::create(*encoder_, error);
      if (!converter) return false;
    }
    return true;
  }

  [[nodiscard]] bool has_eye_size(const AVFrame& eye) const {
    return eye.width == encoder_->width && eye.height == encoder_->height;
  }

  // Gives the encoder one view, or the end when null, and writes every pair that is ready.
  bool encode(const AVFrame* view, std::string& error) {
    int result = calls_.send(encoder_.get(), view);
    if (result < 0) return fail_with_library_error(error, "could not submit MV-HEVC frame to NVENC", result);
    while (true) {
      result = calls_.receive(encoder_.get(), received_.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
      if (result < 0)
        return fail_with_library_error(error, "could not receive MV-HEVC packet from NVENC", result);
      if (!joiner_.add(*received_, error)) return false;
      AVPacket* sample = joiner_.complete_unit();
      if (sample != nullptr && !container_->write_video(*sample, error)) return false;
    }
  }

  SpatialWriterConfig config_;
  const SpatialEncoderCalls& calls_;
  CodecContextPtr encoder_;
  std::unique_ptr<SpatialContainer> container_;
  std::array<FramePtr, views> frames_;
  std::array<std::unique_ptr<EyeConverter>, views> converters_;
  PacketPtr received_;
  ViewPairJoiner joiner_;
  bool finished_ = false;
};

}  // namespace

std::unique_ptr<SpatialVideoWriter> create_spatial_video_writer(const SpatialWriterConfig& config,
                                                                std::string& error,
                                                                const SpatialEncoderCalls& calls) {
  auto writer = std::make_unique<FfmpegSpatialVideoWriter>(config, calls);
  if (!writer->open(error)) return nullptr;
  return writer;
}

}  // namespace veyrin
