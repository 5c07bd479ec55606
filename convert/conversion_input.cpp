#include "convert/conversion_input.h"

#include "common/error_text.h"
#include "media/ffmpeg.h"

namespace veyrin {
namespace {

bool open_file(const ConversionJob& job, InputContextPtr& context, std::string& error) {
  AVFormatContext* opened = nullptr;
  int result = avformat_open_input(&opened, media_url(job.input).c_str(), nullptr, nullptr);
  if (result < 0) return fail_with_library_error(error, "could not open input", result);
  context.reset(opened);
  result = avformat_find_stream_info(opened, nullptr);
  if (result < 0) return fail_with_library_error(error, "could not read input streams", result);
  return true;
}

bool make_synthetic_streams(const SyntheticInput& properties, InputContextPtr& context, std::string& error) {
  context.reset(avformat_alloc_context());
  for (int eye = 0; eye < 2; ++eye) {
    AVStream* stream = context ? avformat_new_stream(context.get(), nullptr) : nullptr;
    if (stream == nullptr) return fail(error, "could not allocate synthetic input streams");
    stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream->codecpar->codec_id = AV_CODEC_ID_HEVC;
    stream->codecpar->width = properties.width;
    stream->codecpar->height = properties.height;
    stream->codecpar->format = properties.ten_bit ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
  }
  return true;
}

int first_audio_stream(const AVFormatContext& context) {
  for (unsigned index = 0; index < context.nb_streams; ++index) {
    if (context.streams[index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) return static_cast<int>(index);
  }
  return -1;
}

}  // namespace

bool open_conversion_input(const ConversionJob& job, const RecordingMetadata& metadata,
                           ConversionInput& input, std::string& error) {
  const bool opened = job.synthetic_input ? make_synthetic_streams(*job.synthetic_input, input.context, error)
                                          : open_file(job, input.context, error);
  if (!opened) return false;
  const AVFormatContext& context = *input.context;
  input.left_stream = stream_index_of_video_track(context, metadata.left_track);
  input.right_stream = stream_index_of_video_track(context, metadata.right_track);
  if (input.left_stream < 0 || input.right_stream < 0) {
    return fail(error, "metadata references invalid left/right video tracks");
  }
  input.audio_stream = first_audio_stream(context);
  for (unsigned index = 0; index < context.nb_streams; ++index) {
    const int stream = static_cast<int>(index);
    const bool wanted =
        stream == input.left_stream || stream == input.right_stream || stream == input.audio_stream;
    context.streams[index]->discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  return true;
}

}  // namespace veyrin
