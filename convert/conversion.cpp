#include "convert/conversion.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/console.h"
#include "common/error_text.h"
#include "common/eye_canvas.h"
#include "common/platform/environment.h"
#include "common/same_file.h"
#include "convert/audio_trim.h"
#include "convert/conversion_input.h"
#include "convert/encoded_movie.h"
#include "convert/encoder_selection.h"
#include "convert/encoder_settings.h"
#include "convert/frame_timing.h"
#include "convert/gpu_pipeline.h"
#include "convert/identity_maps.h"
#include "convert/missing_eye.h"
#include "convert/output_container.h"
#include "convert/output_guard.h"
#include "convert/packaged_movie.h"
#include "convert/progress.h"
#include "convert/sbs_stereo_metadata.h"
#include "convert/spatial_movie.h"
#include "convert/st3d_remux.h"
#include "decode/stereo_decoder.h"
#include "processing/cpu_yuv_processor.h"
#include "rectification/rectification_maps.h"
#include "rectification/rectified_geometry.h"

namespace veyrin {
namespace {

// Frames that are missing are made up by repeating the next one. Cameras lose some; only broken time stamps
// leave out more than this, and filling what they claim could take the disk.
constexpr double longest_filled_gap_seconds = 60.0;

FrameRate frame_rate(AVRational rate) {
  return {rate.num, rate.den};
}

/// One conversion from the opened input to the finished file. Members are destroyed in reverse order of the
/// road, on success and failure alike.
class Conversion {
 public:
  Conversion(const ConversionJob& job, const RecordingMetadata& metadata, const ConversionOptions& options,
             std::string& error)
      : job_(job), metadata_(metadata), options_(options), error_(error) {}

  /// The whole road; each step is one function, in order.
  bool run(bool& software_path) {
    if (!open_input() || !open_decoders()) return false;
    plan_sizes_and_timing();
    if (!build_maps()) return false;
    if (!prepare_output_path(job_.input, job_.output, options_.overwrite, error_)) return false;
    if (!choose_encoder()) return false;
    software_path = selected_.software;
    if (job_.probe) return true;
    if (!choose_processors()) return false;
    report_encoder();
    return open_movie() && convert_packets() && convert_remaining_frames() && finish_movie();
  }

 private:
  bool open_input() { return open_conversion_input(job_, metadata_, input_, error_); }

  bool open_decoders() {
    if (job_.synthetic_input) {
      ten_bit_ = job_.synthetic_input->ten_bit;
      return true;
    }
    if (!decoder_->open(*input_.context, input_.left_stream, input_.right_stream, options_.software,
                        error_)) {
      return false;
    }
    ten_bit_ = decoder_->left().ten_bit();
    return true;
  }

  void plan_sizes_and_timing() {
    const CameraIntrinsics& native = metadata_.raw_calibration.left_intrinsics;
    eye_ = requested_eye_size(options_, {native.width, native.height});
    canvas_ = padded_eye_size(eye_, options_.sbs_aspect_ratio_padding);
    range_ = TrimRange::from(options_.start, options_.duration);
    input_rate_ = frame_rate(av_guess_frame_rate(input_.context.get(), left_stream(), nullptr));
    std::optional<FrameRate> requested;
    if (options_.output_fps) requested = frame_rate(av_d2q(*options_.output_fps, /*max=*/100000));
    output_rate_ = choose_output_rate(requested, input_rate_);
  }

  bool build_maps() {
    if (job_.probe) return true;
    if (!platform::environment_switch("VEYRIN_SKIP_RECTIFICATION")) {
      return build_rectification_maps(metadata_.raw_calibration, eye_.width, eye_.height, maps_, error_);
    }
    if (eye_ != frame_size(decoder_->left()) || eye_ != frame_size(decoder_->right())) {
      return fail(
          error_,
          "diagnostic rectification bypass requires output dimensions to match both source video tracks");
    }
    maps_ = identity_maps(eye_);
    console_line("  rectification: bypassed for color diagnostics");
    return true;
  }

  // A spatial movie has a single encoder, which its writer opens.
  bool choose_encoder() {
    if (job_.kind != ConversionKind::spatial) return choose_packed_encoder();
    selected_.software = false;
    return !job_.probe || check_spatial_support(spatial_request(), options_, error_);
  }

  bool choose_packed_encoder() {
    container_ = choose_container(job_.output, encoder_codec_id(options_.sbs_codec));
    return select_encoder(encoder_request(), selected_, error_);
  }

