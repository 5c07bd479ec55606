// The GPU processor on the machine's first adapter: both eyes of a frame, rectified and packed side by side.
// Prints the time of a frame with the program's shaders and, taken in turns with them, with those of each
// HLSL file on the command line, and how far the pictures are apart.
#include <d3d11.h>
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/ffmpeg.h"
#include "media/video_types.h"
#include "processing/d3d11/d3d11_yuv_processor.h"
#include "processing/remap_tables.h"

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin::bench {
namespace {

struct Settings {
  std::int32_t eye_size = 1920;
  int rounds = 9;
  std::vector<std::string> shader_files;
};

[[noreturn]] void give_up(const std::string& reason) {
  std::fprintf(stderr, "no frame time: %s\n", reason.c_str());
  std::exit(1);
}

void require(bool done, const std::string& reason) {
  if (!done) give_up(reason);
}

/// A slightly turned barrel whose corners lie outside the source.
EyeMap barrel_map(std::int32_t size, double turn) {
  const double half = size / 2.0;
  const auto read = [half, turn](std::int32_t row, std::int32_t first, std::int32_t count, float* map_x,
                                 float* map_y) {
    for (std::int32_t i = 0; i < count; ++i) {
      const double x = (first + i - half) / half;
      const double y = (row - half) / half;
      const double scale = half * (0.8 + 0.2 * (x * x + y * y));
      map_x[i] = static_cast<float>(half + scale * (x * std::cos(turn) - y * std::sin(turn)));
      map_y[i] = static_cast<float>(half + scale * (x * std::sin(turn) + y * std::cos(turn)));
    }
    return std::int64_t{count};
  };
  return {{size, size}, read};
}

BufferRefPtr make_device() {
  AVBufferRef* device = nullptr;
  require(av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_D3D11VA, nullptr, nullptr, 0) >= 0, "no D3D11");
  return BufferRefPtr(device);
}

const AVD3D11VADeviceContext& hardware(const AVBufferRef& device) {
  return *static_cast<AVD3D11VADeviceContext*>(
      reinterpret_cast<const AVHWDeviceContext*>(device.data)->hwctx);
}

/// A surface with texture in both planes.
FramePtr make_surface(AVBufferRef* device, std::int32_t size, BitDepth depth) {
  const FramePtr picture = allocate_video_frame(semi_planar_format(depth), {size, size});
  require(picture != nullptr, "no memory for a frame");
  for (int plane = 0; plane < 2; ++plane)
    for (std::int32_t y = 0; y < size / (plane + 1); ++y)
      for (std::int32_t x = 0; x < size; ++x) {
        std::uint8_t* row = picture->data[plane] + static_cast<std::ptrdiff_t>(y) * picture->linesize[plane];
        const auto code = static_cast<std::uint32_t>(x * 7 + y * 13 + (x * y) / 5);
        if (depth == BitDepth::eight)
          row[x] = static_cast<std::uint8_t>(code);
        else
          reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(code % 1024 * 64);
      }
  const BufferRefPtr surfaces(av_hwframe_ctx_alloc(device));
  auto& frames = *reinterpret_cast<AVHWFramesContext*>(surfaces->data);
  frames.format = AV_PIX_FMT_D3D11;
  frames.sw_format = semi_planar_format(depth);
  frames.width = frames.height = size;
  FramePtr surface(av_frame_alloc());
  require(av_hwframe_ctx_init(surfaces.get()) >= 0 &&
              av_hwframe_get_buffer(surfaces.get(), surface.get(), 0) >= 0 &&
              av_hwframe_transfer_data(surface.get(), picture.get(), 0) >= 0,
          "no surface");
  return surface;
}

/// Waits until the device has done what was asked of it.
void wait_for(const AVD3D11VADeviceContext& device) {
  D3D11_QUERY_DESC description{D3D11_QUERY_EVENT, 0};
  ID3D11Query* created = nullptr;
  require(SUCCEEDED(device.device->CreateQuery(&description, &created)), "no query");
  const platform::ComPtr<ID3D11Query> query(created);
  device.device_context->End(query.get());
  while (device.device_context->GetData(query.get(), nullptr, 0, 0) == S_FALSE) Sleep(1);
}

/// What all threads of the process have taken; a software driver works on them.
double processor_milliseconds() {
  FILETIME ignored{};
  FILETIME kernel{};
  FILETIME user{};
  GetProcessTimes(GetCurrentProcess(), &ignored, &ignored, &kernel, &user);
  const auto value = [](const FILETIME& time) {
    return static_cast<double>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
  };
  return (value(kernel) + value(user)) * 1e-4;
}

struct Contender {
  std::string name;
  std::unique_ptr<D3D11YuvProcessor> processor;
  FramePtr canvas;
  std::vector<double> milliseconds;
  std::vector<double> cpu_milliseconds;
};

/// Of at least one value.
double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

/// The largest difference between two canvases, in units of the codes' own steps.
double largest_difference(const AVFrame& first, const AVFrame& second, BitDepth depth) {
  const FramePtr pictures[] = {FramePtr(av_frame_alloc()), FramePtr(av_frame_alloc())};
  require(av_hwframe_transfer_data(pictures[0].get(), &first, 0) >= 0 &&
              av_hwframe_transfer_data(pictures[1].get(), &second, 0) >= 0,
          "a canvas could not be read");
  int largest = 0;
  for (int plane = 0; plane < 2; ++plane)
    for (int y = 0; y < first.height / (plane + 1); ++y) {
      const std::uint8_t* rows[2];
      for (int i = 0; i < 2; ++i)
        rows[i] = pictures[i]->data[plane] + static_cast<std::ptrdiff_t>(y) * pictures[i]->linesize[plane];
      for (int x = 0; x < first.width; ++x) {
        const auto sample = [&](int i) {
          if (depth == BitDepth::eight) return static_cast<int>(rows[i][x]);
          return static_cast<int>(reinterpret_cast<const std::uint16_t*>(rows[i])[x]);
        };
        largest = std::max(largest, std::abs(sample(0) - sample(1)));
      }
    }
  return depth == BitDepth::eight ? largest : largest / 64.0;
}

void measure(const Settings& settings, OutputLayout layout, BitDepth depth) {
  const Size eye{settings.eye_size, settings.eye_size};
  const BufferRefPtr device = make_device();
  const FramePtr surface = make_surface(device.get(), settings.eye_size, depth);
  CpuWorkerPool pool;
  const auto tables = build_remap_tables({barrel_map(eye.width, 0.02), barrel_map(eye.width, -0.03)}, eye,
                                         {true, true}, pool);
  std::vector<Contender> contenders;
  const auto add = [&](const std::string& name, const ShaderSource& shaders) {
    std::string error;
    Contender contender{
        name,
        D3D11YuvProcessor::create(device.get(), *tables, {eye, eye, layout}, depth, error, shaders),
        FramePtr(av_frame_alloc()),
        {},
        {}};
    require(contender.processor != nullptr, error);
    require(av_hwframe_get_buffer(contender.processor->encoder_frames(), contender.canvas.get(), 0) >= 0,
            "no canvas");
    contenders.push_back(std::move(contender));
  };
  add("the program's shaders", {});
  for (const std::string& file : settings.shader_files) {
    std::ifstream text(file);
    require(text.is_open(), file + " could not be opened");
    add(file, {.text = {std::istreambuf_iterator<char>(text), {}}});
  }
  // The first round compiles for the device.
  for (int round = 0; round <= settings.rounds; ++round)
    for (Contender& contender : contenders) {
      std::string error;
      const auto begin = std::chrono::steady_clock::now();
      const double processor_begin = processor_milliseconds();
      require(contender.processor->process(surface.get(), surface.get(), contender.canvas.get(), error),
              error);
      wait_for(hardware(*device));
      const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
      if (round == 0) continue;
      contender.milliseconds.push_back(taken.count());
      contender.cpu_milliseconds.push_back(processor_milliseconds() - processor_begin);
    }
  std::printf("%s width, %d-bit, %d x %d per eye:\n", layout == OutputLayout::half_sbs ? "half" : "full",
              depth == BitDepth::eight ? 8 : 10, eye.width, eye.height);
  const Contender& first = contenders.front();
  for (const Contender& contender : contenders)
    std::printf(
        "  %s: %.1f ms, at least %.1f; all threads' time %.1f ms; ratio %.2f, of the threads %.2f; %.2f "
        "codes\n",
        contender.name.c_str(), median(contender.milliseconds),
        *std::min_element(contender.milliseconds.begin(), contender.milliseconds.end()),
        median(contender.cpu_milliseconds), median(contender.milliseconds) / median(first.milliseconds),
        median(contender.cpu_milliseconds) / median(first.cpu_milliseconds),
        largest_difference(*first.canvas, *contender.canvas, depth));
  std::fflush(stdout);
}

}  // namespace
}  // namespace veyrin::bench

int main(int argc, char** argv) {
  using namespace veyrin;
  bench::Settings settings;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--eye-size" && i + 1 < argc)
      settings.eye_size = std::atoi(argv[++i]);
    else if (argument == "--rounds" && i + 1 < argc)
      settings.rounds = std::max(1, std::atoi(argv[++i]));
    else
      settings.shader_files.emplace_back(argument);
  }
  for (const BitDepth depth : {BitDepth::eight, BitDepth::ten})
    for (const OutputLayout layout : {OutputLayout::full_sbs, OutputLayout::half_sbs})
      bench::measure(settings, layout, depth);
  return 0;
}
