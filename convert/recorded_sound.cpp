#include "convert/recorded_sound.h"

#include <cstdint>

#include "common/console.h"
#include "common/error_text.h"
#include "media/sound_copy.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace veyrin {

bool check_recorded_sound(const AVOutputFormat& container, const AVStream& sound, std::string& error) {
  if (can_copy_sound(container.name, sound)) return true;
  const bool matroska_helps =
      av_guess_format("matroska", nullptr, nullptr) != nullptr && can_copy_sound("matroska", sound);
  return fail(error, sound_failure_text(sound, std::string("an output of the kind ") + container.name,
                                        matroska_helps ? ".mkv" : ""));
}

std::optional<int> add_recorded_sound(MovieFile& movie, const AVStream& sound, std::string& error) {
  const auto track = movie.add_audio_track(*sound.codecpar, sound.time_base, error);
  if (!track) return std::nullopt;
  AVStream& stream = movie.stream(*track);
  stream.disposition = sound.disposition;
  av_dict_copy(&stream.metadata, sound.metadata, 0);
  console_line("  audio: stream copy (%s)", avcodec_get_name(sound.codecpar->codec_id));
  return track;
}

AudioDecision trim_sound_packet(AVPacket& packet, AVRational time_base, const TimeRange& range) {
  if (packet.pts == AV_NOPTS_VALUE) return AudioDecision::skip;
  const double packet_start = static_cast<double>(packet.pts) * av_q2d(time_base);
  const double packet_end = packet_start + static_cast<double>(packet.duration) * av_q2d(time_base);
  const AudioDecision decision = decide_audio_packet(packet_start, packet_end, range);
  if (decision != AudioDecision::copy) return decision;
  const std::int64_t offset = av_rescale_q(audio_offset_microseconds(range), AV_TIME_BASE_Q, time_base);
  packet.pts -= offset;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= offset;
  return decision;
}

}  // namespace veyrin
