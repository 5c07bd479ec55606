#include "media/sound_copy.h"

extern "C" {
#include <libavutil/avutil.h>
}

namespace veyrin {
namespace {

struct MemoryOutputDeleter {
  void operator()(AVIOContext* output) const {
    std::uint8_t* written = nullptr;
    avio_close_dyn_buf(output, &written);
    av_free(written);
  }
};

std::string codec_name(const AVCodecParameters& sound) {
  if (sound.codec_id != AV_CODEC_ID_NONE) return avcodec_get_name(sound.codec_id);
  char tag[AV_FOURCC_MAX_STRING_SIZE] = {};
  return std::string("unknown codec ") + av_fourcc_make_string(tag, sound.codec_tag);
}

}  // namespace

bool can_copy_sound(const char* muxer_name, const AVStream& sound) {
  AVFormatContext* context = nullptr;
  if (avformat_alloc_output_context2(&context, nullptr, muxer_name, nullptr) < 0) return true;
  const OutputContextPtr muxer(context);
  AVStream* track = avformat_new_stream(context, nullptr);
  AVIOContext* memory = nullptr;
  if (track == nullptr || avcodec_parameters_copy(track->codecpar, sound.codecpar) < 0 ||
      avio_open_dyn_buf(&memory) < 0) {
    return true;
  }
  const std::unique_ptr<AVIOContext, MemoryOutputDeleter> output(memory);
  track->codecpar->codec_tag = 0;
  track->time_base = sound.time_base;
  context->pb = memory;
  return avformat_write_header(context, nullptr) >= 0;
}

std::string sound_failure_text(const AVStream& sound, std::string_view target,
                               std::string_view other_extension) {
  std::string text = "the recording's sound (" + codec_name(*sound.codecpar) + ") cannot be copied into ";
  text += target;
  text += "; convert the sound to AAC first";
  if (!other_extension.empty()) {
    text += ", or give the output the extension ";
    text += other_extension;
  }
  return text;
}

}  // namespace veyrin
