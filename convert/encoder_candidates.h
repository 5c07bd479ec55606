// Which encoders are tried for a codec, which of them are left out, and the log of what became of each.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/conversion_options.h"

namespace veyrin {

/// FFmpeg's names of the codec's encoders in the order of trial.
std::span<const char* const> encoder_candidates(SbsCodec codec);

/// True for encoders of Windows Media Foundation, which have a hardware and a software mode.
bool is_media_foundation(std::string_view encoder);

/// True when the encoder computes on the CPU whatever happens.
bool is_software_encoder(std::string_view encoder);

/// Facts of a job that leave encoders out.
struct CandidateRules {
  SbsCodec codec = SbsCodec::hevc;
  bool ten_bit = false;
  bool software = false;             ///< the user wants software encoding
  bool force_software_hevc = false;  ///< the environment does; has no effect on other codecs
};

/// Why the encoder is not even looked up; nothing when it is.
std::optional<std::string> reason_to_skip(std::string_view encoder, const CandidateRules& rules);

/// Why the encoder is not opened although the library has it; nothing when it is.
std::optional<std::string> reason_not_to_open(std::string_view encoder, const CandidateRules& rules);

/// The attempts of one selection as text: one line per encoder, each behind a line feed and two blanks.
class AttemptsLog {
 public:
  void add(std::string_view encoder, std::string_view reason);
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace veyrin
