// What every processor does: rectifies a pair of decoded frames and packs both eyes into the encoder's frame.
#pragma once

#include <cstdint>
#include <string>

struct AVFrame;

namespace veyrin {

/// How the eyes are placed on the canvas. The shaders of the GPU processor know the values.
enum class OutputLayout : std::int32_t { mono_left = 0, mono_right = 1, full_sbs = 2, half_sbs = 3 };

/// Sizes of one processor; all even. The canvas is the eye box, twice as wide for full side by side.
struct ProcessorGeometry {
  std::int32_t source_width = 0;
  std::int32_t source_height = 0;
  std::int32_t eye_box_width = 0;
  std::int32_t eye_box_height = 0;
  OutputLayout layout = OutputLayout::full_sbs;
};

class YuvProcessor {
 public:
  YuvProcessor() = default;
  virtual ~YuvProcessor() = default;
  YuvProcessor(const YuvProcessor&) = delete;
  YuvProcessor& operator=(const YuvProcessor&) = delete;

  /// Writes the packed canvas of a pair into `output`; false with one message in `error` when the frames do
  /// not fit the processor. One call at a time.
  [[nodiscard]] virtual bool process(const AVFrame* left, const AVFrame* right, AVFrame* output,
                                     std::string& error) const = 0;
};

}  // namespace veyrin
