#include "convert/conversion.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/console.h"
#include "common/error_text.h"
#include "common/platform/program.h"
#include "common/same_file.h"
#include "convert/conversion_input.h"
#include "convert/conversion_plan.h"
#include "convert/encoded_movie.h"
#include "convert/encoder_selection.h"
#include "convert/encoder_settings.h"
#include "convert/gpu_pipeline.h"
#include "convert/identity_maps.h"
#include "convert/movie_requests.h"
#include "convert/output_container.h"
#include "convert/output_guard.h"
#include "convert/packaged_movie.h"
#include "convert/packet_conversion.h"
#include "convert/progress_lines.h"
#include "convert/spatial_movie.h"
#include "convert/st3d_remux.h"
#include "decode/stereo_decoder.h"
#include "processing/cpu_yuv_processor.h"
#include "rectification/rectification_maps.h"

namespace veyrin {
namespace {

/// One conversion from the opened input to the finished file. Members are destroyed in reverse order of the
/// road, on success and failure alike.
class Conversion {
 public:
  Conversion(const ConversionJob& job, const RecordingMetadata& metadata, const ConversionOptions& options,
             std::string& error)
      : job_(job), metadata_(metadata), options_(options), error_(error), plan_{job, metadata, options} {}

  /// The whole road; each step is one function, in order.
  bool run(bool& software_path) {
    if (!open_input() || !open_decoders()) return false;
    plan_sizes_and_timing(input_, plan_);
    if (!build_maps()) return false;
    if (!prepare_output_path(job_.input, job_.output, options_.overwrite, error_)) return false;
    if (!choose_encoder()) return false;
    software_path = selected_.software;
    if (job_.probe) return true;
    if (!choose_processors()) return false;
    report_encoder();
    return open_movie() && convert_packets() && finish_movie();
  }

 private:
  bool open_input() { return open_conversion_input(job_, metadata_, input_, error_); }

  bool open_decoders() {
    if (job_.synthetic_input) {
      plan_.ten_bit = job_.synthetic_input->ten_bit;
      return true;
    }
    if (!decoder_->open(*input_.context, input_.left_stream, input_.right_stream, options_.software,
                        error_)) {
      return false;
    }
    plan_.ten_bit = decoder_->left().ten_bit();
    return true;
  }

  bool build_maps() {
    if (job_.probe) return true;
    if (!platform::environment_switch("VEYRIN_SKIP_RECTIFICATION")) {
      return build_rectification_maps(metadata_.raw_calibration, plan_.eye.width, plan_.eye.height, maps_,
                                      error_);
    }
    if (plan_.eye != frame_size(decoder_->left()) || plan_.eye != frame_size(decoder_->right())) {
      return fail(
          error_,
          "diagnostic rectification bypass requires output dimensions to match both source video tracks");
    }
    maps_ = identity_maps(plan_.eye);
    console_line("  rectification: bypassed for color diagnostics");
    return true;
  }

  // A spatial movie has a single encoder, which its writer opens.
  bool choose_encoder() {
    if (job_.kind != ConversionKind::spatial) return choose_packed_encoder();
    selected_.software = false;
    return !job_.probe || check_spatial_support(spatial_request(plan_), options_, error_);
  }

  bool choose_packed_encoder() {
    plan_.container = choose_container(job_.output, encoder_codec_id(options_.sbs_codec));
    return select_encoder(encoder_request(plan_), selected_, error_);
  }

  bool choose_processors() {
    if (plan_.ten_bit != decoder_->right().ten_bit())
      return fail(error_, "left/right decoder bit depths differ");
    if (!use_gpu_processor() && !make_cpu_processors()) return false;
    // The tables hold all that frames need; the maps are the largest buffers of a conversion.
    maps_ = {};
    return true;
  }

  // Spatial movies take their canvases from memory.
  bool use_gpu_processor() {
    if (job_.kind == ConversionKind::spatial) return false;
    auto processor = use_gpu_pipeline(
        {encoder_request(plan_), maps_, geometry(output_layouts(plan_).front())},
        decoder_->left().context()->hw_device_ctx, system_gpu_pipeline_services(), selected_);
    if (!processor) return false;
    decoder_->keep_frames_on_gpu();
    processors_.push_back(std::move(processor));
    return true;
  }

  bool make_cpu_processors() {
    for (const OutputLayout layout : output_layouts(plan_)) {
      std::string reason;
      auto processor = CpuYuvProcessor::create(maps_, geometry(layout), reason);
      if (!processor) return fail(error_, "CPU YUV pipeline unavailable: " + reason);
      processors_.push_back(std::move(processor));
    }
    return true;
  }

  [[nodiscard]] ProcessorGeometry geometry(OutputLayout layout) const {
    const Size source = frame_size(decoder_->left());
    return {source.width, source.height, plan_.canvas.width, plan_.canvas.height, layout};
  }

  void report_encoder() {
    if (job_.kind == ConversionKind::spatial) return;
    console_line("%s", encoder_report_line(selected_).c_str());
    if (selected_.packaged) console_line("%s", packaged_encoder_report_line);
  }

  bool open_movie() {
    movie_ = job_.kind == ConversionKind::spatial
                 ? create_spatial_movie(spatial_request(plan_), options_, error_)
                 : create_packed_movie();
    return movie_ != nullptr;
  }

  std::unique_ptr<MovieSink> create_packed_movie() {
    // The stereo pass writes beside the output; a recording may have just that name.
    if (selected_.packaged && wants_stereo_pass(plan_) &&
        !keep_input_intact(job_.input, st3d_temporary_path(job_.output), error_)) {
      return nullptr;
    }
    return selected_.packaged ? create_packaged_movie(software_encode_request(plan_, selected_), error_)
                              : create_encoded_movie(encoded_movie_request(plan_, selected_), error_);
  }

  bool convert_packets() {
    progress_.emplace(plan_.range.span(metadata_.duration_seconds));
    PacketConversion packets(plan_, input_, *decoder_, processors_, *movie_, *progress_, error_);
    if (!packets.run()) return false;
    frames_written_ = packets.frames_written();
    return true;
  }

  bool finish_movie() {
    // Completing a file takes memory for its index; what reading needed makes room for it.
    processors_.clear();
    decoder_.reset();
    input_.context.reset();
    if (!movie_->finish(error_)) return false;
    progress_->at_end(frames_written_);
    return true;
  }

  static Size frame_size(const EyeDecoder& eye) { return {eye.context()->width, eye.context()->height}; }

  const ConversionJob& job_;
  const RecordingMetadata& metadata_;
  const ConversionOptions& options_;
  std::string& error_;

  ConversionInput input_;
  std::optional<StereoDecoder> decoder_{std::in_place};
  ConversionPlan plan_;
  RectificationMaps maps_;
  SelectedEncoder selected_;
  std::vector<std::unique_ptr<YuvProcessor>> processors_;  // by canvas
  std::unique_ptr<MovieSink> movie_;
  std::optional<ProgressLines> progress_;
  std::int64_t frames_written_ = 0;
};

}  // namespace

bool convert_recording(const ConversionJob& job, const RecordingMetadata& metadata,
                       const ConversionOptions& options, bool& software_path, std::string& error) {
  software_path = true;
  return Conversion(job, metadata, options, error).run(software_path);
}

}  // namespace veyrin
