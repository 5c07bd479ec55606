#include "processing/d3d11/d3d11_yuv_processor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "common/error_text.h"
#include "media/ffmpeg.h"
#include "media/video_types.h"
#include "processing/canvas_layout.h"
#include "processing/d3d11/encoder_surfaces.h"
#include "processing/d3d11/frame_surfaces.h"
#include "processing/d3d11/gpu_resources.h"
#include "processing/d3d11/shader_tables.h"
#include "processing/d3d11/yuv_shaders.h"
#include "processing/kernels.h"
#include "processing/remap_tables.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin {
namespace {

using platform::ComPtr;

/// The shaders' constants; the order is theirs.
struct ShaderParameters {
  std::uint32_t rectified_width, rectified_height;
  std::uint32_t source_width, source_height;
  std::uint32_t canvas_width, canvas_height;
  std::uint32_t output_width, output_height;
  std::uint32_t layout;
  std::uint32_t offset_x, offset_y;
  std::uint32_t unused;
};
static_assert(sizeof(ShaderParameters) == 48);

/// Everything that touches the immediate context happens under the lock that FFmpeg's decoders take too.
class DeviceLock {
 public:
  explicit DeviceLock(const AVD3D11VADeviceContext& device) : device_(device) {
    device_.lock(device_.lock_ctx);
  }
  ~DeviceLock() { device_.unlock(device_.lock_ctx); }
  DeviceLock(const DeviceLock&) = delete;
  DeviceLock& operator=(const DeviceLock&) = delete;

 private:
  const AVD3D11VADeviceContext& device_;
};

bool is_gpu_frame(const AVFrame* frame) {
  return frame != nullptr && frame->format == AV_PIX_FMT_D3D11 && frame->data[0] != nullptr;
}

UINT group_count(std::int32_t threads) {
  return (static_cast<UINT>(threads) + shader_group_size - 1) / shader_group_size;
}

constexpr SizeMessages size_messages{
    .invalid_maps = "invalid D3D11 YUV rectification maps",
    .odd_size = "D3D11 YUV GPU path requires even dimensions",
    .canvas_too_small = "D3D11 YUV canvas is smaller than the rectified image",
};

}  // namespace

struct D3D11YuvProcessor::State {
  State(BufferRefPtr hardware_device, const RemapTables& remap, const ProcessorGeometry& given,
        BitDepth frames_depth)
      : device_reference(std::move(hardware_device)),
        hardware(*static_cast<AVD3D11VADeviceContext*>(
            reinterpret_cast<AVHWDeviceContext*>(device_reference->data)->hwctx)),
        device(*hardware.device),
        context(*hardware.device_context),
        rectified(remap.rectified.front()),
        geometry(given),
        depth(frames_depth),
        canvas(canvas_size(given.layout, given.eye_box)) {}

  [[nodiscard]] bool upload_tables(const RemapTables& remap, std::string& error);
  [[nodiscard]] bool upload_table(const PlaneRemapTable& table, std::size_t slot, std::string& error);
  [[nodiscard]] bool create_parameters(std::string& error);
  [[nodiscard]] bool create_surfaces(std::string& error);

  /// Asks whether the device is still there; `step` is what it was needed for.
  [[nodiscard]] bool check_device(const char* step, std::string& error) const;

  [[nodiscard]] bool submit(const AVFrame& left, const AVFrame& right, const AVFrame& output,
                            std::string& error) const;
  [[nodiscard]] bool copy_eyes(const AVFrame& left, const AVFrame& right, std::string& error) const;
  [[nodiscard]] bool check_output(const AVFrame& output, std::string& error) const;
  void run_shaders() const;
  void run(ID3D11ComputeShader& shader, UINT slot, ID3D11UnorderedAccessView* target, Size size) const;

  // Slots of the shaders' resources.
  static constexpr std::size_t table_slots = 8;       // positions and phases: both lumas, then both chromas
  static constexpr std::size_t first_table_slot = 4;  // behind both eyes' planes
  static constexpr std::size_t resource_slots = 13;

