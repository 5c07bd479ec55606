#include "spatial/packaged_two_view_encoder.h"

#include <cstring>
#include <span>
#include <system_error>
#include <utility>
#include <variant>

#include "common/error_text.h"
#include "common/helper_program.h"
#include "common/platform/files.h"
#include "media/ffmpeg.h"
#include "spatial/two_view_request.h"
#include "spatial/two_view_stream.h"
#include "spatial/two_view_units.h"

namespace veyrin {
namespace {

using two_view::Record;

constexpr const char* encoder_name = "the two-view encoder";

std::string say(const std::string& what) {
  return std::string(encoder_name) + " " + what;
}

std::span<const std::byte> as_piece(two_view::ByteSpan bytes) {
  return std::as_bytes(bytes);
}

std::string seconds_text(std::chrono::milliseconds duration) {
  return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(duration).count()) + " seconds";
}

}  // namespace

std::filesystem::path PackagedTwoViewEncoder::locate() {
  if (const auto named = named_program("VEYRIN_TWO_VIEW_ENCODER")) return *named;
  const std::filesystem::path beside = program_beside("veyrin-two-view-encoder");
  std::error_code unknown;
  return std::filesystem::is_regular_file(beside, unknown) ? beside : std::filesystem::path();
}

std::unique_ptr<PackagedTwoViewEncoder> PackagedTwoViewEncoder::create(const SpatialWriterConfig& config,
                                                                       std::string& error,
                                                                       const Limits& limits) {
  const std::filesystem::path program = locate();
  std::error_code unknown;
  if (!std::filesystem::is_regular_file(program, unknown)) {
    error = "two-view encoder not found (expected " + platform::path_to_utf8(program) +
            "; VEYRIN_TWO_VIEW_ENCODER may override the location)";
    return nullptr;
  }
  const auto request = two_view_request(config, error);
  if (!request) return nullptr;
  std::unique_ptr<PackagedTwoViewEncoder> encoder(new PackagedTwoViewEncoder(config, limits));
  if (!encoder->start(program, error) || !encoder->open(config, *request, error)) return nullptr;
  return encoder;
}

PackagedTwoViewEncoder::PackagedTwoViewEncoder(const SpatialWriterConfig& config, const Limits& limits)
    : eye_(config.eye),
      depth_(config.depth),
      frame_rate_(config.frame_rate),
      colors_(config.colors),
      limits_(limits) {}

PackagedTwoViewEncoder::~PackagedTwoViewEncoder() {
  watch_.reset();
  // The queue waits for the end of the output, which the program's end brings; programs that it has started
  // itself, and that hold the output, too, are expected to end with their input.
  if (child_) {
    child_->close_input();
    child_->terminate();
  }
  records_.reset();
}

bool PackagedTwoViewEncoder::start(const std::filesystem::path& program, std::string& error) {
  auto request = request_in_own_folder(program);
  request.input = platform::ChildInput::pipe;
  request.output = platform::ChildOutput::pipe;
  platform::ChildStartFailure failure;
  child_ = platform::ChildProcess::start(request, failure);
  if (!child_) {
    return fail(error, failure.step == platform::ChildStartFailure::Step::pipe
                           ? "could not create the two-view encoder pipes"
                           : "could not start the two-view encoder (" + failure.system_error + ")");
  }
  records_ = std::make_unique<two_view::RecordQueue>(
      [child = child_.get()](std::span<std::byte> into) { return child->read(into); });
  watch_ = std::make_unique<StallWatch>([records = records_.get()] { return records->arrived(); },
                                        [child = child_.get()] { child->kill(); });
  return true;
}

bool PackagedTwoViewEncoder::open(const SpatialWriterConfig& config, const two_view::Request& request,
                                  std::string& error) {
  const two_view::Bytes message = two_view::write_request(request);
  const StallWatch::Wait wait(*watch_, limits_.opening);
  // When it does not take the request, it may have said why.
  const bool sent = child_->write(message.data(), message.size());
  if (!sent) child_->close_input();
  const Record answer = records_->take();
  const auto* opened = std::get_if<two_view::Opened>(&answer);
  if (opened == nullptr) {
    if (watch_->stalled()) return fail(error, say("did not answer within " + seconds_text(limits_.opening)));
    return fail_with(answer, error);
  }
  if (opened->version != two_view::protocol_version) {
    return fail(error, say("speaks version " + std::to_string(opened->version) +
                           " of the protocol instead of " + std::to_string(two_view::protocol_version)));
  }
  if (!sent) return fail(error, say("stopped while receiving the request"));
  return accept_parameter_sets(config, opened->parameter_sets, error);
}

bool PackagedTwoViewEncoder::accept_parameter_sets(const SpatialWriterConfig& config,
                                                   const two_view::Bytes& parameter_sets,
                                                   std::string& error) {
  TwoViewParameterSets sets;
  sets.note_stream(parameter_sets);
  if (!sets.missing().empty())
    return fail(error, say("gave a sequence header without " + std::string(sets.missing())));
  parameters_ = describe_two_view_stream(config, parameter_sets, error);
  return parameters_ != nullptr;
}

bool PackagedTwoViewEncoder::prepare_frame(int /*view*/, AVFrame& frame, std::string& error) const {
  return allocate_eye_frame(frame, raw_picture_format(depth_), eye_, RowLayout::gapless, colors_, error);
}

