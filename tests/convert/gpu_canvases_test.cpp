// Movies of encoders that take GPU surfaces: where their canvases come from.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "convert/encoded_movie.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin::test {
namespace {

/// An open encoder that believes to work on surfaces of the machine's D3D11 device. The encoders that really
/// do are not on this machine, so no canvas is sent to it.
CodecContextPtr encoder_on_surfaces(int pool_size) {
  AVBufferRef* device = nullptr;
  av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_D3D11VA, nullptr, nullptr, 0);
  const BufferRefPtr owner(device);
  if (!owner) return nullptr;
  const AVCodec* codec = avcodec_find_encoder_by_name("prores_ks");
  CodecContextPtr encoder(avcodec_alloc_context3(codec));
  encoder->pix_fmt = AV_PIX_FMT_YUV422P10LE;
  encoder->width = 64;
  encoder->height = 32;
  encoder->time_base = {1, 30};
  if (avcodec_open2(encoder.get(), codec, nullptr) < 0) return nullptr;
  encoder->codec_id = AV_CODEC_ID_HEVC;
  encoder->hw_frames_ctx = av_hwframe_ctx_alloc(owner.get());
  auto& frames = *reinterpret_cast<AVHWFramesContext*>(encoder->hw_frames_ctx->data);
  frames.format = AV_PIX_FMT_D3D11;
  frames.sw_format = AV_PIX_FMT_NV12;
  frames.width = encoder->width;
  frames.height = encoder->height;
  frames.initial_pool_size = pool_size;
  return av_hwframe_ctx_init(encoder->hw_frames_ctx) < 0 ? nullptr : std::move(encoder);
}

std::unique_ptr<MovieSink> create_movie(const test::TemporaryFolder& folder, int pool_size,
                                        std::string& error) {
  EncodedMovieRequest request;
  request.output = {folder.path() / "a.mov"};
  request.container = av_guess_format("mov", nullptr, nullptr);
  request.encoder = encoder_on_surfaces(pool_size);
  if (!request.encoder) return nullptr;
  return create_encoded_movie(std::move(request), error);
}

TEST(GpuCanvases, AreSurfacesOfTheEncoder) {
  const test::TemporaryFolder folder;
  std::string error;
  const auto movie = create_movie(folder, /*pool_size=*/0, error);
  ASSERT_NE(movie, nullptr) << error;
  const auto canvases = movie->next_canvases(error);
  ASSERT_EQ(canvases.size(), 1U) << error;
  const AVFrame& canvas = *canvases.front();
  EXPECT_EQ(canvas.format, AV_PIX_FMT_D3D11);
  EXPECT_NE(canvas.data[0], nullptr);
  EXPECT_EQ(canvas.width, 64);
  EXPECT_EQ(canvas.height, 32);
}

TEST(GpuCanvases, AreNeverThoseThatTheEncoderStillHolds) {
  const test::TemporaryFolder folder;
  std::string error;
  const auto movie = create_movie(folder, /*pool_size=*/2, error);
  ASSERT_NE(movie, nullptr) << error;
  const FramePtr held(av_frame_clone(movie->next_canvases(error).front().get()));
  const FramePtr held_too(av_frame_clone(movie->next_canvases(error).front().get()));
  EXPECT_NE(held->data[1], held_too->data[1]) << "another slice";
  EXPECT_TRUE(movie->next_canvases(error).empty());
  EXPECT_EQ(error, "could not allocate a GPU encoder surface");
}

}  // namespace
}  // namespace veyrin::test
