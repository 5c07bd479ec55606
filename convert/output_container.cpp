#include "convert/output_container.h"

#include <string_view>

#include "common/platform/files.h"

namespace veyrin {

const AVOutputFormat* choose_container(const std::filesystem::path& output, AVCodecID codec) {
  const AVOutputFormat* guessed = av_guess_format(nullptr, platform::path_to_utf8(output).c_str(), nullptr);
  if (guessed != nullptr && avformat_query_codec(guessed, codec, FF_COMPLIANCE_NORMAL) == 1) return guessed;
  return av_guess_format(codec == AV_CODEC_ID_PRORES ? "mov" : "mp4", nullptr, nullptr);
}

bool is_mp4_family(const AVOutputFormat& container) {
  const std::string_view name = container.name;
  return name == "mp4" || name == "mov";
}

}  // namespace veyrin
