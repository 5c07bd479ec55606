#include "convert/encoder_selection.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "common/error_text.h"
#include "common/platform/program.h"
#include "convert/packaged_software_encoder.h"
#include "media/bitrate.h"
#include "media/raw_picture.h"
#include "media/video_types.h"

namespace veyrin {
namespace {

constexpr std::array h264_encoders{
    EncoderCandidate{.name = "h264_nvenc", .takes_gpu_surfaces = true},
    EncoderCandidate{.name = "h264_mf", .media_foundation = true},
};
constexpr std::array hevc_encoders{
    EncoderCandidate{.name = "hevc_nvenc", .takes_gpu_surfaces = true},
    EncoderCandidate{.name = "hevc_qsv"},
    EncoderCandidate{.name = "hevc_amf"},
    EncoderCandidate{.name = "hevc_mf", .media_foundation = true},
};
constexpr std::array prores_encoders{
    EncoderCandidate{.name = "prores_ks", .acceleration = Acceleration::software},
};

/// One encoder context that was configured and handed to the library's open function.
struct Opening {
  CodecContextPtr context;  ///< null when there was no memory for it
  int result = 0;           ///< negative: not open
};

class Selection {
 public:
  Selection(const EncoderRequest& request, const EncoderCalls& calls)
      : request_(request), calls_(calls), force_software_hevc_(calls.force_software_hevc()) {}

  [[nodiscard]] bool run(std::string& error) {
    if (!parse_bitrate(request_.bitrate, bit_rate_, error)) return false;
    for (const EncoderCandidate& candidate : encoder_candidates(request_.codec)) {
      if (!try_candidate(candidate, error)) return false;
      if (selected_) return accept_pixel_format(error);
    }
    if (request_.codec == SbsCodec::hevc && !try_packaged(error)) return false;
    if (selected_) return true;
    return fail(error, "no suitable encoder could be opened; attempts:" + attempts_);
  }

  std::optional<SelectedEncoder> take() { return std::move(selected_); }

 private:
  // False only when the whole selection has failed; a candidate that does not open is a line in the log.
  [[nodiscard]] bool try_candidate(const EncoderCandidate& candidate, std::string& error) {
    if (const auto reason = reason_to_skip(candidate, request_, force_software_hevc_))
      return log_attempt(candidate.name, *reason);
    const AVCodec* codec = calls_.find(candidate.name);
    if (codec == nullptr) return log_attempt(candidate.name, "not included in this FFmpeg build");
    if (const auto reason = reason_not_to_open(candidate, request_))
      return log_attempt(candidate.name, *reason);

    Acceleration acceleration = candidate.acceleration;
    Opening opening = open(*codec, candidate.media_foundation ? "1" : nullptr);
    if (opening.context && opening.result < 0 && candidate.media_foundation) {
      opening = open(*codec, "0");
      acceleration = Acceleration::software;
    }
    if (!opening.context) return fail(error, "could not allocate the video encoder");
    if (opening.result < 0) return log_attempt(candidate.name, library_error_text(opening.result));
    selected_ = InProcessEncoder{std::move(opening.context), candidate, acceleration};
    return true;
  }

  // One line per encoder, each behind a line feed and two blanks.
  bool log_attempt(std::string_view name, std::string_view reason) {
    attempts_.append("\n  ").append(name).append(": ").append(reason);
    return true;
  }

  // A context cannot be opened again after a failure, so each try makes its own. `hardware_mode` is the
  // switch of Media Foundation encoders, null for all others.
  [[nodiscard]] Opening open(const AVCodec& codec, const char* hardware_mode) const {
    Opening opening;
    opening.context.reset(avcodec_alloc_context3(&codec));
    if (!opening.context) return opening;
    configure_encoder(request_, choose_pixel_format(codec, request_.codec, request_.depth), bit_rate_,
                      *opening.context);
    Dictionary options;
    if (hardware_mode != nullptr) {
      options.set("hw_encoding", hardware_mode);
      options.set("scenario", "archive");
    }
    opening.result = calls_.open(opening.context.get(), &codec, options.address());
    return opening;
  }

