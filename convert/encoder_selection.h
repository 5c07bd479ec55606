// Chooses and opens the one video encoder of a side-by-side or mono movie.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "convert/encoder_settings.h"

namespace veyrin {

/// An encoder that may be tried.
struct EncoderCandidate {
  const char* name;  ///< FFmpeg's
  Acceleration acceleration = Acceleration::hardware;
  bool media_foundation = false;    ///< of Windows' Media Foundation, with a hardware and a software mode
  bool takes_gpu_surfaces = false;  ///< Direct3D 11 frames
};

/// The codec's candidates in the order of trial.
std::span<const EncoderCandidate> encoder_candidates(SbsCodec codec);

/// Why the candidate is not even looked up; nothing when it is. `force_software_hevc` is the environment's
/// wish and has no effect on other codecs.
std::optional<std::string> reason_to_skip(const EncoderCandidate& candidate, const EncoderRequest& request,
                                          bool force_software_hevc);

/// Why the candidate is not opened although the library has it; nothing when it is.
std::optional<std::string> reason_not_to_open(const EncoderCandidate& candidate,
                                              const EncoderRequest& request);

/// An open encoder of this process.
struct InProcessEncoder {
  CodecContextPtr context;
  EncoderCandidate candidate;
  Acceleration acceleration = Acceleration::software;  ///< in the mode in which it opened
};

/// The packaged encoder, which a process of its own runs.
struct PackagedEncoder {
  CodecContextPtr settings;  ///< without an encoder: carries what the process is told
};

using SelectedEncoder = std::variant<InProcessEncoder, PackagedEncoder>;

/// Where the encoder computes, as check-support answers it.
Acceleration acceleration_of(const SelectedEncoder& encoder);

/// What the selection asks of the machine, as a table that tests can replace.
struct EncoderCalls {
  std::function<const AVCodec*(const char* name)> find;
  std::function<int(AVCodecContext*, const AVCodec*, AVDictionary**)> open;
  std::function<bool(BitDepth depth, std::string& error)> packaged_available;
  std::function<bool()> force_software_hevc;
};

/// FFmpeg's encoders, the packaged encoder of this machine and the environment switch
/// `VEYRIN_FORCE_SOFTWARE_HEVC`.
const EncoderCalls& system_encoder_calls();

/// Tries the codec's encoders in order and opens the first that works; nothing, with one message in `error`,
/// which names every attempt on lines of its own, when none does.
[[nodiscard]] std::optional<SelectedEncoder> select_encoder(
    const EncoderRequest& request, std::string& error, const EncoderCalls& calls = system_encoder_calls());

/// The report line that names the encoder, its pixel format and how its frames are made.
std::string encoder_report_line(const SelectedEncoder& encoder);
std::string encoder_report_line(const InProcessEncoder& encoder);
/// The same for an encoder that is fed by the CPU processor with frames of such a format.
std::string encoder_report_line(const std::string& name, AVPixelFormat format);

/// The further report line of a packaged encoder.
inline constexpr const char* packaged_encoder_report_line =
    "  software_encoder: packaged GPL FFmpeg CLI with libx265";

}  // namespace veyrin
