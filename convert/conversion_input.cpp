#include "convert/conversion_input.h"

#include <array>

#include "media/recording_input.h"

namespace veyrin {
namespace {

constexpr InputMessages messages{.open = "could not open input",
                                 .read_streams = "could not read input streams"};

[[nodiscard]] InputContextPtr make_synthetic_streams(const SyntheticInput& properties, std::string& error) {
  InputContextPtr context(avformat_alloc_context());
  for (int eye = 0; eye < 2; ++eye) {
    AVStream* stream = context ? avformat_new_stream(context.get(), nullptr) : nullptr;
    if (stream == nullptr) {
      error = "could not allocate synthetic input streams";
      return nullptr;
    }
    stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream->codecpar->codec_id = AV_CODEC_ID_HEVC;
    stream->codecpar->width = properties.eye.width;
    stream->codecpar->height = properties.eye.height;
    stream->codecpar->format =
        properties.depth == BitDepth::ten ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
  }
  return context;
}

}  // namespace

std::optional<ConversionInput> open_conversion_input(const ConversionJob& job,
                                                     const RecordingMetadata& metadata, std::string& error) {
  ConversionInput input;
  input.path = job.input;
  input.context = job.synthetic_input ? make_synthetic_streams(*job.synthetic_input, error)
                                      : open_recording(job.input, {}, messages, error);
  if (!input.context) return std::nullopt;
  input.left_stream = stream_index_of_video_track(*input.context, metadata.left_track);
  input.right_stream = stream_index_of_video_track(*input.context, metadata.right_track);
  if (input.left_stream < 0 || input.right_stream < 0) {
    error = "metadata references invalid left/right video tracks";
    return std::nullopt;
  }
  input.audio_stream = first_audio_stream(*input.context);
  read_only_streams(*input.context, std::array{input.left_stream, input.right_stream, input.audio_stream});
  return input;
}

InputFacts input_facts(const ConversionInput& input, BitDepth depth) {
  AVStream* left = input.context->streams[input.left_stream];
  const std::int64_t start = input.context->start_time;
  return {.depth = depth,
          .rate = av_guess_frame_rate(input.context.get(), left, nullptr),
          .colors = color_tags(*left->codecpar),
          .has_audio = input.audio_stream >= 0,
          .container_start_seconds = start == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(start) / 1e6};
}

}  // namespace veyrin
