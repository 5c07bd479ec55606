#include "processing/d3d11/d3d11_yuv_processor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "common/error_text.h"
#include "media/ffmpeg.h"
#include "processing/canvas_layout.h"
#include "processing/d3d11/gpu_resources.h"
#include "processing/d3d11/result_text.h"
#include "processing/lanczos_weights.h"
#include "processing/plane_remap_table.h"
#include "processing/processor_sizes.h"
#include "processing/shader_tables.h"

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

ID3D11Texture2D* frame_texture(const AVFrame& frame) {
  return reinterpret_cast<ID3D11Texture2D*>(frame.data[0]);
}

D3D11_TEXTURE2D_DESC describe(ID3D11Texture2D& texture) {
  D3D11_TEXTURE2D_DESC description{};
  texture.GetDesc(&description);
  return description;
}

// A D3D11 frame carries the slice of its texture array where others have a plane's address.
UINT frame_subresource(const AVFrame& frame, const D3D11_TEXTURE2D_DESC& description) {
  return D3D11CalcSubresource(0, static_cast<UINT>(reinterpret_cast<std::uintptr_t>(frame.data[1])),
                              description.MipLevels);
}

bool is_gpu_frame(const AVFrame* frame) {
  return frame != nullptr && frame->format == AV_PIX_FMT_D3D11 && frame->data[0] != nullptr;
}

UINT group_count(UINT threads) {
  return (threads + shader_group_size - 1) / shader_group_size;
}

bool check_sizes(const RectificationMaps& maps, const ProcessorGeometry& geometry, std::string& error) {
  switch (find_size_problem(maps, geometry)) {
    case SizeProblem::invalid_maps:
      return fail(error, "invalid D3D11 YUV rectification maps");
    case SizeProblem::odd_size:
      return fail(error, "D3D11 YUV GPU path requires even dimensions");
    case SizeProblem::canvas_too_small:
      return fail(error, "D3D11 YUV canvas is smaller than the rectified image");
    case SizeProblem::none:
      break;
  }
  return true;
}

}  // namespace

struct D3D11YuvProcessor::State {
  State(BufferRefPtr hardware_device, const RectificationMaps& maps, const ProcessorGeometry& given,
        bool ten_bit_frames)
      : device_reference(std::move(hardware_device)),
        hardware(*static_cast<AVD3D11VADeviceContext*>(
            reinterpret_cast<AVHWDeviceContext*>(device_reference->data)->hwctx)),
        device(*hardware.device),
        context(*hardware.device_context),
        rectified{maps.left.width, maps.left.height},
        geometry(given),
        ten_bit(ten_bit_frames),
        source_size{static_cast<UINT>(given.source_width), static_cast<UINT>(given.source_height)},
        output_size{static_cast<UINT>(canvas_width(given)), static_cast<UINT>(given.eye_box_height)} {}

  [[nodiscard]] bool upload_tables(const RectificationMaps& maps, std::string& error);
  [[nodiscard]] bool upload_table(const PlaneRemapTable& table, std::size_t slot, std::string& error);
  [[nodiscard]] bool create_parameters(std::string& error);
  [[nodiscard]] bool create_surfaces(std::string& error);
  [[nodiscard]] bool create_encoder_frames(std::string& error);
  [[nodiscard]] bool check_encoder_surface(std::string& error) const;

  [[nodiscard]] bool is_source(const AVFrame& frame) const;
  [[nodiscard]] bool copy_eyes(const AVFrame& left, const AVFrame& right, std::string& error) const;
  [[nodiscard]] bool check_output(const AVFrame& output, std::string& error) const;
  void run_shaders() const;
  void run(ID3D11ComputeShader& shader, UINT slot, ID3D11UnorderedAccessView* target, SurfaceSize size) const;

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
  bool ten_bit;
  SurfaceSize source_size;
  SurfaceSize output_size;
};

bool D3D11YuvProcessor::State::upload_table(const PlaneRemapTable& table, std::size_t slot,
                                            std::string& error) {
  const ShaderTable arrays = make_shader_table(table);
  return upload(device, std::span(arrays.positions), tables[slot], error) &&
         upload(device, std::span(arrays.phases), tables[slot + 1], error);
}

