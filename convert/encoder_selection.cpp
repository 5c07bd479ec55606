#include "convert/encoder_selection.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "common/error_text.h"
#include "common/platform/program.h"
#include "convert/bitrate.h"
#include "convert/encoder_candidates.h"
#include "convert/encoder_settings.h"
#include "convert/packaged_software_encoder.h"
#include "media/ffmpeg.h"
#include "media/pixel_formats.h"

namespace veyrin {
namespace {

/// One encoder context that was configured and handed to the library's open function.
struct Opening {
  CodecContextPtr context;  ///< null when there was no memory for it
  int result = 0;           ///< negative: not open
};

class Selection {
 public:
  Selection(const EncoderRequest& request, const EncoderServices& services, SelectedEncoder& selected)
      : request_(request),
        services_(services),
        rules_{request.codec, request.ten_bit, request.software, services.force_software_hevc},
        selected_(selected) {}

  bool run(std::string& error) {
    const std::string& rate = request_.ten_bit ? request_.hdr_bitrate : request_.sdr_bitrate;
    if (!parse_bitrate(rate, bit_rate_, error)) return false;
    for (const char* name : encoder_candidates(request_.codec)) {
      if (!try_candidate(name, error)) return false;
      if (selected_.context) return accept_pixel_format(error);
    }
    if (request_.codec == SbsCodec::hevc && !try_packaged(error)) return false;
    if (selected_.context) return true;
    return fail(error, "no suitable encoder could be opened; attempts:" + attempts_.text());
  }

 private:
  // False only when the whole selection has failed; a candidate that does not open is a line in the log.
  bool try_candidate(const char* name, std::string& error) {
    if (const auto reason = reason_to_skip(name, rules_)) return log_attempt(name, *reason);
    const AVCodec* codec = services_.find(name);
    if (codec == nullptr) return log_attempt(name, "not included in this FFmpeg build");
    if (const auto reason = reason_not_to_open(name, rules_)) return log_attempt(name, *reason);

    Opening opening = open(*codec, is_media_foundation(name) ? "1" : nullptr);
    bool software = is_software_encoder(name);
    if (opening.context && opening.result < 0 && is_media_foundation(name)) {
      opening = open(*codec, "0");
      software = true;
    }
    if (!opening.context) return fail(error, "could not allocate the video encoder");
    if (opening.result < 0) return log_attempt(name, library_error_text(opening.result));
    selected_.context = std::move(opening.context);
    selected_.display_name = name;
    selected_.software = software;
    return true;
  }

  bool log_attempt(std::string_view name, std::string_view reason) {
    attempts_.add(name, reason);
    return true;
  }

  // A context cannot be opened again after a failure, so each try makes its own. `hardware_mode` is the
  // switch of Media Foundation encoders, null for all others.
  Opening open(const AVCodec& codec, const char* hardware_mode) const {
    Opening opening;
    opening.context.reset(avcodec_alloc_context3(&codec));
    if (!opening.context) return opening;
    configure_encoder(request_, choose_pixel_format(codec, request_.codec, request_.ten_bit), bit_rate_,
                      *opening.context);
    Dictionary options;
    if (hardware_mode != nullptr) {
      options.set("hw_encoding", hardware_mode);
      options.set("scenario", "archive");
    }
    opening.result = services_.open(opening.context.get(), &codec, options.address());
    return opening;
  }

  bool accept_pixel_format(std::string& error) const {
    if (is_yuv_pipeline_format(canvas_pixel_format(request_.codec, selected_.context->pix_fmt))) return true;
    return fail(error,
                "the selected encoder does not accept a supported YUV 4:2:0 format; RGB conversion has been "
                "removed");
  }

  bool try_packaged(std::string& error) {
    std::string reason;
    if (!services_.packaged_available(request_.ten_bit, reason)) {
      return log_attempt("packaged software encoder", reason);
    }
    CodecContextPtr settings(avcodec_alloc_context3(nullptr));
    if (!settings) return fail(error, "could not allocate the software encoder configuration");
    configure_encoder(request_, request_.ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P, bit_rate_,
                      *settings);
    selected_.context = std::move(settings);
    selected_.display_name = "libx265 (packaged FFmpeg CLI)";
    selected_.packaged = true;
    selected_.software = true;
    return true;
  }

  const EncoderRequest& request_;
  const EncoderServices& services_;
  CandidateRules rules_;
  SelectedEncoder& selected_;
  AttemptsLog attempts_;
  std::int64_t bit_rate_ = 0;
};

const char* gpu_frames_text(const AVCodecContext& context) {
  if (context.pix_fmt != AV_PIX_FMT_D3D11) return "";
  return context.sw_pix_fmt == AV_PIX_FMT_P010LE ? ", GPU-resident P010" : ", GPU-resident NV12";
}

const char* cpu_processing_text(const AVCodecContext& context) {
  if (context.pix_fmt == AV_PIX_FMT_D3D11) return "";
  return context.codec_id == AV_CODEC_ID_PRORES ? ", CPU YUV processing + 4:2:2 chroma upsampling"
                                                : ", CPU YUV processing";
}

}  // namespace

EncoderServices system_encoder_services() {
  EncoderServices services;
  services.find = avcodec_find_encoder_by_name;
  services.open = avcodec_open2;
  services.packaged_available = PackagedSoftwareEncoder::check_availability;
  services.force_software_hevc = platform::environment_switch("VEYRIN_FORCE_SOFTWARE_HEVC");
  return services;
}

bool select_encoder(const EncoderRequest& request, SelectedEncoder& selected, std::string& error) {
  return select_encoder(request, system_encoder_services(), selected, error);
}

bool select_encoder(const EncoderRequest& request, const EncoderServices& services, SelectedEncoder& selected,
                    std::string& error) {
  selected = {};
  return Selection(request, services, selected).run(error);
}

std::string encoder_report_line(const SelectedEncoder& encoder) {
  const AVCodecContext& context = *encoder.context;
  return "  encoder: " + encoder.display_name + " (" + pixel_format_name(context.pix_fmt) +
         gpu_frames_text(context) + cpu_processing_text(context) + ")";
}

}  // namespace veyrin
