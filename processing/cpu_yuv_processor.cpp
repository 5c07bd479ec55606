#include "processing/cpu_yuv_processor.h"

#include <array>
#include <utility>

#include "common/error_text.h"
#include "media/video_types.h"
#include "processing/canvas_layout.h"
#include "processing/kernels.h"
#include "processing/plane_pass.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace veyrin {
namespace {

constexpr SizeMessages size_messages{
    .invalid_maps = "invalid CPU YUV rectification maps",
    .odd_size = "CPU YUV processing requires even dimensions",
    .canvas_too_small = "CPU YUV canvas is smaller than the rectified image",
};

SampleStorage sample_storage(const YuvFormat& format) {
  if (format.depth == BitDepth::eight) return SampleStorage::bits_8;
  return format.shift == 0 ? SampleStorage::bits_16 : SampleStorage::bits_16_high;
}

ChannelLayout chroma_channels(const YuvFormat& format) {
  return format.interleaved_chroma ? ChannelLayout::interleaved_pair : ChannelLayout::planar_pair;
}

PlaneView plane_view(const AVFrame& frame, int plane, Size size, SampleStorage storage) {
  return {frame.data[plane], frame.linesize[plane], size, storage};
}

}  // namespace

struct CpuYuvProcessor::State {
  State(std::shared_ptr<const RemapTables> given_tables, const ProcessorGeometry& geometry,
        std::shared_ptr<CpuWorkerPool> workers, KernelChoice choice)
      : source(geometry.source),
        canvas(canvas_size(geometry.layout, geometry.eye_box)),
        luma(luma_layout(geometry, given_tables->rectified.front())),
        chroma(chroma_layout(geometry, given_tables->rectified.front())),
        tables(std::move(given_tables)),
        kernels(choose_kernels(choice)),
        pool(std::move(workers)) {}

  [[nodiscard]] PlanePass luma_pass(const AVFrame* const (&eyes)[2], const YuvFormat& from, AVFrame& output,
                                    const YuvFormat& to) const;
  [[nodiscard]] PlanePass chroma_pass(const AVFrame* const (&eyes)[2], const YuvFormat& from, AVFrame& output,
                                      const YuvFormat& to) const;
  void start(const PlanePass& pass) {
    pool->start(pass.layout.rows, [pass](std::int32_t row) { pass.write_row(row); });
  }

  Size source;
  Size canvas;
  PlaneLayout luma;
  PlaneLayout chroma;
  std::shared_ptr<const RemapTables> tables;
  LanczosWeights weights = make_lanczos_weights();
  Kernels kernels;
  std::shared_ptr<CpuWorkerPool> pool;
};

PlanePass CpuYuvProcessor::State::luma_pass(const AVFrame* const (&eyes)[2], const YuvFormat& from,
                                            AVFrame& output, const YuvFormat& to) const {
  PlanePass pass{.tools = {kernels, weights}, .layout = luma};
  for (std::size_t eye = 0; eye < 2; ++eye)
    pass.eyes[eye] = {&tables->luma[eye], {plane_view(*eyes[eye], 0, source, sample_storage(from))}};
  pass.canvas = {{output.data[0]}, {output.linesize[0]}};
  pass.bytes_per_code = to.bytes_per_sample();
  pass.store = {to.max_code(), from.max_code(), to.shift};
  pass.fill = 0.0F;
  return pass;
}

PlanePass CpuYuvProcessor::State::chroma_pass(const AVFrame* const (&eyes)[2], const YuvFormat& from,
                                              AVFrame& output, const YuvFormat& to) const {
  PlanePass pass{.tools = {kernels, weights}, .layout = chroma};
  for (std::size_t eye = 0; eye < 2; ++eye)
    pass.eyes[eye] = {&tables->chroma[eye],
                      {plane_view(*eyes[eye], 1, chroma_size(source), sample_storage(from)),
                       plane_view(*eyes[eye], 2, chroma_size(source), sample_storage(from))}};
  pass.source_channels = chroma_channels(from);
  pass.canvas = {{output.data[1], output.data[2]}, {output.linesize[1], output.linesize[2]}};
  pass.canvas_channels = chroma_channels(to);
  pass.bytes_per_code = to.bytes_per_sample();
  pass.store = {to.max_code(), from.max_code(), to.shift};
  pass.fill = from.neutral_chroma();
  return pass;
}

CpuYuvProcessor::CpuYuvProcessor(std::unique_ptr<State> state) : state_(std::move(state)) {}

CpuYuvProcessor::~CpuYuvProcessor() = default;

std::unique_ptr<CpuYuvProcessor> CpuYuvProcessor::create(std::shared_ptr<const RemapTables> tables,
                                                         const ProcessorGeometry& geometry,
                                                         std::shared_ptr<CpuWorkerPool> pool,
                                                         std::string& error, KernelChoice kernels) {
  if (!check_sizes(tables->rectified, geometry, size_messages, error)) return nullptr;
  return std::unique_ptr<CpuYuvProcessor>(
      new CpuYuvProcessor(std::make_unique<State>(std::move(tables), geometry, std::move(pool), kernels)));
}

bool CpuYuvProcessor::process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                              std::string& error) const {
  if (!start(left, right, output, error)) return false;
  wait();
  return true;
}

bool CpuYuvProcessor::start(const AVFrame* left, const AVFrame* right, AVFrame* output,
                            std::string& error) const {
  const auto readable = [this](const AVFrame* frame) {
    return frame != nullptr && Size{frame->width, frame->height} == state_->source &&
           describe_yuv_format(frame->format).has_value();
  };
  if (!readable(left) || !readable(right) || output == nullptr || !describe_yuv_format(output->format))
    return fail(error, "CPU YUV processing received an unsupported pixel format");
  const YuvFormat from = *describe_yuv_format(left->format);
  const YuvFormat to = *describe_yuv_format(output->format);
  if (from != *describe_yuv_format(right->format) || Size{output->width, output->height} != state_->canvas)
    return fail(error, "CPU YUV processing received incompatible frame dimensions");
  if (av_frame_make_writable(output) < 0)
    return fail(error, "could not make the CPU YUV encoder frame writable");

  const AVFrame* const eyes[2] = {left, right};
  output->chroma_location = left->chroma_location;
  state_->start(state_->luma_pass(eyes, from, *output, to));
  state_->start(state_->chroma_pass(eyes, from, *output, to));
  return true;
}

void CpuYuvProcessor::wait() const {
  state_->pool->wait();
}

}  // namespace veyrin