bool D3D11YuvProcessor::State::upload_tables(const RectificationMaps& maps, std::string& error) {
  const Size luma{geometry.source_width, geometry.source_height};
  const Size chroma{luma.width / 2, luma.height / 2};
  const std::vector<float> products = make_shader_weights(make_lanczos_weights());
  return upload_table(PlaneRemapTable::for_luma(maps.left, luma), 0, error) &&
         upload_table(PlaneRemapTable::for_luma(maps.right, luma), 2, error) &&
         upload_table(PlaneRemapTable::for_chroma(maps.left, chroma), 4, error) &&
         upload_table(PlaneRemapTable::for_chroma(maps.right, chroma), 6, error) &&
         upload(device, std::span(products), weights, error);
}

bool D3D11YuvProcessor::State::create_parameters(std::string& error) {
  ShaderParameters values{};
  values.rectified_width = static_cast<std::uint32_t>(rectified.width);
  values.rectified_height = static_cast<std::uint32_t>(rectified.height);
  values.source_width = source_size.width;
  values.source_height = source_size.height;
  values.canvas_width = static_cast<std::uint32_t>(geometry.eye_box_width);
  values.canvas_height = static_cast<std::uint32_t>(geometry.eye_box_height);
  values.output_width = output_size.width;
  values.output_height = output_size.height;
  values.layout = static_cast<std::uint32_t>(geometry.layout);
  values.offset_x = static_cast<std::uint32_t>(even_pad(geometry.eye_box_width, rectified.width));
  values.offset_y = static_cast<std::uint32_t>(even_pad(geometry.eye_box_height, rectified.height));

  D3D11_BUFFER_DESC description{};
  description.ByteWidth = sizeof values;
  description.Usage = D3D11_USAGE_IMMUTABLE;
  description.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
  D3D11_SUBRESOURCE_DATA data{};
  data.pSysMem = &values;
  ID3D11Buffer* created = nullptr;
  const HRESULT result = device.CreateBuffer(&description, &data, &created);
  if (FAILED(result)) return fail_with_result(error, "D3D11 YUV parameters", result);
  parameters.reset(created);
  return true;
}

bool D3D11YuvProcessor::State::create_surfaces(std::string& error) {
  return create_readable_surface(device, source_size, ten_bit, left_surface, error) &&
         create_readable_surface(device, source_size, ten_bit, right_surface, error) &&
         create_writable_surface(device, output_size, ten_bit, output_surface, error);
}

bool D3D11YuvProcessor::State::create_encoder_frames(std::string& error) {
  encoder_frames.reset(av_hwframe_ctx_alloc(device_reference.get()));
  if (!encoder_frames) return fail(error, "could not allocate NVENC D3D11 frame context");
  auto& frames = *reinterpret_cast<AVHWFramesContext*>(encoder_frames->data);
  frames.format = AV_PIX_FMT_D3D11;
  frames.sw_format = ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12;
  frames.width = static_cast<int>(output_size.width);
  frames.height = static_cast<int>(output_size.height);
  frames.initial_pool_size = 0;
  static_cast<AVD3D11VAFramesContext*>(frames.hwctx)->BindFlags = 0;
  const int status = av_hwframe_ctx_init(encoder_frames.get());
  if (status < 0)
    return fail_with_library_error(error, "could not initialize D3D11 NVENC surface pool", status);
  return true;
}

bool D3D11YuvProcessor::State::check_encoder_surface(std::string& error) const {
  const FramePtr probe(av_frame_alloc());
  const int status = probe ? av_hwframe_get_buffer(encoder_frames.get(), probe.get(), 0) : AVERROR(ENOMEM);
  if (status < 0)
    return fail_with_library_error(error, "could not allocate a probe D3D11 encoder surface", status);
  if (describe(*frame_texture(*probe)).Format != surface_format(ten_bit))
    return fail_with_result(error, "D3D11 encoder surface validation", E_INVALIDARG);
  return true;
}

// The tables are those of one size; of a larger picture a corner would be taken for the whole.
bool D3D11YuvProcessor::State::is_source(const AVFrame& frame) const {
  const D3D11_TEXTURE2D_DESC description = describe(*frame_texture(frame));
  return description.Format == surface_format(ten_bit) && frame.width == geometry.source_width &&
         frame.height == geometry.source_height && description.Width >= source_size.width &&
         description.Height >= source_size.height;
}

