#include "metadata/recording_streams.h"

#include <span>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
}

namespace veyrin {
namespace {

std::span<AVStream* const> streams_of(const AVFormatContext& input) {
  return {input.streams, input.nb_streams};
}

bool is_named_as_timed_metadata(const AVStream& stream) {
  const AVDictionaryEntry* handler = av_dict_get(stream.metadata, "handler_name", nullptr, 0);
  return handler != nullptr &&
         std::string_view(handler->value).find("Kaleth Timed Metadata") != std::string_view::npos;
}

}  // namespace

int stream_index_of_video_track(const AVFormatContext& input, int track) {
  int video_streams = 0;
  for (const AVStream* stream : streams_of(input)) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) continue;
    if (video_streams == track) return stream->index;
    ++video_streams;
  }
  return -1;
}

int find_metadata_stream(const AVFormatContext& input) {
  int first_tagged = -1;
  for (const AVStream* stream : streams_of(input)) {
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_DATA) continue;
    if (is_named_as_timed_metadata(*stream)) return stream->index;
    if (first_tagged < 0 && stream->codecpar->codec_tag == MKTAG('g', 'p', 'm', 'd')) {
      first_tagged = stream->index;
    }
  }
  return first_tagged;
}

void discard_other_streams(AVFormatContext& input, int kept_stream) {
  for (AVStream* stream : streams_of(input)) {
    if (stream->index != kept_stream) stream->discard = AVDISCARD_ALL;
  }
}

}  // namespace veyrin
