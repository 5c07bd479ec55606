// Streams of one view, checked with the command-line programs of this machine.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "tests/simulated_nvenc/clips.h"
#include "tests/simulated_nvenc/driver_test.h"
#include "tests/support/command.h"

namespace veyrin::test {
namespace {

constexpr int moments = 12;

struct OneViewCase {
  const char* name;
  const char* encoder;
  AVPixelFormat format;
  const char* demuxer;
  bool in_band;
};

std::ostream& operator<<(std::ostream& out, const OneViewCase& one) {
  return out << one.name;
}

class OneView : public SimulatedDriver, public testing::WithParamInterface<OneViewCase> {};

/// Compares the luma of the stream, decoded by the command-line program, with the source.
double decoded_psnr(const std::filesystem::path& stream, const OneViewCase& one,
                    const EncodeRequest& request) {
  const bool ten_bit = request.format == AV_PIX_FMT_P010;
  const std::string raw =
      output_of("ffmpeg -v error -xerror -f " + std::string(one.demuxer) + " -i " + quoted(stream) +
                " -f rawvideo -pix_fmt " + (ten_bit ? "yuv420p10le" : "yuv420p") + " -");
  const std::size_t row = static_cast<std::size_t>(request.width) * (ten_bit ? 2 : 1);
  const std::size_t frame_size = row * static_cast<std::size_t>(request.height) * 3 / 2;
  if (raw.size() != frame_size * moments) return 0;
  std::vector<FramePtr> frames;
  for (int moment = 0; moment < moments; ++moment) {
    FramePtr frame(av_frame_alloc());
    frame->format = ten_bit ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P;
    frame->width = request.width;
    frame->height = request.height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return 0;
    const char* from = raw.data() + frame_size * static_cast<std::size_t>(moment);
    for (int y = 0; y < request.height; ++y) {
      std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0],
                  from + static_cast<std::size_t>(y) * row, row);
    }
    frames.push_back(std::move(frame));
  }
  return luma_psnr(request, 0, frames);
}

TEST_P(OneView, IsDecodedByTheCommandLineProgram) {
  const EncodeRequest request{.encoder = GetParam().encoder,
                              .format = GetParam().format,
                              .global_header = !GetParam().in_band,
                              .options = {{"b", "4M"}},
                              .pictures = one_view(moments)};
  const EncodeRun run = encode(request);
  ASSERT_EQ(run.open_result, 0);
  ASSERT_EQ(run.encode_result, 0);
  ASSERT_EQ(run.packets.size(), static_cast<std::size_t>(moments));
  EXPECT_EQ(run.headers.empty(), GetParam().in_band);
  std::ofstream(folder_ / "stream", std::ios::binary) << elementary_stream(run);
  const double psnr = decoded_psnr(folder_ / "stream", GetParam(), request);
  RecordProperty("psnr", std::to_string(psnr));
  EXPECT_GT(psnr, good_psnr);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, OneView,
    testing::Values(OneViewCase{"H264", "h264_nvenc", AV_PIX_FMT_NV12, "h264", false},
                    OneViewCase{"H264Planar", "h264_nvenc", AV_PIX_FMT_YUV420P, "h264", false},
                    OneViewCase{"H264InBand", "h264_nvenc", AV_PIX_FMT_NV12, "h264", true},
                    OneViewCase{"Hevc", "hevc_nvenc", AV_PIX_FMT_NV12, "hevc", false},
                    OneViewCase{"HevcInBand", "hevc_nvenc", AV_PIX_FMT_NV12, "hevc", true},
                    OneViewCase{"Hevc10", "hevc_nvenc", AV_PIX_FMT_P010, "hevc", false}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(SimulatedDriver, WritesProfileAndColors) {
  const auto probed = [&](const char* encoder, AVPixelFormat format, const char* profile) {
    const EncodeRequest request{.encoder = encoder,
                                .format = format,
                                .global_header = true,
                                .options = {{"profile", profile},
                                            {"color_primaries", "bt2020"},
                                            {"color_trc", "arib-std-b67"},
                                            {"colorspace", "bt2020nc"},
                                            {"color_range", "pc"}},
                                .pictures = one_view(2)};
    std::ofstream(folder_ / "stream", std::ios::binary) << elementary_stream(encode(request));
    return output_of(
        "ffprobe -v error -of csv=p=0 -show_entries "
        "stream=codec_name,profile,color_range,color_space,color_transfer,color_primaries " +
        quoted(folder_ / "stream"));
  };
  EXPECT_EQ(probed("h264_nvenc", AV_PIX_FMT_NV12, "high"), "h264,High,pc,bt2020nc,arib-std-b67,bt2020\n");
  EXPECT_EQ(probed("hevc_nvenc", AV_PIX_FMT_NV12, "main"), "hevc,Main,pc,bt2020nc,arib-std-b67,bt2020\n");
  EXPECT_EQ(probed("hevc_nvenc", AV_PIX_FMT_P010, "main10"),
            "hevc,Main 10,pc,bt2020nc,arib-std-b67,bt2020\n");
}

}  // namespace
}  // namespace veyrin::test
