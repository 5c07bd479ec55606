#include "thumbnail/video_input.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <optional>
#include <span>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/files.h"
#include "decode/hardware_only.h"
#include "media/recording_input.h"
#include "metadata/calibration_document.h"
#include "metadata/recording_metadata.h"
#include "metadata/timed_metadata.h"

namespace veyrin {
namespace {

constexpr InputMessages open_messages{.open = "avformat_open_input failed",
                                      .read_streams = "avformat_find_stream_info failed"};

/// The first document; nothing when none is well-formed. The container's header names the metadata track, so
/// the streams need no probing.
std::optional<TimedDocument> find_document(const std::filesystem::path& input) {
  std::string ignored;
  const InputContextPtr context =
      open_recording(input, {.probe_streams = false, .growing_recordings = true}, open_messages, ignored);
  if (!context) return std::nullopt;
  const int stream = find_metadata_stream(*context);
  const PacketPtr packet(av_packet_alloc());
  if (stream < 0 || !packet) return std::nullopt;
  try {
    return read_first_document(*context, stream, *packet);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

bool declares_raw_dual_track(const nlohmann::json& document) {
  try {
    return parse_recording_mode(document) == RecordingMode::raw_dual_track;
  } catch (const std::exception&) {
    return false;
  }
}

RawDualTrackCalibration calibration_in(const TimedDocument& sample, const std::filesystem::path& input) {
  try {
    return condense_calibration(read_stereo_calibration(sample.document, sample.time_seconds),
                                platform::path_to_utf8(input));
  } catch (const std::exception&) {
    return {};
  }
}

bool has_decoder(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 &&
         avcodec_find_decoder(stream.codecpar->codec_id) != nullptr;
}

void report_unplayable(const AVStream& stream) {
  console_line(
      "[VideoThumbnailGenerator] Video stream %d is not playable: %s can be decoded by graphics "
      "hardware only",
      stream.index, avcodec_get_name(stream.codecpar->codec_id));
}

std::vector<int> playable_streams(const AVFormatContext& input) {
  std::vector<int> playable;
  for (const AVStream* stream : std::span(input.streams, input.nb_streams)) {
    if (!has_decoder(*stream)) continue;
    if (needs_hardware_decoder(input, stream->index)) {
      report_unplayable(*stream);
    } else {
      playable.push_back(stream->index);
    }
  }
  return playable;
}

/// Chooses the eyes' streams; else says in a clause why they cannot be shown.
[[nodiscard]] bool choose_eyes(const AVFormatContext& input, const RecordingLayout& layout,
                               const std::vector<int>& playable, StreamChoice& choice, std::string& reason) {
  if (!layout.has_document) return fail(reason, "the file has no readable metadata of a recording");
  if (!layout.calibration.valid) return fail(reason, "the metadata has no valid calibration");
  if (!layout.names_two_tracks()) return fail(reason, "the calibration does not name two video tracks");
  const int left = stream_index_of_video_track(input, layout.calibration.left_track);
  const int right = stream_index_of_video_track(input, layout.calibration.right_track);
  const auto can_play = [&playable](int stream) {
    return std::ranges::find(playable, stream) != playable.end();
  };
  if (!can_play(left)) return fail(reason, "the left eye's track is not playable");
  if (!can_play(right)) return fail(reason, "the right eye's track is not playable");
  choice = {{std::min(left, right), std::max(left, right)}, left, right};
  return true;
}

[[nodiscard]] bool choose_best_stream(AVFormatContext& input, const std::vector<int>& playable,
                                      const std::string& path, StreamChoice& choice, std::string& error) {
  const AVCodec* decoder = nullptr;
  int best = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  // A stream without a decoder is named when the decoder is opened.
  if (best < 0) best = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (best < 0) return fail(error, "No video stream found in " + path);
  const bool can_play = std::ranges::find(playable, best) != playable.end();
  choice = {{can_play || playable.empty() ? best : playable.front()}, -1, -1};
  return true;
}

/// Decodes one stream up to its first frame.
class TrackDecoder {
 public:
  /// False with one message in `error`.
  [[nodiscard]] bool open(const AVStream& stream, std::string& error);

  /// Sends a packet, null for the end of the stream, and takes the frame if one is ready.
  void decode(const AVPacket* packet) {
    // A packet that the decoder refuses is damaged; the next one may be whole.
    hopeless_ = means_hardware_only(avcodec_send_packet(context_.get(), packet));
    has_frame_ = avcodec_receive_frame(context_.get(), frame_.get()) >= 0;
  }

  [[nodiscard]] bool has_frame() const { return has_frame_; }
  /// True when more packets would change nothing.
  [[nodiscard]] bool is_done() const { return has_frame_ || hopeless_; }
  [[nodiscard]] FramePtr take_frame() { return has_frame_ ? std::move(frame_) : nullptr; }
  [[nodiscard]] int stream() const { return stream_; }

 private:
  int stream_ = -1;
  bool has_frame_ = false;
  bool hopeless_ = false;  // the decoder works with hardware only
  CodecContextPtr context_;
  FramePtr frame_;
};

bool TrackDecoder::open(const AVStream& stream, std::string& error) {
  stream_ = stream.index;
  const std::string number = std::to_string(stream.index);
  const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
  if (decoder == nullptr) return fail(error, "No decoder found for thumbnail stream " + number);
  context_.reset(avcodec_alloc_context3(decoder));
  frame_.reset(av_frame_alloc());
  if (!context_ || !frame_) {
    return fail_with_library_error(error, "avcodec_open2 failed for stream " + number, AVERROR(ENOMEM));
  }
  int result = avcodec_parameters_to_context(context_.get(), stream.codecpar);
  if (result < 0) {
    return fail_with_library_error(error, "avcodec_parameters_to_context failed for stream " + number,
                                   result);
  }
  // Frame threads would ask for as many packets as there are threads before they give the first frame.
  context_->thread_count = 1;
  result = avcodec_open2(context_.get(), decoder, nullptr);
  return result >= 0 || fail_with_library_error(error, "avcodec_open2 failed for stream " + number, result);
}

bool all_done(const std::vector<TrackDecoder>& decoders) {
  return std::ranges::all_of(decoders, &TrackDecoder::is_done);
}

/// Hands one packet to its decoder. A stream that is done is read no further.
void deliver(AVFormatContext& input, const AVPacket& packet, std::vector<TrackDecoder>& decoders) {
  const auto decoder = std::ranges::find(decoders, packet.stream_index, &TrackDecoder::stream);
  if (decoder == decoders.end() || decoder->is_done()) return;
  decoder->decode(&packet);
  if (decoder->is_done()) input.streams[packet.stream_index]->discard = AVDISCARD_ALL;
}

void read_frames(AVFormatContext& input, AVPacket& packet, std::vector<TrackDecoder>& decoders) {
  while (!all_done(decoders) && av_read_frame(&input, &packet) >= 0) {
    deliver(input, packet, decoders);
    av_packet_unref(&packet);
  }
  for (TrackDecoder& decoder : decoders) {
    if (!decoder.is_done()) decoder.decode(nullptr);
  }
}

}  // namespace

InputContextPtr open_video(const std::filesystem::path& input, std::string& error) {
  return open_recording(input, {.growing_recordings = true}, open_messages, error);
}

void report_fallback(const std::string& reason) {
  console_line("[VideoThumbnailGenerator] No raw dual-track thumbnail, because %s; using rotated fallback",
               reason.c_str());
}

RecordingLayout read_recording_layout(const std::filesystem::path& input) {
  RecordingLayout layout;
  const std::optional<TimedDocument> sample = find_document(input);
  if (!sample) return layout;
  layout.has_document = true;
  layout.declared_raw_dual_track = declares_raw_dual_track(sample->document);
  layout.calibration = calibration_in(*sample, input);
  return layout;
}

bool choose_streams(AVFormatContext& input, const RecordingLayout& layout, const std::string& path,
                    StreamChoice& choice, std::string& error) {
  const std::vector<int> playable = playable_streams(input);
  const std::string too_few = std::to_string(playable.size()) + " playable video stream(s)";
  if (playable.size() < 2) {
    if (layout.declared_raw_dual_track) {
      return fail(error, "Declared raw dual-track thumbnail has only " + too_few);
    }
    console_line("[VideoThumbnailGenerator] Raw dual-track thumbnail has only %s; using rotated fallback",
                 too_few.c_str());
    return choose_best_stream(input, playable, path, choice, error);
  }
  std::string reason;
  if (choose_eyes(input, layout, playable, choice, reason)) return true;
  if (layout.declared_raw_dual_track) {
    return fail(error, "Could not create a rectified raw dual-track thumbnail for " + path);
  }
  report_fallback(reason);
  return choose_best_stream(input, playable, path, choice, error);
}

bool decode_first_frames(AVFormatContext& input, const std::vector<int>& streams,
                         std::vector<FirstFrame>& frames, std::string& error) {
  std::vector<TrackDecoder> decoders(streams.size());
  for (std::size_t index = 0; index < streams.size(); ++index) {
    if (!decoders[index].open(*input.streams[streams[index]], error)) return false;
  }
  const PacketPtr packet(av_packet_alloc());
  if (!packet) return fail(error, "Could not allocate a packet");
  read_only_streams(input, streams);
  read_frames(input, *packet, decoders);

  frames.clear();
  for (TrackDecoder& decoder : decoders) {
    frames.push_back(
        {decoder.stream(), "thumbnail track" + std::to_string(frames.size()), decoder.take_frame()});
  }
  return true;
}

}  // namespace veyrin
