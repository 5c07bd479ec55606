#include "spatial/view_pair_joiner.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "common/error_text.h"
#include "media/ffmpeg.h"

namespace veyrin {
namespace {

std::string times(const AVPacket& packet) {
  return std::to_string(packet.pts) + "/" + std::to_string(packet.dts);
}

}  // namespace

std::unique_ptr<ViewPairJoiner> ViewPairJoiner::create() {
  PacketPtr unit(av_packet_alloc());
  if (!unit) return nullptr;
  return std::unique_ptr<ViewPairJoiner>(new ViewPairJoiner(std::move(unit)));
}

bool ViewPairJoiner::add(AVPacket& view, std::string& error) {
  complete_ = false;
  if (unit_->buf == nullptr) {
    av_packet_move_ref(unit_.get(), &view);
    return true;
  }
  complete_ = append(view, error);
  av_packet_unref(&view);
  return complete_;
}

bool ViewPairJoiner::append(const AVPacket& view, std::string& error) {
  AVPacket& first = *unit_;
  if (view.pts != first.pts) {
    return fail(error, "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=" +
                           times(first) + ", second pts/dts=" + times(view) + ")");
  }
  const int first_size = first.size;
  if (view.size > std::numeric_limits<int>::max() - first_size) {
    return fail(error, "MV-HEVC access unit is too large");
  }
  const int result = av_grow_packet(&first, view.size);
  if (result < 0) return fail_with_library_error(error, "could not combine MV-HEVC view packets", result);
  if (view.size > 0) std::memcpy(first.data + first_size, view.data, static_cast<std::size_t>(view.size));
  first.flags |= view.flags;
  first.duration = std::max(first.duration, view.duration);
  first.pos = -1;
  return true;
}

}  // namespace veyrin