bool D3D11YuvProcessor::State::copy_eyes(const AVFrame& left, const AVFrame& right,
                                         std::string& error) const {
  const std::array<std::pair<const AVFrame&, const ReadableSurface&>, 2> eyes{
      {{left, left_surface}, {right, right_surface}}};
  for (const auto& [frame, surface] : eyes)
    if (!is_source(frame)) return fail(error, "D3D11 decoder surfaces have an unexpected YUV format");
  // Decoders round the size of their surfaces up; what is beyond the picture stays behind.
  const D3D11_BOX picture{0, 0, 0, source_size.width, source_size.height, 1};
  for (const auto& [frame, surface] : eyes) {
    ID3D11Texture2D* decoded = frame_texture(frame);
    context.CopySubresourceRegion(surface.texture.get(), 0, 0, 0, 0, decoded,
                                  frame_subresource(frame, describe(*decoded)), &picture);
  }
  return true;
}

bool D3D11YuvProcessor::State::check_output(const AVFrame& output, std::string& error) const {
  if (frame_texture(output) == nullptr) return fail(error, "D3D11 encoder frame has no texture");
  const D3D11_TEXTURE2D_DESC description = describe(*frame_texture(output));
  if (description.Format != surface_format(ten_bit) || description.Width != output_size.width ||
      description.Height != output_size.height)
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

  run(*shaders.luma, 0, output_surface.luma.get(), output_size);
  run(*shaders.chroma, 1, output_surface.chroma.get(), {output_size.width / 2, output_size.height / 2});

  // The decoders write into what these views show.
  resources.fill(nullptr);
  context.CSSetShaderResources(0, resources.size(), resources.data());
}

void D3D11YuvProcessor::State::run(ID3D11ComputeShader& shader, UINT slot, ID3D11UnorderedAccessView* target,
                                   SurfaceSize size) const {
  context.CSSetShader(&shader, nullptr, 0);
  context.CSSetUnorderedAccessViews(slot, 1, &target, nullptr);
  context.Dispatch(group_count(size.width), group_count(size.height), 1);
  ID3D11UnorderedAccessView* nothing = nullptr;
  context.CSSetUnorderedAccessViews(slot, 1, &nothing, nullptr);
}

D3D11YuvProcessor::D3D11YuvProcessor(std::unique_ptr<State> state) : state_(std::move(state)) {}

D3D11YuvProcessor::~D3D11YuvProcessor() = default;

std::unique_ptr<D3D11YuvProcessor> D3D11YuvProcessor::create(AVBufferRef* device,
                                                             const RectificationMaps& maps,
                                                             const ProcessorGeometry& geometry, bool ten_bit,
                                                             std::string& error,
                                                             const std::string& compiler_library) {
  BufferRefPtr reference(device != nullptr ? av_buffer_ref(device) : nullptr);
  if (!reference) {
    error = "could not retain D3D11 device";
    return nullptr;
  }
  if (!check_sizes(maps, geometry, error)) return nullptr;
  auto state = std::make_unique<State>(std::move(reference), maps, geometry, ten_bit);
  if (!create_yuv_shaders(state->device, compiler_library, state->shaders, error) ||
      !state->upload_tables(maps, error) || !state->create_parameters(error) ||
      !state->create_surfaces(error) || !state->create_encoder_frames(error) ||
      !state->check_encoder_surface(error))
    return nullptr;
  return std::unique_ptr<D3D11YuvProcessor>(new D3D11YuvProcessor(std::move(state)));
}

bool D3D11YuvProcessor::process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                                std::string& error) const {
  if (!is_gpu_frame(left) || !is_gpu_frame(right))
    return fail(error, "D3D11 YUV processor requires D3D11 frames");
  const DeviceLock lock(state_->hardware);
  if (!state_->copy_eyes(*left, *right, error) || !state_->check_output(*output, error)) return false;
  state_->run_shaders();
  ID3D11Texture2D* target = frame_texture(*output);
  state_->context.CopySubresourceRegion(target, frame_subresource(*output, describe(*target)), 0, 0, 0,
                                        state_->output_surface.texture.get(), 0, nullptr);
  return true;
}

AVBufferRef* D3D11YuvProcessor::encoder_frames() const {
  return state_->encoder_frames.get();
}

std::unique_ptr<GpuYuvProcessor> create_gpu_yuv_processor(AVBufferRef* device, const RectificationMaps& maps,
                                                          const ProcessorGeometry& geometry, bool ten_bit,
                                                          std::string& error) {
  return D3D11YuvProcessor::create(device, maps, geometry, ten_bit, error);
}

}  // namespace veyrin
