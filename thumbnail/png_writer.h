// PNG files of previews.
#pragma once

#include "media/ffmpeg.h"
#include "processing/cpu_worker_pool.h"
#include "thumbnail/image.h"

namespace veyrin {

/// The image as a complete PNG file of 8-bit sRGB with alpha and square pixels. Null when it cannot be made.
[[nodiscard]] PacketPtr encoded_png(const Image& image, CpuWorkerPool& pool);

}  // namespace veyrin
