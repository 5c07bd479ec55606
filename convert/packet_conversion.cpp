#include "convert/packet_conversion.h"

#include <utility>

#include "common/error_text.h"
#include "common/platform/program.h"
#include "convert/recorded_sound.h"
#include "media/recording_input.h"
#include "media/sample_table.h"

namespace veyrin {

bool TrackEnd::reached(AVStream& stream) const {
  const int entries = avformat_index_get_entries_count(&stream);
  if (entries == 0) return true;
  const AVIndexEntry* last = avformat_index_get_entry(&stream, entries - 1);
  return last != nullptr && last_dts_ && *last_dts_ >= last->timestamp;
}

bool PacketConversion::run(std::string& error) {
  const bool converted =
      seek_near_start(error) && convert_packets(error) && (video_done() || convert_last_pairs(error));
  std::string later_error;
  if (!pairs_.finish(converted ? error : later_error) || !converted) return false;
  if (pairs_.frames_written() == 0)
    return fail(error, "the selected time range contains no synchronized video frames");
  pairs_.report_pairs_out_of_step();
  return true;
}

// Decoding everything before the trim takes long where that is an hour.
bool PacketConversion::seek_near_start(std::string& error) {
  if (range_.start <= 0 || platform::environment_switch("VEYRIN_DISABLE_SEEKING")) return true;
  TrimNeeds needs;
  needs.is_dropped = [this](double pair_time) { return pairs_.drops(pair_time); };
  if (!audio_done_) needs.sound_from = range_.start;
  seek_ = find_trim_seek(input_, needs);
  if (!seek_) return true;
  const int result =
      av_seek_frame(input_.context.get(), seek_->stream, seek_->timestamp, AVSEEK_FLAG_BACKWARD);
  if (result < 0) return fail_with_library_error(error, "could not read an input packet", result);
  decoder_.left().use_frames_from(seek_->point.left.first_pts);
  decoder_.right().use_frames_from(seek_->point.right.first_pts);
  return true;
}

// Reads the recording until its end, or until neither picture nor sound is wanted any more.
bool PacketConversion::convert_packets(std::string& error) {
  PacketPtr packet(av_packet_alloc());
  if (!packet) return fail_with_library_error(error, "could not read an input packet", AVERROR(ENOMEM));
  while (!(video_done() && (audio_done_ || sound_has_ended()))) {
    const int result = read_packet(*input_.context, *packet);
    if (result == AVERROR_EOF) break;
    if (result < 0) return fail_with_library_error(error, "could not read an input packet", result);
    const bool handled = handle_packet(*packet, error);
    av_packet_unref(packet.get());
    if (!handled) return false;
  }
  return true;
}

bool PacketConversion::handle_packet(AVPacket& packet, std::string& error) {
  if (packet.stream_index == input_.audio_stream) return copy_audio(packet, error);
  if (video_done()) return true;
  if (packet.stream_index == input_.left_stream) left_end_.saw_packet(packet);
  if (packet.stream_index == input_.right_stream) right_end_.saw_packet(packet);
  if (is_before_seek_point(packet)) return true;
  if (!decoder_.queue_packet(packet, error) || !convert_ready_pairs(error)) return false;
  // Packets of the eye that goes on must not pile up when the other one's track has ended.
  if (eye_is_missing()) return convert_last_pairs(error);
  return true;
}

bool PacketConversion::copy_audio(AVPacket& packet, std::string& error) {
  sound_end_.saw_packet(packet);
  if (audio_done_) return true;
  switch (trim_sound_packet(packet, input_.audio()->time_base, range_)) {
    case AudioDecision::skip:
      return true;
    case AudioDecision::done:
      audio_done_ = true;
      return true;
    case AudioDecision::copy:
      break;
  }
  return movie_.write_audio(packet, error);
}

// Sound that ends before the trim does would have the rest of the recording read for nothing.
bool PacketConversion::sound_has_ended() {
  AVStream& sound = *input_.context->streams[input_.audio_stream];
  if (!sound_end_.reached(sound)) return false;
  if (!sound_end_is_known_)
    sound_end_is_known_ = has_one_packet_per_sample(*sound.codecpar) && has_complete_index(input_.path);
  return *sound_end_is_known_;
}

// The demuxer delivers more of one eye when the other one has to begin earlier.
bool PacketConversion::is_before_seek_point(const AVPacket& packet) const {
  if (!seek_) return false;
  const EyeStart& start = packet.stream_index == input_.left_stream ? seek_->point.left : seek_->point.right;
  return packet.dts < start.key_dts;
}

bool PacketConversion::eye_is_missing() const {
  if (video_done()) return false;
  if (decoder_.left().queued_packets() > patience_packets)
    return right_end_.reached(decoder_.right().stream());
  if (decoder_.right().queued_packets() > patience_packets)
    return left_end_.reached(decoder_.left().stream());
  return false;
}

bool PacketConversion::convert_last_pairs(std::string& error) {
  if (!decoder_.finish(error) || !convert_ready_pairs(error)) return false;
  video_ended_ = true;
  return true;
}

// Consumes every complete pair and decodes into the room that makes, until there is no further pair.
bool PacketConversion::convert_ready_pairs(std::string& error) {
  while (!video_done() && decoder_.has_pair()) {
    DecodedFrame left = decoder_.left().take_frame();
    DecodedFrame right = decoder_.right().take_frame();
    if (!pairs_.convert(std::move(left), std::move(right), error)) return false;
    // What is damaged behind the end of the trim does not matter.
    if (!video_done() && !decoder_.pump(error)) return false;
  }
  return true;
}

}  // namespace veyrin
