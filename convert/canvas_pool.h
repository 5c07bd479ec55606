// The canvases of movies that take them from memory.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "media/frame_pool.h"

namespace veyrin {

/// The frames that one pair's pictures go into, one for each layout of the movie's output.
using Canvases = std::vector<FramePtr>;

/// What the canvases of a movie are.
struct CanvasKind {
  std::size_t count = 1;  ///< for each pair
  AVPixelFormat format = AV_PIX_FMT_NONE;
  Size size;
  RowLayout rows = RowLayout::aligned;
  const char* no_memory = "could not allocate the encoder frame";  ///< message
};

class CanvasPool {
 public:
  /// Allocates the canvases of the first pair, so that a movie without memory fails before it has begun; null
  /// with one message in `error` on failure.
  [[nodiscard]] static std::unique_ptr<CanvasPool> create(const CanvasKind& kind, std::string& error);

  /// Canvases that nobody else holds; none with one message in `error` on failure.
  [[nodiscard]] Canvases take(std::string& error);

  /// Takes canvases back that the encoder may still hold.
  void give_back(Canvases canvases);

 private:
  explicit CanvasPool(const CanvasKind& kind) : kind_(kind), frames_(kind.format, kind.size, kind.rows) {}

  CanvasKind kind_;
  FramePool frames_;
};

}  // namespace veyrin