  BufferRefPtr device_reference;
  BufferRefPtr encoder_frames;
  const AVD3D11VADeviceContext& hardware;
  ID3D11Device& device;
  ID3D11DeviceContext& context;
  YuvShaders shaders;
  std::array<ShaderBuffer, table_slots> tables;
  ShaderBuffer weights;
  ComPtr<ID3D11Buffer> parameters;
  ReadableSurface left_surface;
  ReadableSurface right_surface;
  WritableSurface output_surface;
  Size rectified;
  ProcessorGeometry geometry;
  BitDepth depth;
  Size canvas;
};

bool D3D11YuvProcessor::State::upload_table(const PlaneRemapTable& table, std::size_t slot,
                                            std::string& error) {
  const ShaderTable arrays = make_shader_table(table);
  return upload(device, std::span(arrays.positions), tables[slot], error) &&
         upload(device, std::span(arrays.phases), tables[slot + 1], error);
}

bool D3D11YuvProcessor::State::upload_tables(const RemapTables& remap, std::string& error) {
  const std::vector<float> products = make_shader_weights(make_lanczos_weights());
  return upload_table(remap.luma[0], 0, error) && upload_table(remap.luma[1], 2, error) &&
         upload_table(remap.chroma[0], 4, error) && upload_table(remap.chroma[1], 6, error) &&
         upload(device, std::span(products), weights, error);
}

bool D3D11YuvProcessor::State::create_parameters(std::string& error) {
  const auto unsigned_value = [](std::int32_t value) { return static_cast<std::uint32_t>(value); };
  ShaderParameters values{};
  values.rectified_width = unsigned_value(rectified.width);
  values.rectified_height = unsigned_value(rectified.height);
  values.source_width = unsigned_value(geometry.source.width);
  values.source_height = unsigned_value(geometry.source.height);
  values.canvas_width = unsigned_value(geometry.eye_box.width);
  values.canvas_height = unsigned_value(geometry.eye_box.height);
  values.output_width = unsigned_value(canvas.width);
  values.output_height = unsigned_value(canvas.height);
  values.layout = static_cast<std::uint32_t>(geometry.layout);
  values.offset_x = unsigned_value(even_pad(geometry.eye_box.width, rectified.width));
  values.offset_y = unsigned_value(even_pad(geometry.eye_box.height, rectified.height));
  parameters = create_constants(device, std::as_bytes(std::span(&values, 1)), error);
  return parameters != nullptr;
}

bool D3D11YuvProcessor::State::create_surfaces(std::string& error) {
  return create_readable_surface(device, geometry.source, depth, left_surface, error) &&
         create_readable_surface(device, geometry.source, depth, right_surface, error) &&
         create_writable_surface(device, canvas, depth, output_surface, error);
}

bool D3D11YuvProcessor::State::copy_eyes(const AVFrame& left, const AVFrame& right,
                                         std::string& error) const {
  struct Copy {
    const AVFrame& frame;
    const ReadableSurface& surface;
    D3D11_TEXTURE2D_DESC description;
    std::optional<D3D11_BOX> box;
  };
  std::array<Copy, 2> eyes{{{left, left_surface, {}, {}}, {right, right_surface, {}, {}}}};
  for (Copy& eye : eyes) {
    eye.description = describe(*frame_texture(eye.frame));
    // The tables fit one size; a larger picture would lose all but a corner.
    eye.box = picture_box(eye.frame, eye.description, geometry.source);
    if (eye.description.Format != surface_format(depth) || !eye.box)
      return fail(error, "D3D11 decoder surfaces have an unexpected YUV format");
  }
  // Decoders round the size of their surfaces up; only the picture is copied.
  for (const Copy& eye : eyes)
    context.CopySubresourceRegion(eye.surface.texture.get(), 0, 0, 0, 0, frame_texture(eye.frame),
                                  frame_subresource(eye.frame, eye.description), &*eye.box);
  return true;
}

bool D3D11YuvProcessor::State::check_output(const AVFrame& output, std::string& error) const {
  if (frame_texture(output) == nullptr) return fail(error, "D3D11 encoder frame has no texture");
  const D3D11_TEXTURE2D_DESC description = describe(*frame_texture(output));
  if (description.Format != surface_format(depth) || texture_size(description) != canvas)
    return fail(error, "D3D11 encoder surface has an unexpected format or size");
  return true;
}