  [[nodiscard]] EncoderRequest encoder_request() const {
    EncoderRequest request;
    request.codec = options_.sbs_codec;
    request.mode = options_.sbs_mode;
    request.mono = job_.kind != ConversionKind::sbs;
    request.ten_bit = ten_bit_;
    request.software = options_.software;
    request.canvas = canvas_;
    request.frame_rate = {output_rate_.numerator, output_rate_.denominator};
    request.sdr_bitrate = options_.sdr_bitrate;
    request.hdr_bitrate = options_.hdr_bitrate;
    request.input_colors = input_colors();
    request.global_header = container_ != nullptr && (container_->flags & AVFMT_GLOBALHEADER) != 0;
    return request;
  }

  bool choose_processors() {
    if (ten_bit_ != decoder_->right().ten_bit()) return fail(error_, "left/right decoder bit depths differ");
    if (!use_gpu_processor() && !make_cpu_processors()) return false;
    // The tables hold all that frames need; the maps are the largest buffers of a conversion.
    maps_ = {};
    return true;
  }

  // Spatial movies take their canvases from memory.
  bool use_gpu_processor() {
    if (job_.kind == ConversionKind::spatial) return false;
    auto processor = use_gpu_pipeline({encoder_request(), maps_, geometry(output_layouts().front())},
                                      decoder_->left().context()->hw_device_ctx,
                                      system_gpu_pipeline_services(), selected_);
    if (!processor) return false;
    decoder_->keep_frames_on_gpu();
    processors_.push_back(std::move(processor));
    return true;
  }

  bool make_cpu_processors() {
    for (const OutputLayout layout : output_layouts()) {
      std::string reason;
      auto processor = CpuYuvProcessor::create(maps_, geometry(layout), reason);
      if (!processor) return fail(error_, "CPU YUV pipeline unavailable: " + reason);
      processors_.push_back(std::move(processor));
    }
    return true;
  }

  [[nodiscard]] ProcessorGeometry geometry(OutputLayout layout) const {
    const EyeSize source = frame_size(decoder_->left());
    return {source.width, source.height, canvas_.width, canvas_.height, layout};
  }

  void report_encoder() {
    if (job_.kind == ConversionKind::spatial) return;
    console_line("%s", encoder_report_line(selected_).c_str());
    if (selected_.packaged) console_line("%s", packaged_encoder_report_line);
  }

  bool open_movie() {
    movie_ = job_.kind == ConversionKind::spatial ? create_spatial_movie(spatial_request(), options_, error_)
                                                  : create_packed_movie();
    return movie_ != nullptr;
  }

  std::unique_ptr<MovieSink> create_packed_movie() {
    // The stereo pass writes beside the output; a recording may have just that name.
    if (selected_.packaged && wants_stereo_pass() &&
        !keep_input_intact(job_.input, st3d_temporary_path(job_.output), error_)) {
      return nullptr;
    }
    return selected_.packaged ? create_packaged_movie(packaged_request(), error_)
                              : create_encoded_movie(encoded_request(), error_);
  }

  [[nodiscard]] DirectSpatialRequest spatial_request() const {
    const RectifiedView view = rectified_view(metadata_.raw_calibration);
    DirectSpatialRequest request;
    request.input = job_.input;
    request.output = job_.output;
    request.geometry.left_width = request.geometry.right_width = view.width;
    request.geometry.left_focal_length = request.geometry.right_focal_length = view.focal_length_x;
    request.geometry.translation = metadata_.raw_calibration.stereo_extrinsic.position;
    request.geometry.hdr = ten_bit_;
    request.eye = canvas_;
    request.frame_rate = {output_rate_.numerator, output_rate_.denominator};
    request.input_colors = input_colors();
    request.source_audio = audio_stream();
    return request;
  }

  EncodedMovieRequest encoded_request() {
    EncodedMovieRequest request;
    request.output = job_.output;
    request.container = container_;
    request.encoder = std::move(selected_.context);
    request.source_audio = audio_stream();
    request.st3d = wants_container_stereo();
    request.frame_packing_sei =
        job_.kind == ConversionKind::sbs && wants_frame_packing_sei(options_.sbs_spatial_metadata);
    return request;
  }

