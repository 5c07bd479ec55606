// Chooses and opens the one video encoder of a side-by-side or mono movie.
#pragma once

#include <functional>
#include <string>

#include "common/conversion_options.h"
#include "convert/eye_canvas.h"
#include "media/ffmpeg.h"
#include "media/video_types.h"

namespace veyrin {

/// What the encoder is wanted for.
struct EncoderRequest {
  SbsCodec codec = SbsCodec::hevc;
  SbsMode mode = SbsMode::full;
  bool mono = false;
  bool ten_bit = false;   ///< the left eye's stream is 10-bit
  bool software = false;  ///< hardware encoders are not wanted
  Size canvas;         ///< padded eye
  AVRational frame_rate{30, 1};
  std::string sdr_bitrate, hdr_bitrate;  ///< rate texts as given by the user
  ColorTags input_colors;                ///< of the left eye's stream
  bool global_header = false;            ///< the container wants the parameter sets in its header
};

/// The outcome: an opened encoder, or, for the packaged encoder, a context that only carries the settings.
struct SelectedEncoder {
  CodecContextPtr context;
  std::string display_name;
  bool packaged = false;  ///< frames go to a `PackagedSoftwareEncoder`, not to `context`
  bool software = true;   ///< the verdict of check-support
};

/// What the selection asks of the machine. Tests stand in for encoders that the machine does not have.
struct EncoderServices {
  std::function<const AVCodec*(const char* name)> find;
  std::function<int(AVCodecContext*, const AVCodec*, AVDictionary**)> open;
  std::function<bool(bool ten_bit, std::string& error)> packaged_available;
  bool force_software_hevc = false;
};

/// FFmpeg's encoders, the packaged encoder of this machine and the environment switch
/// `VEYRIN_FORCE_SOFTWARE_HEVC`.
EncoderServices system_encoder_services();

/// Tries the codec's encoders in order and opens the first that works; false with one message in `error`,
/// which names every attempt on lines of its own, when none does.
[[nodiscard]] bool select_encoder(const EncoderRequest& request, SelectedEncoder& selected,
                                  std::string& error);

/// As above on the given services.
[[nodiscard]] bool select_encoder(const EncoderRequest& request, const EncoderServices& services,
                                  SelectedEncoder& selected, std::string& error);

/// The report line that names the encoder, its pixel format and how its frames are made.
std::string encoder_report_line(const SelectedEncoder& encoder);

/// The further report line of a packaged encoder.
inline constexpr const char* packaged_encoder_report_line =
    "  software_encoder: packaged GPL FFmpeg CLI with libx265";

}  // namespace veyrin
