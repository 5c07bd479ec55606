// What a decoder says when FFmpeg gets no memory, step by step.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "decode/eye_decoder.h"
#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/decode/simulated_hardware.h"
#include "tests/support/allocation_limit.h"
#include "tests/support/captured_output.h"

namespace veyrin::test {
namespace {

/// Enough for a decoder and its context, not for parameters with `large_extradata`.
constexpr std::size_t room_for_a_context = 1 << 18;
constexpr int large_extradata = 1 << 20;

class DecoderShortage : public testing::Test {
 protected:
  void SetUp() override {
    clip_ = folder_.make("a.nut", test_picture(2) + "-c:v rawvideo -pix_fmt yuv420p");
    input_ = open_clip(clip_);
  }

  AVStream& stream() { return *input_->streams[0]; }

  void enlarge_parameters() {
    AVCodecParameters& parameters = *stream().codecpar;
    av_freep(&parameters.extradata);
    parameters.extradata =
        static_cast<std::uint8_t*>(av_mallocz(large_extradata + AV_INPUT_BUFFER_PADDING_SIZE));
    parameters.extradata_size = large_extradata;
  }

  void run_short_of_memory(std::size_t limit = no_memory) { shortage_.emplace(limit); }

  /// Opens the decoder and gives its message.
  std::string open_error(AVBufferRef* shared_device = nullptr) {
    std::string error;
    capture_output();
    const auto eye =
        EyeDecoder::create(stream(), DecoderPreference::hardware, shared_device, error, machine_.calls);
    shortage_.reset();
    printed_ = captured_output();
    EXPECT_EQ(eye != nullptr, error.empty());
    return error;
  }

  /// Decodes with a shortage that begins with the first frame and gives the message.
  std::string run_error(bool keep_on_gpu = false) {
    machine_.calls.receive = [this, receive = machine_.calls.receive](AVCodecContext* context,
                                                                      AVFrame* frame) {
      const int status = receive(context, frame);
      if (status >= 0) {
        av_frame_new_side_data(frame, AV_FRAME_DATA_VIEW_ID, sizeof(int));
        if (!short_at_download_) run_short_of_memory();
      }
      return status;
    };
    input_ = open_clip(clip_);
    std::string error;
    capture_output();
    const auto eye =
        EyeDecoder::create(stream(), DecoderPreference::hardware, nullptr, error, machine_.calls);
    if (eye && keep_on_gpu) eye->keep_frames_on_gpu();
    const EyeRun run = eye ? run_eye(*eye, read_packets(*input_)) : EyeRun{};
    shortage_.reset();
    captured_output();
    EXPECT_TRUE(eye) << error;
    EXPECT_FALSE(run.succeeded);
    return run.error;
  }

  ClipFolder folder_;
  std::filesystem::path clip_;
  InputContextPtr input_;
  SimulatedHardware machine_;
  std::optional<AllocationLimit> shortage_;
  bool short_at_download_ = false;
  std::string printed_;
};

TEST_F(DecoderShortage, LeavesNoContext) {
  run_short_of_memory();
  EXPECT_EQ(open_error(), "could not allocate a video decoder");
}

TEST_F(DecoderShortage, LeavesNoParameters) {
  enlarge_parameters();
  run_short_of_memory(room_for_a_context);
  EXPECT_EQ(open_error(), "could not initialize a video decoder: Cannot allocate memory");
}

TEST_F(DecoderShortage, LeavesNoReferenceToTheSharedDevice) {
  const BufferRefPtr device(av_buffer_alloc(1));
  machine_.calls.offers_d3d11va = [this](const AVCodec&) {
    run_short_of_memory();
    return true;
  };
  machine_.calls.open = [this, open = machine_.calls.open](AVCodecContext* context, const AVCodec* decoder) {
    shortage_.reset();
    return open(context, decoder);
  };
  EXPECT_EQ(open_error(device.get()), "");
  EXPECT_EQ(printed_,
            "  D3D11VA decoder unavailable for stream 0: Cannot allocate memory; using software decode\n");
}

TEST_F(DecoderShortage, LeavesNoSoftwareDecoderToFallBackTo) {
  for (const std::size_t limit : {no_memory, room_for_a_context}) {
    enlarge_parameters();
    machine_.calls.open = [this, limit](AVCodecContext*, const AVCodec*) {
      run_short_of_memory(limit);
      return AVERROR(ENOSYS);
    };
    EXPECT_EQ(open_error(), limit == no_memory
                                ? "could not allocate a software video decoder"
                                : "could not initialize a software video decoder: Cannot allocate memory");
    EXPECT_EQ(
        printed_,
        "  hardware decoder could not open stream 0: Function not implemented; retrying software decode\n");
  }
}

TEST_F(DecoderShortage, LeavesNoFrameToHandOn) {
  EXPECT_EQ(run_error(), "could not retain a decoded YUV frame");
  machine_.frame_format = AV_PIX_FMT_D3D11;
  EXPECT_EQ(run_error(/*keep_on_gpu=*/true), "could not retain a D3D11VA frame");
}

TEST_F(DecoderShortage, LeavesNoFrameToReadInto) {
  machine_.frame_format = AV_PIX_FMT_D3D11;
  EXPECT_EQ(run_error(), "could not allocate a downloaded D3D11VA frame");
  machine_.frame_format = AV_PIX_FMT_VIDEOTOOLBOX;
  EXPECT_EQ(run_error(), "could not allocate a mapped VideoToolbox frame");
}

TEST_F(DecoderShortage, LeavesNoPropertiesOfADownload) {
  machine_.frame_format = AV_PIX_FMT_D3D11;
  short_at_download_ = true;
  machine_.calls.download = [this, download = machine_.calls.download](AVFrame* target,
                                                                       const AVFrame* source) {
    const int status = download(target, source);
    run_short_of_memory();
    return status;
  };
  EXPECT_EQ(run_error(), "could not copy D3D11VA frame properties: Cannot allocate memory");
}

}  // namespace
}  // namespace veyrin::test
