#include "convert/gpu_pipeline.h"

#include <gtest/gtest.h>

#include <new>
#include <utility>

#include "media/ffmpeg.h"
#include "tests/support/allocation_limit.h"
#include "tests/support/captured_output.h"
#include "tests/support/environment.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace veyrin::test {
namespace {

/// A processor that only has surfaces to offer.
class SurfaceOwner final : public GpuYuvProcessor {
 public:
  explicit SurfaceOwner(AVBufferRef* surfaces) : surfaces_(av_buffer_ref(surfaces)) {}
  bool process(const AVFrame*, const AVFrame*, AVFrame*, std::string&) const override { return true; }
  AVBufferRef* encoder_frames() const override { return surfaces_.get(); }

 private:
  BufferRefPtr surfaces_;
};

class GpuPipeline : public testing::Test {
 protected:
  GpuPipeline() {
    // The kind of device does not matter to a context that is never used.
    device_.reset(av_hwdevice_ctx_alloc(AV_HWDEVICE_TYPE_CUDA));
    surfaces_.reset(av_hwframe_ctx_alloc(device_.get()));
    reinterpret_cast<AVHWFramesContext*>(surfaces_->data)->sw_format = AV_PIX_FMT_P010LE;
    calls_.create_processor = [this](AVBufferRef* device, const RemapTables& tables,
                                     const ProcessorGeometry& geometry, BitDepth depth,
                                     std::string& error) -> std::unique_ptr<GpuYuvProcessor> {
      ++processors_wanted_;
      EXPECT_EQ(device, device_.get());
      EXPECT_EQ(&tables, &tables_);
      EXPECT_EQ(geometry.layout, OutputLayout::half_sbs);
      EXPECT_EQ(depth, BitDepth::ten);
      if (memory_ends_at_processor_) throw std::bad_alloc();
      if (!refusal_.empty()) {
        error = refusal_;
        return nullptr;
      }
      return std::make_unique<SurfaceOwner>(surfaces_.get());
    };
    calls_.make_upload_surfaces = [this](AVBufferRef* device, Size source, BitDepth depth,
                                         std::string& error) -> BufferRefPtr {
      EXPECT_EQ(device, device_.get());
      EXPECT_EQ(source, (Size{64, 64}));
      EXPECT_EQ(depth, BitDepth::ten);
      if (memory_ends_at_uploads_) throw std::bad_alloc();
      if (!uploads_refusal_.empty()) {
        error = uploads_refusal_;
        return nullptr;
      }
      return BufferRefPtr(av_buffer_ref(surfaces_.get()));
    };
    calls_.open = [this](AVCodecContext* context, const AVCodec*, AVDictionary**) {
      ++opened_;
      EXPECT_EQ(context->pix_fmt, AV_PIX_FMT_D3D11);
      EXPECT_EQ(context->sw_pix_fmt, AV_PIX_FMT_P010LE);
      EXPECT_NE(context->hw_frames_ctx, nullptr);
      return open_result_;
    };
    request_.depth = BitDepth::ten;
    request_.canvas = {128, 32};
    calls_.disabled = [] { return false; };
    selected_.candidate = {.name = "hevc_nvenc", .takes_gpu_surfaces = true};
    selected_.acceleration = Acceleration::hardware;
    selected_.context.reset(avcodec_alloc_context3(avcodec_find_encoder_by_name("hevc_nvenc")));
    selected_.context->pix_fmt = AV_PIX_FMT_P010LE;
    selected_.context->bit_rate = 12345000;
  }

  bool use(bool hardware_decoders = true) {
    capture_output();
    const auto processor = use_gpu_pipeline({request_, tables_, {{64, 64}, {32, 32}, OutputLayout::half_sbs}},
                                            hardware_decoders ? device_.get() : nullptr, selected_, calls_);
    printed_ = captured_output();
    return processor != nullptr;
  }

  void expect_cpu_choice() {
    EXPECT_EQ(selected_.context->pix_fmt, AV_PIX_FMT_P010LE);
    EXPECT_EQ(selected_.context->sw_pix_fmt, AV_PIX_FMT_NONE);
    EXPECT_EQ(selected_.context->hw_frames_ctx, nullptr);
  }