  [[nodiscard]] bool accept_pixel_format(std::string& error) const {
    const AVPixelFormat format = std::get<InProcessEncoder>(*selected_).context->pix_fmt;
    if (describe_yuv_format(canvas_pixel_format(request_.codec, format))) return true;
    return fail(error,
                "the selected encoder does not accept a supported YUV 4:2:0 format; RGB conversion has been "
                "removed");
  }

  [[nodiscard]] bool try_packaged(std::string& error) {
    std::string reason;
    if (!calls_.packaged_available(request_.depth, reason)) {
      return log_attempt("packaged software encoder", reason);
    }
    CodecContextPtr settings(avcodec_alloc_context3(nullptr));
    if (!settings) return fail(error, "could not allocate the software encoder configuration");
    configure_encoder(request_, raw_picture_format(request_.depth), bit_rate_, *settings);
    selected_ = PackagedEncoder{std::move(settings)};
    return true;
  }

  const EncoderRequest& request_;
  const EncoderCalls& calls_;
  bool force_software_hevc_;
  std::optional<SelectedEncoder> selected_;
  std::string attempts_;
  std::int64_t bit_rate_ = 0;
};

const char* gpu_frames_text(const AVCodecContext& context) {
  return context.sw_pix_fmt == AV_PIX_FMT_P010LE ? ", GPU-resident P010" : ", GPU-resident NV12";
}

constexpr const char* cpu_processing = ", CPU YUV processing";

std::string processing_text(const AVCodecContext& context) {
  if (context.pix_fmt == AV_PIX_FMT_D3D11) return gpu_frames_text(context);
  const bool upsampled = context.codec_id == AV_CODEC_ID_PRORES;
  return std::string(cpu_processing) + (upsampled ? " + 4:2:2 chroma upsampling" : "");
}

std::string report_line(const std::string& name, AVPixelFormat format, const std::string& processing) {
  return "  encoder: " + name + " (" + pixel_format_name(format) + processing + ")";
}

std::string report_line(const std::string& name, const AVCodecContext& context) {
  return report_line(name, context.pix_fmt, processing_text(context));
}

}  // namespace

std::span<const EncoderCandidate> encoder_candidates(SbsCodec codec) {
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

std::optional<std::string> reason_to_skip(const EncoderCandidate& candidate, const EncoderRequest& request,
                                          bool force_software_hevc) {
  const bool forced = force_software_hevc && request.codec == SbsCodec::hevc;
  const bool unwanted = request.software && candidate.acceleration != Acceleration::software;
  if (forced || unwanted) return "skipped for software encoding";
  return std::nullopt;
}

std::optional<std::string> reason_not_to_open(const EncoderCandidate& candidate,
                                              const EncoderRequest& request) {
  if (candidate.media_foundation && request.codec == SbsCodec::hevc && request.depth == BitDepth::ten) {
    return "does not support 10-bit HEVC output";
  }
  return std::nullopt;
}

Acceleration acceleration_of(const SelectedEncoder& encoder) {
  const auto* in_process = std::get_if<InProcessEncoder>(&encoder);
  return in_process != nullptr ? in_process->acceleration : Acceleration::software;
}

const EncoderCalls& system_encoder_calls() {
  static const EncoderCalls calls{
      .find = avcodec_find_encoder_by_name,
      .open = avcodec_open2,
      .packaged_available = PackagedSoftwareEncoder::check_availability,
      .force_software_hevc = [] { return platform::environment_switch("VEYRIN_FORCE_SOFTWARE_HEVC"); },
  };
  return calls;
}

std::optional<SelectedEncoder> select_encoder(const EncoderRequest& request, std::string& error,
                                              const EncoderCalls& calls) {
  Selection selection(request, calls);
  if (!selection.run(error)) return std::nullopt;
  return selection.take();
}

std::string encoder_report_line(const InProcessEncoder& encoder) {
  return report_line(encoder.candidate.name, *encoder.context);
}

std::string encoder_report_line(const std::string& name, AVPixelFormat format) {
  return report_line(name, format, cpu_processing);
}

std::string encoder_report_line(const SelectedEncoder& encoder) {
  if (const auto* in_process = std::get_if<InProcessEncoder>(&encoder))
    return encoder_report_line(*in_process);
  return report_line("libx265 (packaged FFmpeg CLI)", *std::get<PackagedEncoder>(encoder).settings);
}

}  // namespace veyrin
