// Hardware decoding on the machine's own D3D11: decoders that offer it, devices, and what happens without a
// video decoder in it, as on the software device that tests run on.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "decode/stereo_decoder.h"
#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"
#include "tests/support/captured_output.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin::test {
namespace {

constexpr int frames = 8;  // of the clip that the build makes

bool machine_has_d3d11() {
  AVBufferRef* device = nullptr;
  av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_D3D11VA, nullptr, nullptr, 0);
  return BufferRefPtr(device) != nullptr;
}

/// On a clip with two tracks of H.264.
class D3D11vaDecoding : public testing::Test {
 protected:
  void SetUp() override {
    input_ = open_clip(VEYRIN_TEST_CLIP);
    packets_ = read_packets(*input_);
  }

  PairRun run(StereoDecoder& decoder) {
    std::vector<const AVPacket*> borrowed;
    for (const PacketPtr& packet : packets_) borrowed.push_back(packet.get());
    return run_pairs(decoder, borrowed);
  }

  InputContextPtr input_;
  std::vector<PacketPtr> packets_;
  std::string error_;
};

TEST_F(D3D11vaDecoding, IsOfferedForTheCodecsOfTheCameras) {
  for (const AVCodecID codec : {AV_CODEC_ID_H264, AV_CODEC_ID_HEVC})
    EXPECT_TRUE(ffmpeg_decoder_calls().offers_d3d11va(*avcodec_find_decoder(codec)));
  EXPECT_FALSE(ffmpeg_decoder_calls().offers_d3d11va(*avcodec_find_decoder(AV_CODEC_ID_PRORES)));
}

TEST_F(D3D11vaDecoding, SharesOneDeviceBetweenTheEyes) {
  if (!machine_has_d3d11()) GTEST_SKIP() << "this machine has no D3D11";
  const auto eyes = open_eyes(*input_, 0, 1, DecoderPreference::hardware);
  const AVBufferRef* left = eyes->left().hardware_device();
  const AVBufferRef* right = eyes->right().hardware_device();
  ASSERT_NE(left, nullptr);
  ASSERT_NE(right, nullptr);
  EXPECT_EQ(left->data, right->data);
  EXPECT_EQ(reinterpret_cast<const AVHWDeviceContext*>(left->data)->type, AV_HWDEVICE_TYPE_D3D11VA);
}

TEST_F(D3D11vaDecoding, GivesEveryFrameWhateverTheMachineHas) {
  const bool has_d3d11 = machine_has_d3d11();
  for (const bool keep_on_gpu : {false, true}) {
    capture_output();
    const auto eyes = StereoDecoder::create(*input_, 0, 1, DecoderPreference::hardware, error_);
    if (eyes && keep_on_gpu) eyes->keep_frames_on_gpu();
    const PairRun run = eyes ? this->run(*eyes) : PairRun{};
    const std::string printed = captured_output();
    std::printf("%s", printed.c_str());
    ASSERT_TRUE(eyes) << error_;
    ASSERT_TRUE(run.succeeded) << run.error;
    EXPECT_EQ(run.left_times.size(), static_cast<std::size_t>(frames));
    EXPECT_EQ(run.right_times, run.left_times);
    const std::string expected =
        has_d3d11 ? "  D3D11VA pixel format unavailable for stream 0; using software decode\n"
                    "  D3D11VA pixel format unavailable for stream 1; using software decode\n"
                  : "  D3D11VA decoder unavailable for stream 0: ";
    // A machine with a video decoder reports that instead.
    if (printed.find("hardware (") != std::string::npos) continue;
    if (has_d3d11) {
      EXPECT_EQ(printed, expected);
    } else {
      EXPECT_EQ(printed.substr(0, expected.size()), expected);
    }
  }
}

TEST_F(D3D11vaDecoding, IsSilentInSoftware) {
  capture_output();
  const auto eyes = StereoDecoder::create(*input_, 0, 1, DecoderPreference::software, error_);
  const PairRun run = eyes ? this->run(*eyes) : PairRun{};
  EXPECT_EQ(captured_output(), "");
  ASSERT_TRUE(eyes) << error_;
  EXPECT_EQ(run.left_times.size(), static_cast<std::size_t>(frames));
}

}  // namespace
}  // namespace veyrin::test