bool PackagedTwoViewEncoder::encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                                    std::string& error) {
  if (!first_pts_) first_pts_ = left.pts;
  pieces_.assign(1, as_piece(two_view::pair_mark));
  append_raw_picture(left, eye_, pieces_);
  append_raw_picture(right, eye_, pieces_);
  if (!send(pieces_, error)) return false;
  awaited_.insert(static_cast<std::int64_t>(pairs_sent_));
  ++pairs_sent_;
  while (const auto record = records_->take_arrived()) {
    const auto* unit = std::get_if<two_view::Unit>(&*record);
    if (unit == nullptr) return fail_with(*record, error);
    if (!hand_on(*unit, sink, error)) return false;
  }
  return true;
}

bool PackagedTwoViewEncoder::drain(const SampleSink& sink, std::string& error) {
  const two_view::Bytes end = two_view::write_end(pairs_sent_);
  if (!send({as_piece(end)}, error)) return false;
  child_->close_input();
  while (true) {
    const Record record = await_record();
    if (const auto* done = std::get_if<two_view::Done>(&record)) return end_movie(*done, error);
    const auto* unit = std::get_if<two_view::Unit>(&record);
    if (unit == nullptr) return fail_with(record, error);
    if (!hand_on(*unit, sink, error)) return false;
  }
}

bool PackagedTwoViewEncoder::send(const BytePieces& pieces, std::string& error) {
  const StallWatch::Wait wait(*watch_, limits_.encoding);
  if (child_->write(pieces)) return true;
  // Its last record tells why it does not take any more; if it still waits, it must not wait for ever.
  child_->close_input();
  while (true) {
    const Record record = records_->take();
    if (!std::holds_alternative<two_view::Unit>(record)) return fail_with(record, error);
  }
}

Record PackagedTwoViewEncoder::await_record() {
  const StallWatch::Wait wait(*watch_, limits_.encoding);
  return records_->take();
}

bool PackagedTwoViewEncoder::accept(const two_view::Unit& unit, std::string& error) {
  const std::int64_t dts = last_dts_ ? *last_dts_ + 1 : unit.dts;
  if (awaited_.erase(unit.pts) == 0 || unit.dts != dts || unit.pts < unit.dts)
    return fail(error, say("gave a sample with wrong times (pts/dts=" + std::to_string(unit.pts) + "/" +
                           std::to_string(unit.dts) + ")"));
  bool random_access = false;
  if (!check_two_view_sample(unit.bytes, encoder_name, random_access, error)) return false;
  if (unit.key != random_access)
    return fail(error, say(unit.key ? "called a sample a key frame that is none" : "hid a key frame"));
  if (!last_dts_ && !unit.key) return fail(error, say("did not begin with a key frame"));
  last_dts_ = unit.dts;
  return true;
}

bool PackagedTwoViewEncoder::hand_on(const two_view::Unit& unit, const SampleSink& sink, std::string& error) {
  if (!accept(unit, error)) return false;
  const PacketPtr sample(av_packet_alloc());
  const int result =
      sample ? av_new_packet(sample.get(), static_cast<int>(unit.bytes.size())) : AVERROR(ENOMEM);
  if (result < 0) return fail_with_library_error(error, "could not store an MV-HEVC sample", result);
  std::memcpy(sample->data, unit.bytes.data(), unit.bytes.size());
  sample->pts = *first_pts_ + unit.pts;
  sample->dts = *first_pts_ + unit.dts;
  sample->duration = 1;
  if (unit.key) sample->flags |= AV_PKT_FLAG_KEY;
  return sink(*sample, error);
}

bool PackagedTwoViewEncoder::end_movie(const two_view::Done& done, std::string& error) {
  if (!awaited_.empty() || done.units != pairs_sent_)
    return fail(error, say("gave back " + std::to_string(done.units) + " of " + std::to_string(pairs_sent_) +
                           " pairs"));
  const auto status = child_->wait(limits_.encoding);
  return status == 0 ||
         fail(error, say(status ? "failed with exit code " + std::to_string(*status) : "did not end"));
}

bool PackagedTwoViewEncoder::fail_with(const Record& record, std::string& error) const {
  if (watch_->stalled()) return fail(error, say("did nothing for " + seconds_text(limits_.encoding)));
  if (const auto* failed = std::get_if<two_view::Failed>(&record))
    return fail(error, say("failed: " + failed->message));
  if (const auto* broken = std::get_if<two_view::Broken>(&record)) return fail(error, say(broken->what));
  return fail(error, say("sent its answers in the wrong order"));
}

// Whether the machine can is found out by opening the program. It serves only those who want software.
TwoViewEncoderKind packaged_two_view_encoder_kind() {
  return {
      .acceleration = Acceleration::software,
      .serves = [](bool software) { return software && !PackagedTwoViewEncoder::locate().empty(); },
      .check_machine = [](Size /*eye*/, BitDepth /*depth*/, std::string& /*error*/) { return true; },
      .canvas_format = raw_picture_format,
      .report = {.encoder = "libx265 (veyrin-two-view-encoder)",
                 .program = "veyrin-two-view-encoder with libx265"},
      .create = [](const SpatialWriterConfig& config, std::string& error) -> std::unique_ptr<TwoViewEncoder> {
        return PackagedTwoViewEncoder::create(config, error, {});
      },
  };
}

}  // namespace veyrin