void D3D11YuvProcessor::State::run_shaders() const {
  std::array<ID3D11ShaderResourceView*, resource_slots> resources{
      left_surface.luma.get(), left_surface.chroma.get(), right_surface.luma.get(),
      right_surface.chroma.get()};
  for (std::size_t table = 0; table < tables.size(); ++table)
    resources[first_table_slot + table] = tables[table].view.get();
  resources[first_table_slot + table_slots] = weights.view.get();
  context.CSSetShaderResources(0, resources.size(), resources.data());
  ID3D11Buffer* constants = parameters.get();
  context.CSSetConstantBuffers(0, 1, &constants);

  run(*shaders.luma, 0, output_surface.luma.get(), canvas);
  run(*shaders.chroma, 1, output_surface.chroma.get(), chroma_size(canvas));

  // The decoders write into what these views show.
  resources.fill(nullptr);
  context.CSSetShaderResources(0, resources.size(), resources.data());
}

void D3D11YuvProcessor::State::run(ID3D11ComputeShader& shader, UINT slot, ID3D11UnorderedAccessView* target,
                                   Size size) const {
  context.CSSetShader(&shader, nullptr, 0);
  context.CSSetUnorderedAccessViews(slot, 1, &target, nullptr);
  context.Dispatch(group_count(size.width), group_count(size.height), 1);
  ID3D11UnorderedAccessView* nothing = nullptr;
  context.CSSetUnorderedAccessViews(slot, 1, &nothing, nullptr);
}

bool D3D11YuvProcessor::State::submit(const AVFrame& left, const AVFrame& right, const AVFrame& output,
                                      std::string& error) const {
  if (!copy_eyes(left, right, error) || !check_output(output, error)) return false;
  run_shaders();
  ID3D11Texture2D* target = frame_texture(output);
  context.CopySubresourceRegion(target, frame_subresource(output, describe(*target)), 0, 0, 0,
                                output_surface.texture.get(), 0, nullptr);
  return true;
}

bool D3D11YuvProcessor::State::check_device(const char* step, std::string& error) const {
  const HRESULT reason = device.GetDeviceRemovedReason();
  return SUCCEEDED(reason) || fail_with_result(error, step, reason);
}

D3D11YuvProcessor::D3D11YuvProcessor(std::unique_ptr<State> state) : state_(std::move(state)) {}

D3D11YuvProcessor::~D3D11YuvProcessor() = default;

std::unique_ptr<D3D11YuvProcessor> D3D11YuvProcessor::create(AVBufferRef* device, const RemapTables& remap,
                                                             const ProcessorGeometry& geometry,
                                                             BitDepth depth, std::string& error,
                                                             const ShaderSource& shaders) {
  BufferRefPtr reference(device != nullptr ? av_buffer_ref(device) : nullptr);
  if (!reference) {
    error = "could not retain D3D11 device";
    return nullptr;
  }
  if (!check_sizes(remap.rectified, geometry, size_messages, error)) return nullptr;
  auto state = std::make_unique<State>(std::move(reference), remap, geometry, depth);
  if (!create_yuv_shaders(state->device, shaders, state->shaders, error) ||
      !state->upload_tables(remap, error) || !state->create_parameters(error) ||
      !state->create_surfaces(error) ||
      !create_encoder_frames(*state->device_reference, state->canvas, depth, state->encoder_frames, error) ||
      !state->check_device("D3D11 YUV device check", error))
    return nullptr;
  return std::unique_ptr<D3D11YuvProcessor>(new D3D11YuvProcessor(std::move(state)));
}

bool D3D11YuvProcessor::process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                                std::string& error) const {
  if (!is_gpu_frame(left) || !is_gpu_frame(right))
    return fail(error, "D3D11 YUV processor requires D3D11 frames");
  const DeviceLock lock(state_->hardware);
  const bool submitted = state_->submit(*left, *right, *output, error);
  // The context takes work for a device that is gone, and whatever else failed then failed for that reason.
  return state_->check_device("D3D11 YUV frame processing", error) && submitted;
}

AVBufferRef* D3D11YuvProcessor::encoder_frames() const {
  return state_->encoder_frames.get();
}

std::unique_ptr<GpuYuvProcessor> GpuYuvProcessor::create(AVBufferRef* device, const RemapTables& remap,
                                                         const ProcessorGeometry& geometry, BitDepth depth,
                                                         std::string& error) {
  return D3D11YuvProcessor::create(device, remap, geometry, depth, error);
}

}  // namespace veyrin
