// H.264 in 8 bits without B-frames, encoded by x264.
#include <cstdint>

extern "C" {
#include <x264.h>
}

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "tests/simulated_nvenc/stream_coder.h"

namespace veyrin::simulated_nvenc {
namespace {

void set_rate(const RateSettings& rate, x264_param_t& parameters) {
  auto& control = parameters.rc;
  switch (rate.mode) {
    case RateMode::constant_qp:
      control.i_rc_method = X264_RC_CQP;
      control.i_qp_constant = rate.qp;
      break;
    case RateMode::constant_quality:
      control.i_rc_method = X264_RC_CRF;
      control.f_rf_constant = static_cast<float>(rate.quality);
      break;
    case RateMode::bit_rate:
      control.i_rc_method = X264_RC_ABR;
      control.i_bitrate = std::max(1, static_cast<int>(rate.bits_per_second / 1000));
      break;
  }
}

x264_param_t configured(const StreamSettings& settings) {
  x264_param_t parameters;
  x264_param_default_preset(&parameters, "ultrafast", "zerolatency");
  parameters.i_log_level = X264_LOG_ERROR;
  parameters.i_width = settings.width;
  parameters.i_height = settings.height;
  parameters.i_csp = X264_CSP_I420;
  parameters.i_bitdepth = 8;
  parameters.i_fps_num = settings.rate_numerator;
  parameters.i_fps_den = settings.rate_denominator;
  parameters.i_threads = 1;
  parameters.i_keyint_max = X264_KEYINT_MAX_INFINITE;  // the caller decides the type of every picture
  parameters.b_repeat_headers = 0;
  parameters.b_annexb = 1;
  if (settings.high_profile) {
    // The library writes the lowest profile that has the tools in use.
    parameters.b_cabac = 1;
    parameters.analyse.b_transform_8x8 = 1;
  }
  set_rate(settings.rate, parameters);
  const ColorSettings& colors = settings.colors;
  parameters.vui.b_fullrange = colors.full_range ? 1 : 0;
  if (colors.colors_described) {
    parameters.vui.i_colorprim = colors.primaries;
    parameters.vui.i_transfer = colors.transfer;
    parameters.vui.i_colmatrix = colors.matrix;
  }
  if (colors.chroma_location >= 0) parameters.vui.i_chroma_loc = colors.chroma_location;
  return parameters;
}

class X264Coder : public StreamCoder {
 public:
  explicit X264Coder(const StreamSettings& settings) {
    x264_param_t parameters = configured(settings);
    encoder_.reset(x264_encoder_open(&parameters));
    x264_param_cleanup(&parameters);
    if (encoder_ == nullptr) throw std::runtime_error("x264 cannot be opened");
  }

  std::vector<std::uint8_t> parameter_sets() override {
    x264_nal_t* units = nullptr;
    int count = 0;
    if (x264_encoder_headers(encoder_.get(), &units, &count) < 0) {
      throw std::runtime_error("x264 gives no headers");
    }
    std::vector<std::uint8_t> sets;
    for (const x264_nal_t& unit : std::span(units, static_cast<std::size_t>(count))) {
      if (unit.i_type == NAL_SPS || unit.i_type == NAL_PPS) append(unit, sets);
    }
    return sets;
  }

  std::vector<CodedPicture> code(std::span<const InputPicture> group) override {
    std::vector<CodedPicture> coded;
    for (const InputPicture& picture : group) coded.push_back(code_one(picture));
    return coded;
  }

 private:
  struct Close {
    void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
  };

  static void append(const x264_nal_t& unit, std::vector<std::uint8_t>& bytes) {
    bytes.insert(bytes.end(), unit.p_payload, std::next(unit.p_payload, unit.i_payload));
  }

  CodedPicture code_one(const InputPicture& picture) {
    x264_picture_t input;
    x264_picture_init(&input);
    input.i_type = picture.kind == PictureKind::idr ? X264_TYPE_IDR : X264_TYPE_P;
    input.i_pts = picture.number;
    input.img.i_csp = X264_CSP_I420;
    input.img.i_plane = 3;
    const Planes& planes = picture.views.front();
    for (std::size_t plane = 0; plane < 3; ++plane) {
      // The library takes its input through pointers to variable samples and only reads them.
      input.img.plane[plane] = const_cast<std::uint8_t*>(planes.samples.at(plane).data());
      input.img.i_stride[plane] = static_cast<int>(planes.stride.at(plane));
    }
    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t output;
    const int size = x264_encoder_encode(encoder_.get(), &units, &count, &input, &output);
    if (size <= 0) throw std::runtime_error("x264 keeps a picture back");
    CodedPicture coded{.views = {{}}, .number = picture.number, .kind = picture.kind};
    coded.average_qp = output.i_qpplus1 - 1;
    for (const x264_nal_t& unit : std::span(units, static_cast<std::size_t>(count))) {
      if (unit.i_type == NAL_SLICE || unit.i_type == NAL_SLICE_IDR) append(unit, coded.views.front());
    }
    return coded;
  }

  std::unique_ptr<x264_t, Close> encoder_;
};

}  // namespace

std::unique_ptr<StreamCoder> open_x264(const StreamSettings& settings) {
  return std::make_unique<X264Coder>(settings);
}

}  // namespace veyrin::simulated_nvenc
