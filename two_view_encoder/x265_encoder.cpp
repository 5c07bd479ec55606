// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/x265_encoder.h"

#include <array>

#include "common/error_text.h"
#include "two_view_encoder/x265_settings.h"

namespace veyrin::two_view {
namespace {

constexpr std::uint32_t first_key_type = NAL_UNIT_CODED_SLICE_BLA_W_LP;
constexpr std::uint32_t last_slice_type = 31;

bool is_slice(const x265_nal& unit) {
  return unit.type <= last_slice_type;
}

bool is_parameter_set(const x265_nal& unit) {
  return unit.type == NAL_UNIT_VPS || unit.type == NAL_UNIT_SPS || unit.type == NAL_UNIT_PPS;
}

ByteSpan bytes_of(const x265_nal& unit) {
  return {unit.payload, unit.sizeBytes};
}

void append(Bytes& to, ByteSpan bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

/// The layer in a unit's header, which is the view.
unsigned layer_of(const x265_nal& unit) {
  const ByteSpan bytes = bytes_of(unit);
  const std::size_t header = bytes[2] == 1 ? 3 : 4;  // behind the start code
  return (bytes[header] & 1U) << 5U | bytes[header + 1] >> 3U;
}

// How many frames decoders hold back before they show the first one, as x265 writes it into its sets.
std::int64_t reorder_delay(const x265_param& opened) {
  if (opened.bframes == 0) return 0;
  return opened.bBPyramid != 0 && opened.bframes > 1 ? 2 : 1;
}

}  // namespace

std::unique_ptr<X265Encoder> X265Encoder::open(const Request& request, std::string& error) {
  std::unique_ptr<X265Encoder> encoder(new X265Encoder(request));
  if (!encoder->start(error)) return nullptr;
  return encoder;
}

X265Encoder::~X265Encoder() {
  // Closing would encode all of them; until the process ends they stay x265's.
  if (units_given_ != pairs_taken_) static_cast<void>(encoder_.release());
}

bool X265Encoder::start(std::string& error) {
  api_ = x265_for(request_.bit_depth);
  if (api_ == nullptr)
    return fail(error, "x265 was not built for " + std::to_string(request_.bit_depth) + " bits");
  parameters_ = X265Parameters(api_->param_alloc(), {api_});
  if (!parameters_) return fail(error, "could not allocate x265's parameters");
  if (!configure(request_, *api_, *parameters_, error)) return false;
  encoder_ = X265Handle(api_->encoder_open(parameters_.get()), {api_});
  if (!encoder_) return fail(error, "could not open x265");
  // Opening may have changed some of them.
  api_->encoder_parameters(encoder_.get(), parameters_.get());
  reorder_delay_ = reorder_delay(*parameters_);
  return take_parameter_sets(error);
}

bool X265Encoder::take_parameter_sets(std::string& error) {
  x265_nal* units = nullptr;
  std::uint32_t count = 0;
  if (api_->encoder_headers(encoder_.get(), &units, &count) < 0)
    return fail(error, "could not get x265's parameter sets");
  for (const x265_nal& unit : std::span(units, count)) {
    if (is_parameter_set(unit)) append(parameter_sets_, bytes_of(unit));
  }
  return true;
}

bool X265Encoder::encode(PicturePair* pair, std::optional<Unit>& unit, std::string& error) {
  unit.reset();
  std::array<x265_picture, 2> input{};
  std::array<x265_picture, 2> output{};
  for (x265_picture& picture : output) api_->picture_init(parameters_.get(), &picture);
  if (pair != nullptr) {
    const auto planes = pair->planes();
    for (std::size_t view = 0; view < input.size(); ++view) {
      x265_picture& picture = input.at(view);
      api_->picture_init(parameters_.get(), &picture);
      picture.bitDepth = static_cast<int>(request_.bit_depth);
      picture.colorSpace = X265_CSP_I420;
      picture.sliceType = is_forced_key(request_) ? X265_TYPE_IDR : X265_TYPE_AUTO;
      picture.pts = static_cast<std::int64_t>(pairs_taken_);
      for (std::size_t plane = 0; plane < 3; ++plane) {
        picture.planes[plane] = planes.at(view).samples.at(plane);
        picture.stride[plane] = planes.at(view).stride.at(plane);
      }
    }
    ++pairs_taken_;
  }
  x265_nal* nal_units = nullptr;
  std::uint32_t count = 0;
  const int result = api_->encoder_encode(encoder_.get(), &nal_units, &count,
                                          pair != nullptr ? input.data() : nullptr, output.data());
  if (result < 0) return fail(error, "could not encode with x265");
  if (result == 0) return true;
  // Only the left view's picture has a time.
  return make_unit({nal_units, count}, output.front().pts, unit.emplace(), error);
}

bool X265Encoder::make_unit(std::span<const x265_nal> nal_units, std::int64_t pts, Unit& unit,
                            std::string& error) {
  std::array<Bytes, 2> views;
  for (const x265_nal& nal_unit : nal_units) {
    if (!is_slice(nal_unit)) continue;
    const unsigned layer = layer_of(nal_unit);
    if (layer >= views.size()) return fail(error, "x265 gave a third view");
    append(views.at(layer), bytes_of(nal_unit));
    if (layer == 0 && nal_unit.type >= first_key_type) unit.key = true;
  }
  if (views[0].empty() || views[1].empty()) return fail(error, "x265 left a view out");
  unit.pts = pts;
  unit.dts = static_cast<std::int64_t>(units_given_) - reorder_delay_;
  if (unit.pts < unit.dts) return fail(error, "x265 gave a picture too late");
  unit.left_bytes = static_cast<std::uint32_t>(views[0].size());
  unit.bytes = std::move(views[0]);
  append(unit.bytes, views[1]);
  ++units_given_;
  return true;
}

}  // namespace veyrin::two_view
