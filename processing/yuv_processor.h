// What every processor does: rectifies a pair of decoded frames and packs both eyes into the encoder's frame.
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "media/video_types.h"

struct AVBufferRef;
struct AVFrame;

namespace veyrin {

struct RemapTables;

/// How the eyes are placed on the canvas. The shaders of the GPU processor know the values.
enum class OutputLayout : std::int32_t { mono_left = 0, mono_right = 1, full_sbs = 2, half_sbs = 3 };

/// The canvas of eye boxes of this size: the box itself, twice as wide for full side by side, clipped to what
/// 32 bits hold.
[[nodiscard]] constexpr Size canvas_size(OutputLayout layout, Size eye_box) {
  if (layout != OutputLayout::full_sbs) return eye_box;
  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t width = 2 * std::int64_t{eye_box.width};
  return {static_cast<std::int32_t>(std::clamp<std::int64_t>(width, Limits::min(), Limits::max())),
          eye_box.height};
}

/// Luma sizes of one processor; all even.
struct ProcessorGeometry {
  Size source;   ///< of a decoded eye
  Size eye_box;  ///< of an eye's place on the canvas, before half side by side squeezes it
  OutputLayout layout = OutputLayout::full_sbs;
};

class YuvProcessor {
 public:
  YuvProcessor() = default;
  virtual ~YuvProcessor() = default;
  YuvProcessor(const YuvProcessor&) = delete;
  YuvProcessor& operator=(const YuvProcessor&) = delete;

  /// Writes the canvas of a pair into `output`; false with one message in `error` when the frames do
  /// not fit the processor. One call at a time.
  [[nodiscard]] virtual bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                                     std::string& error) const = 0;

  /// Begins the same and may return before it is done: the three frames must live, and nobody else may touch
  /// the output, until `wait` has returned. On failure nothing has begun. Processors that have no threads of
  /// their own do all of it here.
  [[nodiscard]] virtual bool start(const AVFrame* left, const AVFrame* right, AVFrame* output,
                                   std::string& error) const {
    return process(left, right, output, error);
  }

  /// Returns when all that was started is written.
  virtual void wait() const {}
};

/// The processor for frames that stay on the GPU from the decoder to the encoder, where the system has one.
class GpuYuvProcessor : public YuvProcessor {
 public:
  /// Makes the system's GPU processor on the decoders' hardware device, which it takes a reference to, for
  /// surfaces of this depth; null with one message in `error` on failure. The tables are those of both eyes
  /// and are read only during the call.
  [[nodiscard]] static std::unique_ptr<GpuYuvProcessor> create(AVBufferRef* device, const RemapTables& tables,
                                                               const ProcessorGeometry& geometry,
                                                               BitDepth depth, std::string& error);

  /// The frames context of the surfaces that `process` writes into, for the encoder; owned by the processor.
  [[nodiscard]] virtual AVBufferRef* encoder_frames() const = 0;
};

}  // namespace veyrin
