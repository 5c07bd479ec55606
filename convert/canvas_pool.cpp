#include "convert/canvas_pool.h"

#include <utility>

namespace veyrin {

std::unique_ptr<CanvasPool> CanvasPool::create(const CanvasKind& kind, std::string& error) {
  std::unique_ptr<CanvasPool> pool(new CanvasPool(kind));
  Canvases first = pool->take(error);
  if (first.empty()) return nullptr;
  pool->give_back(std::move(first));
  return pool;
}

Canvases CanvasPool::take(std::string& error) {
  Canvases canvases;
  while (canvases.size() < kind_.count) {
    canvases.push_back(frames_.take());
    if (canvases.back()) continue;
    error = kind_.no_memory;
    return {};
  }
  return canvases;
}

void CanvasPool::give_back(Canvases canvases) {
  for (FramePtr& canvas : canvases) frames_.give_back(std::move(canvas));
}

}  // namespace veyrin
