#include "metadata/first_document.h"

#include "metadata/gpmf_record.h"
#include "metadata/legacy_keys.h"
#include "metadata/recording_streams.h"

namespace veyrin {
namespace {

double sample_time_seconds(const AVPacket& packet, AVRational time_base) {
  if (packet.pts == AV_NOPTS_VALUE) return 0.0;
  return static_cast<double>(time_base.num) / static_cast<double>(time_base.den) *
         static_cast<double>(packet.pts);
}

}  // namespace

std::optional<TimedDocument> read_first_document(AVFormatContext& input, int metadata_stream,
                                                 AVPacket& packet) {
  discard_other_streams(input, metadata_stream);
  while (av_read_frame(&input, &packet) >= 0) {
    std::optional<nlohmann::json> document;
    if (packet.stream_index == metadata_stream) document = parse_gpmf_json_record(&packet);
    const double time = sample_time_seconds(packet, input.streams[packet.stream_index]->time_base);
    av_packet_unref(&packet);
    if (!document) continue;
    adopt_legacy_keys(*document);
    return TimedDocument{std::move(*document), time};
  }
  return std::nullopt;
}

}  // namespace veyrin