  BufferRefPtr device_;
  BufferRefPtr surfaces_;
  RemapTables tables_;
  EncoderRequest request_;
  InProcessEncoder selected_;
  GpuPipelineCalls calls_;
  std::string refusal_;
  std::string uploads_refusal_;
  bool memory_ends_at_processor_ = false;
  bool memory_ends_at_uploads_ = false;
  int open_result_ = 0;
  int processors_wanted_ = 0;
  int opened_ = 0;
  std::string printed_;
};

TEST_F(GpuPipeline, OpensTheEncoderOnTheProcessorsSurfaces) {
  ASSERT_TRUE(use());
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(opened_, 1);
  const AVCodecContext& context = *selected_.context;
  EXPECT_EQ(context.pix_fmt, AV_PIX_FMT_D3D11);
  EXPECT_EQ(context.hw_frames_ctx->data, surfaces_->data);
  EXPECT_EQ(context.bit_rate, 12345000);
  EXPECT_EQ(context.width, 128);
  EXPECT_EQ(context.profile, AV_PROFILE_HEVC_MAIN_10);
  EXPECT_EQ(selected_.acceleration, Acceleration::hardware);
  EXPECT_EQ(encoder_report_line(selected_), "  encoder: hevc_nvenc (d3d11, GPU-resident P010)");
}

TEST_F(GpuPipeline, IsForEncodersThatTakeSurfacesOnly) {
  selected_.candidate = {.name = "hevc_qsv"};
  EXPECT_FALSE(use());
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(processors_wanted_, 0);
  expect_cpu_choice();
  selected_.candidate = {.name = "h264_nvenc", .takes_gpu_surfaces = true};
  EXPECT_TRUE(use());
}

TEST_F(GpuPipeline, IsNotTriedWhenTheDecodersWorkInSoftware) {
  EXPECT_FALSE(use(/*hardware_decoders=*/false));
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(processors_wanted_, 0);
}

TEST_F(GpuPipeline, IsNotTriedWhenSwitchedOff) {
  calls_.disabled = [] { return true; };
  EXPECT_FALSE(use());
  EXPECT_EQ(printed_, "");
  EXPECT_EQ(processors_wanted_, 0);
}

TEST_F(GpuPipeline, GivesWayToTheCpuWithTheProcessorsReason) {
  refusal_ = "could not compile D3D11 YUV shader";
  EXPECT_FALSE(use());
  EXPECT_EQ(printed_,
            "  D3D11 YUV GPU pipeline unavailable: could not compile D3D11 YUV shader; using CPU path\n");
  EXPECT_EQ(opened_, 0);
  expect_cpu_choice();
}

TEST_F(GpuPipeline, LeavesTenBitRecordingsToTheCpuForH264) {
  request_.codec = SbsCodec::h264;
  selected_.candidate.name = "h264_nvenc";
  EXPECT_FALSE(use());
  EXPECT_EQ(printed_, "  D3D11 YUV GPU pipeline unavailable: H.264 output is 8-bit; using CPU path\n");
  EXPECT_EQ(processors_wanted_, 0);
  EXPECT_EQ(opened_, 0);
  expect_cpu_choice();
}

TEST_F(GpuPipeline, KeepsTheEncoderForMemoryFramesWhenTheOtherDoesNotOpen) {
  const AVCodecContext* before = selected_.context.get();
  open_result_ = AVERROR(ENOSYS);
  EXPECT_FALSE(use());
  EXPECT_EQ(printed_, "  D3D11 YUV GPU pipeline unavailable: could not open the encoder on GPU surfaces: " +
                          library_error_text(AVERROR(ENOSYS)) + "; using CPU path\n");
  EXPECT_EQ(selected_.context.get(), before);
  expect_cpu_choice();
  EXPECT_EQ(encoder_report_line(selected_), "  encoder: hevc_nvenc (p010le, CPU YUV processing)");
}

TEST_F(GpuPipeline, GivesWayToTheCpuWhenUploadsCannotBePrepared) {
  const AVCodecContext* before = selected_.context.get();
  uploads_refusal_ = "could not prepare uploads of decoded frames: Cannot allocate memory";
  EXPECT_FALSE(use());
  EXPECT_EQ(printed_, "  D3D11 YUV GPU pipeline unavailable: " + uploads_refusal_ + "; using CPU path\n");
  EXPECT_EQ(opened_, 0) << "the encoder was opened on surfaces before the pipeline was there";
  EXPECT_EQ(selected_.context.get(), before);
  expect_cpu_choice();
}

TEST_F(GpuPipeline, GivesWayToTheCpuWhenMemoryRunsOut) {
  const AVCodecContext* before = selected_.context.get();
  for (bool* end : {&memory_ends_at_processor_, &memory_ends_at_uploads_}) {
    *end = true;
    EXPECT_NO_THROW(EXPECT_FALSE(use()));
    EXPECT_EQ(printed_, "  D3D11 YUV GPU pipeline unavailable: could not allocate memory; using CPU path\n");
    EXPECT_EQ(opened_, 0);
    EXPECT_EQ(selected_.context.get(), before);
    expect_cpu_choice();
    *end = false;
  }
  EXPECT_TRUE(use()) << "nothing was left behind";
}

// The library's own shortage: the real call on a device whose frames FFmpeg can describe.
TEST_F(GpuPipeline, SaysWhyUploadsCannotBePrepared) {
  std::string error;
  const AllocationLimit shortage(no_memory);
  EXPECT_EQ(make_upload_surfaces(device_.get(), {64, 64}, BitDepth::ten, error), nullptr);
  EXPECT_EQ(error, "could not prepare uploads of decoded frames: Cannot allocate memory");
}

TEST_F(GpuPipeline, IsSwitchedOffByExactlyOne) {
  for (const char* value : {"true", "yes", "0", "", "11", " 1"}) {
    set_variable("VEYRIN_DISABLE_D3D11_GPU_PIPELINE", value);
    EXPECT_FALSE(system_gpu_pipeline_calls().disabled()) << value;
  }
  set_variable("VEYRIN_DISABLE_D3D11_GPU_PIPELINE", "1");
  EXPECT_TRUE(system_gpu_pipeline_calls().disabled());
  remove_variable("VEYRIN_DISABLE_D3D11_GPU_PIPELINE");
  EXPECT_FALSE(system_gpu_pipeline_calls().disabled());
}

}  // namespace
}  // namespace veyrin::test
