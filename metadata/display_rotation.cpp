#include "metadata/display_rotation.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
}

namespace veyrin {

std::optional<int> display_rotation_quarter_turns(const AVStream& stream) {
  const AVPacketSideData* side_data = av_packet_side_data_get(
      stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, AV_PKT_DATA_DISPLAYMATRIX);
  std::array<std::int32_t, 9> matrix{};
  if (side_data == nullptr || side_data->size < sizeof(matrix)) return std::nullopt;
  std::memcpy(matrix.data(), side_data->data, sizeof(matrix));
  // FFmpeg's angle is counterclockwise and NaN for a matrix that scales to nothing.
  const double angle = av_display_rotation_get(matrix.data());
  if (!std::isfinite(angle)) return std::nullopt;
  const int turns = static_cast<int>(std::lround(-angle / 90.0)) % 4;
  return turns < 0 ? turns + 4 : turns;
}

}  // namespace veyrin
