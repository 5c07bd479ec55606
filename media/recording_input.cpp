#include "media/recording_input.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "common/platform/files.h"

extern "C" {
#include <libavutil/display.h>
}

namespace veyrin {
namespace {

std::span<AVStream* const> streams_of(const AVFormatContext& input) {
  return {input.streams, input.nb_streams};
}

std::string failure_text(std::string_view message, bool with_reason, int code) {
  return with_reason ? with_library_error(message, code) : std::string(message);
}

}  // namespace

InputContextPtr open_demuxer(const std::string& url, Dictionary& options, int& code) {
  AVFormatContext* opened = nullptr;
  code = avformat_open_input(&opened, url.c_str(), nullptr, options.address());
  return InputContextPtr(opened);
}

InputContextPtr open_recording(const std::filesystem::path& input, const InputWishes& wishes,
                               const InputMessages& messages, std::string& error) {
  Dictionary options;
  int result = wishes.growing_recordings ? open_input_options(input, options) : 0;
  InputContextPtr context;
  if (result >= 0) context = open_demuxer(media_url(input), options, result);
  if (result < 0) {
    error = failure_text(messages.open, messages.with_reason, result);
    return nullptr;
  }
  if (wishes.probe_streams) result = avformat_find_stream_info(context.get(), nullptr);
  if (result < 0) {
    error = failure_text(messages.read_streams, messages.with_reason, result);
    return nullptr;
  }
  return context;
}

int open_input_options(const std::filesystem::path& input, Dictionary& options) {
  if (!platform::path_to_utf8(input).ends_with(".mp4.partial")) return 0;
  return options.set("advanced_editlist", "0");
}

void read_only_streams(AVFormatContext& input, std::span<const int> streams) {
  for (AVStream* stream : streams_of(input)) {
    const bool wanted = std::ranges::find(streams, stream->index) != streams.end();
    stream->discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
}

int stream_index_of_video_track(const AVFormatContext& input, int track) {
  int video_streams = 0;
  for (const AVStream* stream : streams_of(input)) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
    if (video_streams == track) return stream->index;
    ++video_streams;
  }
  return -1;
}

int first_audio_stream(const AVFormatContext& input) {
  const auto streams = streams_of(input);
  const auto audio = std::ranges::find_if(
      streams, [](const AVStream* stream) { return stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO; });
  return audio == streams.end() ? -1 : (*audio)->index;
}

int read_packet(AVFormatContext& input, AVPacket& packet) {
  const int result = av_read_frame(&input, &packet);
  if (result != AVERROR_EOF || input.pb == nullptr || input.pb->error >= 0) return result;
  return input.pb->error;
}

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
