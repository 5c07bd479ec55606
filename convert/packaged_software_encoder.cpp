#include "convert/packaged_software_encoder.h"

#include <system_error>
#include <utility>

#include "common/error_text.h"
#include "common/helper_program.h"
#include "common/platform/files.h"
#include "convert/packaged_encoder_arguments.h"
#include "media/movie_file.h"
#include "media/raw_picture.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace veyrin {
namespace {

class PackagedMovie final : public MovieSink {
 public:
  PackagedMovie(std::unique_ptr<PackagedSoftwareEncoder> encoder, std::unique_ptr<CanvasPool> canvases,
                bool has_audio)
      : encoder_(std::move(encoder)), canvases_(std::move(canvases)), has_audio_(has_audio) {}

  Canvases next_canvases(std::string& error) override { return canvases_->take(error); }

  bool write_canvases(Canvases canvases, FrameRun run, std::string& error) override {
    for (; run.count > 0; --run.count)
      if (!encoder_->write_frame(canvases.front().get(), error)) return false;
    canvases_->give_back(std::move(canvases));
    return true;
  }

  // The child copies the audio from the recording itself.
  [[nodiscard]] bool accepts_audio() const override { return false; }

  [[nodiscard]] bool counts_from_container_start() const override { return has_audio_; }

  bool write_audio(AVPacket& /*packet*/, std::string& error) override {
    return fail(error, "could not write an audio packet");
  }

  bool finish(std::string& error) override { return encoder_->finish(error); }

 private:
  std::unique_ptr<PackagedSoftwareEncoder> encoder_;
  std::unique_ptr<CanvasPool> canvases_;
  bool has_audio_;
};

}  // namespace

bool probe_packaged_encoder(const std::filesystem::path& executable, BitDepth depth,
                            std::chrono::milliseconds limit) {
  auto request = request_in_own_folder(executable, packaged_probe_arguments(depth));
  request.output = platform::ChildOutput::null_device;
  platform::ChildStartFailure failure;
  const auto child = platform::ChildProcess::start(request, failure);
  return child && child->wait(limit) == 0;
}

std::filesystem::path PackagedSoftwareEncoder::locate() {
  return named_program("VEYRIN_FFMPEG_GPL").value_or(program_beside("ffmpeg-gpl"));
}

bool PackagedSoftwareEncoder::check_availability(BitDepth depth, std::string& error) {
  const std::filesystem::path executable = locate();
  std::error_code code;
  if (!std::filesystem::is_regular_file(executable, code)) {
    return fail(error, "packaged GPL FFmpeg executable not found (expected " +
                           platform::path_to_utf8(executable) +
                           "; VEYRIN_FFMPEG_GPL may override the location)");
  }
  if (!probe_packaged_encoder(executable, depth)) {
    return fail(error, std::string("packaged GPL FFmpeg does not provide a working ") +
                           (depth == BitDepth::ten ? "10-bit " : "") + "libx265 encoder");
  }
  return true;
}

std::unique_ptr<PackagedSoftwareEncoder> PackagedSoftwareEncoder::create(const SoftwareEncodeRequest& request,
                                                                         std::string& error) {
  SoftwareEncodeRequest absolute = request;
  absolute.input = std::filesystem::absolute(request.input);
  absolute.output = std::filesystem::absolute(request.output);
  std::error_code unknown;
  const bool output_is_new = !platform::name_is_taken(absolute.output, unknown);
  auto process = request_in_own_folder(locate(), packaged_encode_arguments(absolute));
  process.input = platform::ChildInput::pipe;
  platform::ChildStartFailure failure;
  auto child = platform::ChildProcess::start(process, failure);
  if (!child) {
    error = failure.step == platform::ChildStartFailure::Step::pipe
                ? "could not create the software encoder pipe"
                : "could not start packaged GPL FFmpeg (" + failure.system_error + ")";
    return nullptr;
  }
  return std::unique_ptr<PackagedSoftwareEncoder>(
      new PackagedSoftwareEncoder(std::move(absolute), output_is_new, std::move(child)));
}

PackagedSoftwareEncoder::PackagedSoftwareEncoder(SoftwareEncodeRequest request, bool output_is_new,
                                                 std::unique_ptr<platform::ChildProcess> child)
    : request_(std::move(request)), output_is_new_(output_is_new), child_(std::move(child)) {}

PackagedSoftwareEncoder::~PackagedSoftwareEncoder() {
  child_.reset();
  std::error_code ignored;
  if (!finished_ && output_is_new_ && std::filesystem::file_size(request_.output, ignored) == 0)
    std::filesystem::remove(request_.output, ignored);
}

bool PackagedSoftwareEncoder::write_frame(const AVFrame* frame, std::string& error) {
  const int planes = frame != nullptr ? raw_plane_count(frame->format) : 0;
  if (planes == 0) return fail(error, "software encoder received an unsupported pixel format");
  for (int plane = 0; plane < planes; ++plane) {
    if (frame->data[plane] == nullptr) {
      return fail(error, "software encoder received a frame with a missing plane");
    }
  }
  pieces_.clear();
  append_raw_picture(*frame, request_.size, pieces_);
  if (!child_->write(pieces_)) return fail(error, "packaged GPL FFmpeg stopped while receiving video frames");
  ++frames_written_;
  return true;
}

bool PackagedSoftwareEncoder::finish(std::string& error) {
  if (finished_) return true;
  child_->close_input();
  // FFmpeg can exit with 0 although the disk was full when it wrote the end of the file.
  if (child_->wait() != 0 || is_cut_off_movie(request_.output) ||
      (request_.finish_check && !request_.finish_check(request_.output, frames_written_))) {
    return fail(error, "packaged GPL FFmpeg software encoding failed");
  }
  finished_ = true;
  return !request_.finish_pass || request_.finish_pass(request_.output, error);
}

std::unique_ptr<MovieSink> create_packaged_movie(const SoftwareEncodeRequest& request, std::string& error) {
  auto canvases = CanvasPool::create(
      {.format = raw_picture_format(request.depth), .size = request.size, .rows = RowLayout::gapless}, error);
  if (!canvases) return nullptr;
  auto encoder = PackagedSoftwareEncoder::create(request, error);
  if (!encoder) return nullptr;
  return std::make_unique<PackagedMovie>(std::move(encoder), std::move(canvases), request.has_audio);
}

}  // namespace veyrin
