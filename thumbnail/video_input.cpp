#include "thumbnail/video_input.h"

#include <algorithm>

#include "common/console.h"
#include "common/error_text.h"
#include "media/ffmpeg.h"
#include "media/recording_input.h"
#include "metadata/recording_streams.h"

namespace veyrin {
namespace {

bool is_playable(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 &&
         avcodec_find_decoder(stream.codecpar->codec_id) != nullptr;
}

std::vector<int> playable_streams(const AVFormatContext& input) {
  std::vector<int> playable;
  for (unsigned index = 0; index < input.nb_streams; ++index) {
    if (is_playable(*input.streams[index])) playable.push_back(static_cast<int>(index));
  }
  return playable;
}

bool choose_eyes(const AVFormatContext& input, const RawDualTrackCalibration& calibration,
                 const std::vector<int>& playable, StreamChoice& choice) {
  const int left = stream_index_of_video_track(input, calibration.left_track);
  const int right = stream_index_of_video_track(input, calibration.right_track);
  const auto can_play = [&playable](int stream) {
    return std::ranges::find(playable, stream) != playable.end();
  };
  if (!can_play(left) || !can_play(right)) return false;
  choice = {{std::min(left, right), std::max(left, right)}, left, right};
  return true;
}

bool choose_best_stream(AVFormatContext& input, const std::string& path, StreamChoice& choice,
                        std::string& error) {
  const AVCodec* decoder = nullptr;
  int best = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  // A stream without a decoder is named when the decoder is opened.
  if (best < 0) best = av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (best < 0) return fail(error, "No video stream found in " + path);
  choice = {{best}, -1, -1};
  return true;
}

}  // namespace

bool open_demuxer(const std::filesystem::path& input, InputContextPtr& context, std::string& error) {
  Dictionary options;
  std::string reason;
  if (!open_input_options(input, options, reason)) {
    return fail(error, "avformat_open_input failed: " + reason);
  }
  AVFormatContext* opened = nullptr;
  const int result = avformat_open_input(&opened, media_url(input).c_str(), nullptr, options.address());
  if (result < 0) return fail_with_library_error(error, "avformat_open_input failed", result);
  context.reset(opened);
  return true;
}

bool open_video(const std::filesystem::path& input, InputContextPtr& context, std::string& error) {
  if (!open_demuxer(input, context, error)) return false;
  const int result = avformat_find_stream_info(context.get(), nullptr);
  return result >= 0 || fail_with_library_error(error, "avformat_find_stream_info failed", result);
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
    return choose_best_stream(input, path, choice, error);
  }
  const bool two_eyes = layout.calibration.valid && layout.names_two_tracks();
  if (two_eyes && choose_eyes(input, layout.calibration, playable, choice)) return true;
  if (layout.declared_raw_dual_track) {
    return fail(error, "Could not create a rectified raw dual-track thumbnail for " + path);
  }
  return choose_best_stream(input, path, choice, error);
}

}  // namespace veyrin
