#include "tests/simulated_nvenc/session.h"

#include <algorithm>
#include <utility>

#include "tests/simulated_nvenc/annex_b.h"
#include "tests/simulated_nvenc/display_message.h"
#include "tests/simulated_nvenc/refusal.h"

namespace veyrin::simulated_nvenc {

Session::~Session() {
  if (!textures_.empty()) {
    log_line(settings_, "ended with " + std::to_string(textures_.size()) + " registered textures");
  }
}

void Session::require_initialized() const {
  require(setup_.has_value(), NV_ENC_ERR_ENCODER_NOT_INITIALIZED, "the session is not initialized");
}

void Session::initialize(const NV_ENC_INITIALIZE_PARAMS& parameters) {
  require(!setup_.has_value(), NV_ENC_ERR_INVALID_CALL, "the session is initialized already");
  const SessionSetup setup = accept(parameters, settings_);
  const StreamSettings& stream = setup.stream;
  coder_ = stream.codec == Codec::hevc ? open_x265(stream) : open_x264(stream);
  pairs_.emplace(stream.views);
  const auto per_group = settings_.groups_per_view ? static_cast<std::uint32_t>(stream.views) : 1U;
  order_.emplace((stream.idr_period + per_group - 1) / per_group, stream.b_frames);
  setup_ = setup;
  log_line(settings_, description(parameters, setup));
}

void Session::reconfigure(const NV_ENC_RECONFIGURE_PARAMS& parameters) const {
  require_initialized();
  require_version(parameters.version, NV_ENC_RECONFIGURE_PARAMS_VER, "reconfigure parameters");
  throw Refusal(NV_ENC_ERR_UNSUPPORTED_PARAM, "this GPU does not change its settings while it encodes");
}

void Session::sequence_parameters(NV_ENC_SEQUENCE_PARAM_PAYLOAD& parameters) {
  require_initialized();
  require_version(parameters.version, NV_ENC_SEQUENCE_PARAM_PAYLOAD_VER, "sequence parameters");
  require(parameters.spsppsBuffer != nullptr && parameters.outSPSPPSPayloadSize != nullptr,
          NV_ENC_ERR_INVALID_PTR, "no room for parameter sets");
  std::vector<std::uint8_t> sets = coder_->parameter_sets();
  if (settings_.layer_sets == LayerSets::missing || settings_.layer_sets == LayerSets::in_band) {
    sets = units_of_layer(sets, 0);
  }
  require(sets.size() <= parameters.inBufferSize, NV_ENC_ERR_NOT_ENOUGH_BUFFER,
          "the parameter sets need more room");
  std::ranges::copy(sets, static_cast<std::uint8_t*>(parameters.spsppsBuffer));
  *parameters.outSPSPPSPayloadSize = static_cast<std::uint32_t>(sets.size());
}

Submission Session::submission(const NV_ENC_PIC_PARAMS& parameters, const PictureSource& from) const {
  Submission submission;
  submission.time_stamp = parameters.inputTimeStamp;
  submission.duration = parameters.inputDuration;
  submission.frame_index = parameters.frameIdx;
  constexpr std::uint32_t forcing = NV_ENC_PIC_FLAG_FORCEIDR | NV_ENC_PIC_FLAG_FORCEINTRA;
  submission.force_idr = (parameters.encodePicFlags & forcing) != 0;
  submission.planes = from.planes();
  if (setup_->stream.views == 2) {
    const NV_ENC_PIC_PARAMS_HEVC& hevc = parameters.codecPicParams.hevcPicParams;
    submission.view_id = hevc.viewId;
    if (setup_->display_information && hevc.p3DReferenceDisplayInfo != nullptr) {
      submission.message = display_message(*hevc.p3DReferenceDisplayInfo);
    }
  }
  return submission;
}

NVENCSTATUS Session::encode(const NV_ENC_PIC_PARAMS& parameters) {
  require_version(parameters.version, NV_ENC_PIC_PARAMS_VER, "picture parameters");
  if ((parameters.encodePicFlags & NV_ENC_PIC_FLAG_EOS) != 0) return finish_stream();
  require_initialized();
  require(!ended_, NV_ENC_ERR_INVALID_CALL, "a picture after the end of the stream");
  if (settings_.failing_picture == calls_++) {
    throw Refusal(NV_ENC_ERR_GENERIC, "the GPU was lost (as configured)");
  }
  const StreamSettings& stream = setup_->stream;
  const PictureSource& from = source(parameters.inputBuffer);
  const PictureLayout& layout = from.layout();
  OutputBuffer& to = output(parameters.outputBitstream);
  require(to.state == OutputBuffer::State::free, NV_ENC_ERR_INVALID_CALL,
          "the output buffer's last view was not fetched");
  require(parameters.bufferFmt == layout.format, NV_ENC_ERR_INVALID_PARAM,
          "another format than the buffer's");
  require(parameters.pictureStruct == NV_ENC_PIC_STRUCT_FRAME, NV_ENC_ERR_UNSUPPORTED_PARAM,
          "only whole frames are encoded");
  // FFmpeg passes no size with textures, and drivers accept that.
  const bool size_told = parameters.inputWidth != 0 || parameters.inputHeight != 0;
  require(layout.width == stream.width && layout.height == stream.height &&
              (!size_told || (parameters.inputWidth == static_cast<std::uint32_t>(stream.width) &&
                              parameters.inputHeight == static_cast<std::uint32_t>(stream.height))),
          NV_ENC_ERR_INVALID_PARAM, "another size than the session's");

  Submission taken = submission(parameters, from);
  const bool first_view = taken.view_id == 0;
  auto complete = pairs_->add(std::move(taken));
  to.state = OutputBuffer::State::submitted;
  waiting_outputs_.push_back(&to);
  if (complete) {
    InputPicture picture{.views = {}, .number = pictures_++};
    for (Submission& view : *complete) picture.views.push_back(std::exchange(view.planes, {}));
    const bool force_idr = std::ranges::any_of(*complete, &Submission::force_idr);
    in_flight_[picture.number] = std::move(*complete);
    for (const auto& group : order_->add(std::move(picture), force_idr)) code(group);
  }
  // A view that is never delivered: no later call reports it as ready.
  if (settings_.odd_views) return first_view ? NV_ENC_SUCCESS : NV_ENC_ERR_NEED_MORE_INPUT;
  return waiting_outputs_.empty() ? NV_ENC_SUCCESS : NV_ENC_ERR_NEED_MORE_INPUT;
}

NVENCSTATUS Session::finish_stream() {
  if (!setup_) return NV_ENC_SUCCESS;
  ended_ = true;
  pairs_->finish();
  if (const auto rest = order_->finish()) code(*rest);
  return settings_.odd_views ? NV_ENC_ERR_NEED_MORE_INPUT : NV_ENC_SUCCESS;
}

void Session::code(const std::vector<InputPicture>& group) {
  const std::vector<CodedPicture> coded = coder_->code(group);
  const auto views = static_cast<std::size_t>(setup_->stream.views);
  const bool one_view_after_the_other = settings_.view_output == ViewOutput::by_view;
  for (std::size_t i = 0; i < coded.size() * views; ++i) {
    const std::size_t picture = one_view_after_the_other ? i % coded.size() : i / views;
    const std::size_t view = one_view_after_the_other ? i / coded.size() : i % views;
    deliver(coded[picture], settings_.view_output == ViewOutput::swapped ? views - 1 - view : view);
  }
  for (const CodedPicture& picture : coded) in_flight_.erase(picture.number);
}

bool Session::wants_headers(const CodedPicture& picture, std::size_t view) const {
  if (view != 0 || picture.kind != PictureKind::idr) return false;
  switch (setup_->headers) {
    case HeaderPlacement::never:
      return false;
    case HeaderPlacement::first_picture:
      return picture.number == 0;
    case HeaderPlacement::every_idr:
      break;
  }
  return true;
}

bool Session::wants_message(const CodedPicture& picture, std::size_t view) const {
  switch (settings_.display_messages) {
    case DisplayMessages::every_view:
      return true;
    case DisplayMessages::once:
      return picture.number == 0 && view == 0;
    case DisplayMessages::second_layer:
      break;
  }
  return view == 1;
}

// By default the second view of a key picture, which is predicted from the first, counts as a P picture.
NV_ENC_PIC_TYPE Session::picture_type(PictureKind kind, std::size_t view) const {
  const bool key = kind == PictureKind::idr;
  if (view == 1 && settings_.second_view_keys == SecondViewKeys::all) return NV_ENC_PIC_TYPE_IDR;
  if (key && (view == 0 || settings_.second_view_keys == SecondViewKeys::key_pictures))
    return NV_ENC_PIC_TYPE_IDR;
  return kind == PictureKind::bidirectional ? NV_ENC_PIC_TYPE_B : NV_ENC_PIC_TYPE_P;
}

// The k-th coded view goes to the k-th output buffer, whichever picture was passed along with that.
void Session::deliver(const CodedPicture& picture, std::size_t view) {
  OutputBuffer& to = *waiting_outputs_.front();
  waiting_outputs_.pop_front();
  Submission& origin = in_flight_.at(picture.number)[view];
  to.bytes.clear();
  const auto append = [&to](const std::vector<std::uint8_t>& more) {
    to.bytes.insert(to.bytes.end(), more.begin(), more.end());
  };
  if (wants_headers(picture, view)) append(coder_->parameter_sets());
  const bool in_band = settings_.layer_sets == LayerSets::in_band || settings_.layer_sets == LayerSets::both;
  if (in_band && view == 1 && picture.kind == PictureKind::idr)
    append(units_of_layer(coder_->parameter_sets(), 1));
  if (!origin.message.empty() && wants_message(picture, view)) {
    if (settings_.display_messages == DisplayMessages::second_layer) set_hevc_layer(origin.message, 1);
    append(origin.message);
  }
  append(picture.views[view]);
  to.origin = std::move(origin);
  if (view == 1) to.origin.time_stamp += static_cast<std::uint64_t>(settings_.view_time_offset);
  to.average_qp = picture.average_qp;
  to.type = picture_type(picture.kind, view);
  to.state = OutputBuffer::State::coded;
}

}  // namespace veyrin::simulated_nvenc
