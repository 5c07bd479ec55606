#include "convert/encoder_candidates.h"

#include <array>

namespace veyrin {
namespace {

constexpr const char* prores_encoder = "prores_ks";
constexpr std::array<const char*, 2> h264_encoders{"h264_nvenc", "h264_mf"};
constexpr std::array<const char*, 4> hevc_encoders{"hevc_nvenc", "hevc_qsv", "hevc_amf", "hevc_mf"};
constexpr std::array<const char*, 1> prores_encoders{prores_encoder};

}  // namespace

std::span<const char* const> encoder_candidates(SbsCodec codec) {
  switch (codec) {
    case SbsCodec::h264:
      return h264_encoders;
    case SbsCodec::hevc:
      return hevc_encoders;
    case SbsCodec::prores:
      break;
  }
  return prores_encoders;
}

bool is_media_foundation(std::string_view encoder) {
  return encoder.find("_mf") != std::string_view::npos;
}

bool is_software_encoder(std::string_view encoder) {
  return encoder == prores_encoder;
}

std::optional<std::string> reason_to_skip(std::string_view encoder, const CandidateRules& rules) {
  const bool forced = rules.force_software_hevc && rules.codec == SbsCodec::hevc;
  if (forced || (rules.software && !is_software_encoder(encoder))) return "skipped for software encoding";
  return std::nullopt;
}

std::optional<std::string> reason_not_to_open(std::string_view encoder, const CandidateRules& rules) {
  if (is_media_foundation(encoder) && rules.codec == SbsCodec::hevc && rules.ten_bit) {
    return "does not support 10-bit HEVC output";
  }
  return std::nullopt;
}

void AttemptsLog::add(std::string_view encoder, std::string_view reason) {
  text_.append("\n  ").append(encoder).append(": ").append(reason);
}

}  // namespace veyrin
