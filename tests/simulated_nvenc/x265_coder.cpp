// HEVC with one or two views in 8 or 10 bits, encoded by x265.
#include <x265.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

#include "tests/simulated_nvenc/annex_b.h"
#include "tests/simulated_nvenc/stream_coder.h"

// The entry point of the 10-bit library, which has its symbols in a namespace.
namespace x265_10bit {
const x265_api* x265_api_get(int bit_depth);
}

namespace veyrin::simulated_nvenc {
namespace {

int slice_type(PictureKind kind) {
  switch (kind) {
    case PictureKind::idr:
      return X265_TYPE_IDR;
    case PictureKind::forward:
      return X265_TYPE_P;
    case PictureKind::bidirectional:
      break;
  }
  return X265_TYPE_B;
}

void set_rate(const StreamSettings& settings, x265_param& parameters) {
  const RateSettings& rate = settings.rate;
  auto& control = parameters.rc;
  switch (rate.mode) {
    case RateMode::constant_qp:
      control.rateControlMode = X265_RC_CQP;
      control.qp = rate.qp;
      break;
    case RateMode::constant_quality:
      control.rateControlMode = X265_RC_CRF;
      control.rfConstant = rate.quality;
      break;
    case RateMode::bit_rate:
      control.rateControlMode = X265_RC_ABR;
      // Of all views, with our change to the library's rate control.
      control.bitrate = std::max(1, static_cast<int>(rate.bits_per_second / 1000));
      break;
  }
}

void set_colors(const ColorSettings& colors, x265_param& parameters) {
  auto& vui = parameters.vui;
  vui.bEnableVideoSignalTypePresentFlag = colors.signal_described ? 1 : 0;
  vui.videoFormat = 5;
  vui.bEnableVideoFullRangeFlag = colors.full_range ? 1 : 0;
  vui.bEnableColorDescriptionPresentFlag = colors.colors_described ? 1 : 0;
  vui.colorPrimaries = colors.primaries;
  vui.transferCharacteristics = colors.transfer;
  vui.matrixCoeffs = colors.matrix;
  if (colors.chroma_location >= 0) {
    vui.bEnableChromaLocInfoPresentFlag = 1;
    vui.chromaSampleLocTypeTopField = colors.chroma_location;
    vui.chromaSampleLocTypeBottomField = colors.chroma_location;
  }
}

void configure(const x265_api& api, const StreamSettings& settings, x265_param& parameters) {
  api.param_default_preset(&parameters, "ultrafast", nullptr);
  parameters.logLevel = X265_LOG_ERROR;
  parameters.sourceWidth = settings.width;
  parameters.sourceHeight = settings.height;
  parameters.internalCsp = X265_CSP_I420;
  parameters.fpsNum = settings.rate_numerator;
  parameters.fpsDenom = settings.rate_denominator;
  parameters.numViews = settings.views;
  parameters.numLayers = settings.views;
  parameters.format = 0;
  parameters.bRepeatHeaders = 0;
  parameters.bAnnexB = 1;
  parameters.bEmitInfoSEI = 0;
  parameters.bHighTier = 0;
  // The caller decides the type of every picture, and no picture may stay inside after its group.
  parameters.keyframeMax = -1;
  parameters.scenecutThreshold = 0;
  parameters.bOpenGOP = 0;
  parameters.bframes = settings.b_frames;
  parameters.bFrameAdaptive = 0;
  parameters.bBPyramid = 0;
  parameters.lookaheadDepth = settings.b_frames == 0 ? 0 : settings.b_frames + 2;
  parameters.frameNumThreads = 1;
  parameters.rc.cuTree = 0;
  set_rate(settings, parameters);
  set_colors(settings.colors, parameters);
  if (api.param_parse(&parameters, "pools", "none") != 0 ||
      api.param_apply_profile(&parameters, settings.bit_depth == 10 ? "main10" : "main") != 0) {
    throw std::runtime_error("x265 refuses its parameters");
  }
}

class X265Coder : public StreamCoder {
 public:
  explicit X265Coder(const StreamSettings& settings)
      : settings_(settings), api_(settings.bit_depth == 10 ? x265_10bit::x265_api_get(10) : x265_api_get(8)) {
    if (api_ == nullptr) throw std::runtime_error("x265 has not been built for this bit depth");
    parameters_.reset(api_->param_alloc());
    configure(*api_, settings_, *parameters_);
    encoder_.reset(api_->encoder_open(parameters_.get()));
    if (encoder_ == nullptr) throw std::runtime_error("x265 cannot be opened");
  }