  SoftwareEncodeRequest packaged_request() {
    const AVCodecContext& settings = *selected_.context;
    SoftwareEncodeRequest request;
    request.input = job_.input;
    request.output = job_.output;
    request.width = settings.width;
    request.height = settings.height;
    request.frame_rate = settings.framerate;
    request.bit_rate = settings.bit_rate;
    request.start_seconds = options_.start;
    request.duration_seconds = options_.duration.value_or(0.0);
    request.primaries = settings.color_primaries;
    request.transfer = settings.color_trc;
    request.matrix = settings.colorspace;
    request.range = settings.color_range;
    request.has_duration = options_.duration.has_value();
    request.has_audio = audio_stream() != nullptr;
    request.overwrite = options_.overwrite;
    request.ten_bit = ten_bit_;
    if (wants_stereo_pass()) request.finish_pass = add_st3d_to_movie;
    return request;
  }

  // Only a side-by-side picture is stereo by itself.
  [[nodiscard]] bool wants_container_stereo() const {
    return job_.kind == ConversionKind::sbs && wants_st3d(options_.sbs_spatial_metadata);
  }

  // The pass writes an MP4 file; a movie asked for in another container would not stay in it.
  [[nodiscard]] bool wants_stereo_pass() const {
    return wants_container_stereo() && container_ != nullptr && is_mp4_family(*container_);
  }

  // Reads the recording until its end, or until neither picture nor sound is wanted any more.
  bool convert_packets() {
    pacer_ = std::make_unique<FramePacer>(range_, output_rate_, input_rate_);
    progress_ = std::make_unique<Progress>(range_.span(metadata_.duration_seconds));
    audio_done_ = !movie_->accepts_audio();
    PacketPtr packet(av_packet_alloc());
    if (!packet) return fail_with_library_error(error_, "could not read an input packet", AVERROR(ENOMEM));
    while (!(video_done_ && audio_done_)) {
      const int result = av_read_frame(input_.context.get(), packet.get());
      if (result == AVERROR_EOF) break;
      if (result < 0) return fail_with_library_error(error_, "could not read an input packet", result);
      const bool handled = handle_packet(*packet);
      av_packet_unref(packet.get());
      if (!handled) return false;
    }
    return true;
  }

  bool handle_packet(AVPacket& packet) {
    if (packet.stream_index == input_.audio_stream) return copy_audio(packet);
    if (video_done_) return true;
    if (packet.stream_index == input_.left_stream) left_end_.saw_packet(packet);
    if (packet.stream_index == input_.right_stream) right_end_.saw_packet(packet);
    if (!decoder_->queue_packet(packet, error_) || !convert_ready_pairs()) return false;
    // Packets of the eye that goes on must not pile up when the other one's track has ended.
    if (eye_is_missing()) return convert_last_pairs();
    return true;
  }

  bool copy_audio(AVPacket& packet) {
    if (audio_done_ || packet.pts == AV_NOPTS_VALUE) return true;
    const double time_base = av_q2d(audio_stream()->time_base);
    const double packet_start = static_cast<double>(packet.pts) * time_base;
    const double packet_end = packet_start + static_cast<double>(packet.duration) * time_base;
    switch (decide_audio_packet(packet_start, packet_end, range_)) {
      case AudioDecision::skip:
        return true;
      case AudioDecision::done:
        audio_done_ = true;
        return true;
      case AudioDecision::copy:
        break;
    }
    const std::int64_t offset =
        av_rescale_q(audio_offset_microseconds(range_), AV_TIME_BASE_Q, audio_stream()->time_base);
    packet.pts -= offset;
    if (packet.dts != AV_NOPTS_VALUE) packet.dts -= offset;
    return movie_->write_audio(packet, error_);
  }

  [[nodiscard]] bool eye_is_missing() const {
    if (video_done_) return false;
    if (decoder_->left().queued_packets() > patience_packets)
      return right_end_.reached(decoder_->right().stream());
    if (decoder_->right().queued_packets() > patience_packets)
      return left_end_.reached(decoder_->left().stream());
    return false;
  }

  bool convert_last_pairs() {
    if (!decoder_->finish(error_) || !convert_ready_pairs()) return false;
    video_done_ = true;
    return true;
  }

  bool convert_remaining_frames() {
    if (!video_done_ && !convert_last_pairs()) return false;
    if (pacer_->frames_written() > 0) return true;
    return fail(error_, "the selected time range contains no synchronized video frames");
  }

  // Consumes every complete pair and decodes into the room that makes, until there is no further pair.
  bool convert_ready_pairs() {
    while (!video_done_ && decoder_->has_pair()) {
      const DecodedFrame left = decoder_->left().take_frame();
      const DecodedFrame right = decoder_->right().take_frame();
      if (!convert_pair(left, right)) return false;
      // What is damaged behind the end of the trim does not matter.
      if (!video_done_ && !decoder_->pump(error_)) return false;
    }
    return true;
  }