  std::vector<std::uint8_t> parameter_sets() override {
    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    if (api_->encoder_headers(encoder_.get(), &units, &count) < 0) {
      throw std::runtime_error("x265 gives no headers");
    }
    std::vector<std::uint8_t> sets;
    for (const x265_nal& unit : std::span(units, count)) {
      if (unit.type == NAL_UNIT_VPS || unit.type == NAL_UNIT_SPS || unit.type == NAL_UNIT_PPS) {
        sets.insert(sets.end(), unit.payload, std::next(unit.payload, unit.sizeBytes));
      }
    }
    return sets;
  }

  std::vector<CodedPicture> code(std::span<const InputPicture> group) override {
    std::vector<CodedPicture> coded;
    for (const InputPicture& picture : group) {
      std::vector<x265_picture> input = borrow(picture);
      run(input.data(), coded);
    }
    if (settings_.b_frames > 0) {
      while (coded.size() < group.size()) {
        if (!run(nullptr, coded)) throw std::runtime_error("x265 keeps a picture back");
      }
      restart_lookahead();
    }
    if (coded.size() != group.size()) throw std::runtime_error("x265 keeps a picture back");
    for (CodedPicture& picture : coded) {
      picture.kind = std::ranges::find(group, picture.number, &InputPicture::number)->kind;
    }
    return coded;
  }

 private:
  struct Release {
    const x265_api* api;
    void operator()(x265_param* parameters) const { api->param_free(parameters); }
    void operator()(x265_encoder* encoder) const { api->encoder_close(encoder); }
  };

  /// The library's description of the picture's views; the samples stay the caller's.
  [[nodiscard]] std::vector<x265_picture> borrow(const InputPicture& picture) const {
    std::vector<x265_picture> views(picture.views.size());
    for (std::size_t view = 0; view < views.size(); ++view) {
      x265_picture& described = views[view];
      api_->picture_init(parameters_.get(), &described);
      described.bitDepth = picture.views[view].bit_depth;
      described.colorSpace = X265_CSP_I420;
      described.sliceType = slice_type(picture.kind);
      described.pts = picture.number;
      for (std::size_t plane = 0; plane < 3; ++plane) {
        const Planes& planes = picture.views[view];
        // The library takes its input through pointers to variable samples and only reads them.
        described.planes[plane] = const_cast<std::uint8_t*>(planes.samples.at(plane).data());
        described.stride[plane] = static_cast<int>(planes.stride.at(plane));
      }
    }
    return views;
  }

  /// Calls the library once; true if it returned a picture.
  bool run(x265_picture* input, std::vector<CodedPicture>& coded) {
    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    std::array<x265_picture, 2> output{};  // the library writes both, whatever the number of views
    for (x265_picture& picture : output) api_->picture_init(parameters_.get(), &picture);
    const int result = api_->encoder_encode(encoder_.get(), &units, &count, input, output.data());
    if (result < 0) throw std::runtime_error("x265 fails to encode");
    if (result == 0) return false;
    CodedPicture picture;
    picture.number = output.front().pts;
    picture.average_qp = static_cast<int>(output.front().frameData.qp);
    picture.views.resize(static_cast<std::size_t>(settings_.views));
    for (const x265_nal& unit : std::span(units, count)) {
      // The driver writes headers and SEI messages itself.
      constexpr std::uint32_t first_that_is_no_slice = 32;
      if (unit.type >= first_that_is_no_slice) continue;
      const std::span bytes(unit.payload, unit.sizeBytes);
      auto& view = picture.views.at(hevc_layer(bytes));
      view.insert(view.end(), bytes.begin(), bytes.end());
    }
    coded.push_back(std::move(picture));
    return true;
  }

  /// After a flush the library decides pictures one by one unless told that more will come.
  void restart_lookahead() {
    parameters_->forceFlush = 1;
    const int result = api_->encoder_reconfig(encoder_.get(), parameters_.get());
    parameters_->forceFlush = 0;
    if (result < 0) throw std::runtime_error("x265 cannot be flushed");
  }

  StreamSettings settings_;
  const x265_api* api_;
  std::unique_ptr<x265_param, Release> parameters_{nullptr, Release{api_}};
  std::unique_ptr<x265_encoder, Release> encoder_{nullptr, Release{api_}};
};

}  // namespace

std::unique_ptr<StreamCoder> open_x265(const StreamSettings& settings) {
  return std::make_unique<X265Coder>(settings);
}

}  // namespace veyrin::simulated_nvenc