  bool convert_pair(const DecodedFrame& left, const DecodedFrame& right) {
    const double pair_time = std::max(left.time_seconds, right.time_seconds);
    switch (pacer_->decide(pair_time)) {
      case PairDecision::drop:
        return true;
      case PairDecision::finish:
        video_done_ = true;
        return true;
      case PairDecision::encode:
        break;
    }
    const double gap = pacer_->gap_before(pair_time);
    if (gap > longest_filled_gap_seconds) {
      return fail(error_,
                  "the recording has no picture for " + std::to_string(std::llround(gap)) + " seconds");
    }
    if (!left.frame || !right.frame)
      return fail(error_, "decoded frames were not available to the YUV pipeline");
    const auto canvases = movie_->next_canvases(error_);
    if (canvases.empty()) return false;
    for (std::size_t index = 0; index < canvases.size(); ++index) {
      if (!processors_[index]->process(left.frame.get(), right.frame.get(), canvases[index], error_))
        return false;
    }
    do {
      if (!movie_->write_canvases(pacer_->frames_written(), error_)) return false;
      pacer_->advance();
    } while (pacer_->repeats(pair_time));
    report_progress();
    return true;
  }

  void report_progress() {
    const ProgressReport report =
        progress_->after_pair(pacer_->frames_written(), pacer_->next_output_time() - range_.start);
    if (report.encoded_frames) print_encoded_frames(*report.encoded_frames);
    if (report.percent) print_percent(*report.percent);
  }

  bool finish_movie() {
    // Completing a file takes memory for its index; what reading needed makes room for it.
    processors_.clear();
    decoder_.reset();
    input_.context.reset();
    if (!movie_->finish(error_)) return false;
    const ProgressReport report = progress_->at_end(pacer_->frames_written());
    if (report.percent) print_percent(*report.percent);
    if (report.encoded_frames) print_encoded_frames(*report.encoded_frames);
    return true;
  }

  static void print_percent(int percent) { console_line("  progress_percent: %d", percent); }
  static void print_encoded_frames(std::int64_t count) {
    console_line("  encoded_frames: %lld", static_cast<long long>(count));
  }

  [[nodiscard]] AVStream* left_stream() const { return input_.context->streams[input_.left_stream]; }
  [[nodiscard]] const AVStream* audio_stream() const {
    return input_.audio_stream < 0 ? nullptr : input_.context->streams[input_.audio_stream];
  }
  static EyeSize frame_size(const EyeDecoder& eye) { return {eye.context()->width, eye.context()->height}; }

  [[nodiscard]] ColorTags input_colors() const {
    const AVCodecParameters& source = *left_stream()->codecpar;
    return {source.color_primaries, source.color_trc, source.color_space, source.color_range};
  }

  // One for each canvas of the movie.
  [[nodiscard]] std::vector<OutputLayout> output_layouts() const {
    switch (job_.kind) {
      case ConversionKind::mono_left:
        return {OutputLayout::mono_left};
      case ConversionKind::mono_right:
        return {OutputLayout::mono_right};
      case ConversionKind::spatial:
        return {OutputLayout::mono_left, OutputLayout::mono_right};
      case ConversionKind::sbs:
        break;
    }
    return {options_.sbs_mode == SbsMode::half ? OutputLayout::half_sbs : OutputLayout::full_sbs};
  }

  const ConversionJob& job_;
  const RecordingMetadata& metadata_;
  const ConversionOptions& options_;
  std::string& error_;

  ConversionInput input_;
  std::optional<StereoDecoder> decoder_{std::in_place};
  bool ten_bit_ = false;
  EyeSize eye_;     // rectified size
  EyeSize canvas_;  // padded size
  TrimRange range_;
  FrameRate input_rate_;
  FrameRate output_rate_;
  RectificationMaps maps_;
  const AVOutputFormat* container_ = nullptr;
  SelectedEncoder selected_;
  std::vector<std::unique_ptr<YuvProcessor>> processors_;  // by canvas
  std::unique_ptr<MovieSink> movie_;
  std::unique_ptr<FramePacer> pacer_;
  std::unique_ptr<Progress> progress_;
  TrackEnd left_end_;
  TrackEnd right_end_;
  bool video_done_ = false;
  bool audio_done_ = false;
};

}  // namespace

bool convert_recording(const ConversionJob& job, const RecordingMetadata& metadata,
                       const ConversionOptions& options, bool& software_path, std::string& error) {
  software_path = true;
  return Conversion(job, metadata, options, error).run(software_path);
}

}  // namespace veyrin
