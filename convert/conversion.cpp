#include "convert/conversion.h"

#include <memory>
#include <utility>
#include <variant>
#include <vector>

#include "common/console.h"
#include "common/error_text.h"
#include "common/output_claim.h"
#include "common/output_guard.h"
#include "common/platform/program.h"
#include "convert/movie_output.h"
#include "convert/movie_outputs.h"
#include "convert/packet_conversion.h"
#include "convert/pair_conversion.h"
#include "decode/stereo_decoder.h"
#include "processing/canvas_layout.h"
#include "processing/cpu_worker_pool.h"
#include "processing/cpu_yuv_processor.h"
#include "processing/remap_tables.h"
#include "rectification/rectification_maps.h"

namespace veyrin {
namespace {

/// The strategy that the plan's movie asks for.
std::unique_ptr<MovieOutput> create_movie_output(const ConversionPlan& plan) {
  if (std::holds_alternative<SpatialMoviePlan>(plan.movie)) return create_spatial_output(plan);
  return create_sbs_mono_output(plan);
}

/// One conversion from the opened input to the finished file. Members are destroyed in reverse order of the
/// road, on success and failure alike.
class Conversion {
 public:
  Conversion(const ConversionJob& job, const RecordingMetadata& metadata, const ConversionOptions& options,
             std::string& error)
      : job_(job), metadata_(metadata), options_(options), error_(error) {}

  /// The whole road; each step is one function, in order.
  [[nodiscard]] bool run() {
    if (!open_input() || !open_decoders() || !plan_conversion()) return false;
    if (!build_tables() || !check_output_path() || !claim_output() || !output_->choose_encoder(error_) ||
        !choose_processors()) {
      return false;
    }
    output_->report_encoder();
    return open_movie() && convert_packets() && finish_movie();
  }

  /// As much of the road as tells whether the conversion is possible.
  [[nodiscard]] std::optional<Acceleration> check_support() {
    if (!open_input() || !open_decoders() || !plan_conversion()) return std::nullopt;
    if (!check_output_path()) return std::nullopt;
    return output_->check_support(error_);
  }

 private:
  [[nodiscard]] bool open_input() {
    input_ = open_conversion_input(job_, metadata_, error_);
    return input_.has_value();
  }

  [[nodiscard]] bool open_decoders() {
    if (job_.synthetic_input) return true;
    const auto preference = options_.software ? DecoderPreference::software : DecoderPreference::hardware;
    decoder_ = StereoDecoder::create(*input_->context, input_->left_stream, input_->right_stream, preference,
                                     error_);
    return decoder_ != nullptr;
  }

  [[nodiscard]] bool plan_conversion() {
    const BitDepth depth = decoder_ ? decoder_->left().bit_depth() : job_.synthetic_input->depth;
    const InputFacts facts = input_facts(*input_, depth);
    if (!options_.output_fps && !is_plausible(facts.rate))
      return fail(error_, implausible_rate_text(facts.rate));
    plan_.emplace(make_conversion_plan(job_, metadata_, options_, facts));
    output_ = create_movie_output(*plan_);
    return true;
  }

  [[nodiscard]] bool build_tables() {
    RectificationMaps maps;
    const bool bypassed = platform::environment_switch("VEYRIN_SKIP_RECTIFICATION");
    if (!(bypassed ? bypass_rectification(maps)
                   : build_rectification_maps(metadata_.raw_calibration, plan_->picture.eye, maps, error_)))
      return false;
    pool_ = std::make_shared<CpuWorkerPool>();
    tables_ = build_remap_tables(maps, decoder_->left().size(), eyes_with_tables(), *pool_);
    if (!bypassed) report_valid_shares(tables_->valid_fractions[0], tables_->valid_fractions[1]);
    return true;
  }

  [[nodiscard]] bool bypass_rectification(RectificationMaps& maps) {
    const Size eye = plan_->picture.eye;
    if (eye != decoder_->left().size() || eye != decoder_->right().size()) {
      return fail(
          error_,
          "diagnostic rectification bypass requires output dimensions to match both source video tracks");
    }
    maps = identity_maps(eye);
    console_line("  rectification: bypassed for color diagnostics");
    return true;
  }

  // A processor on the decoders' device would take both eyes' tables, whatever it shows.
  [[nodiscard]] ShownEyes eyes_with_tables() const {
    if (decoder_->left().hardware_device() != nullptr) return {true, true};
    return shown_eyes(output_->layouts());
  }

  [[nodiscard]] bool check_output_path() {
    const FilePlan& files = plan_->files;
    return prepare_output_path(files.input, files.output, files.overwrite, batch(), error_);
  }

  [[nodiscard]] bool claim_output() {
    claim_ = OutputClaim::create(plan_->files.output, plan_->files.overwrite, error_);
    return claim_ != nullptr;
  }

  [[nodiscard]] const BatchFiles& batch() const {
    static const BatchFiles no_others;
    return job_.batch != nullptr ? *job_.batch : no_others;
  }

  [[nodiscard]] bool choose_processors() {
    if (plan_->picture.depth != decoder_->right().bit_depth())
      return fail(error_, "left/right decoder bit depths differ");
    if (use_gpu_processor()) {
      // The device has them.
      tables_.reset();
      pool_.reset();
      return true;
    }
    return make_cpu_processors();
  }

  [[nodiscard]] bool use_gpu_processor() {
    const ProcessorGeometry geometry = geometry_of(output_->layouts().front());
    auto processor = output_->use_gpu({*tables_, geometry, decoder_->left().hardware_device()});
    if (!processor) return false;
    decoder_->keep_frames_on_gpu();
    processors_.push_back(std::move(processor));
    return true;
  }

  [[nodiscard]] bool make_cpu_processors() {
    for (const OutputLayout layout : output_->layouts()) {
      std::string reason;
      auto processor = CpuYuvProcessor::create(tables_, geometry_of(layout), pool_, reason);
      if (!processor) return fail(error_, "CPU YUV pipeline unavailable: " + reason);
      processors_.push_back(std::move(processor));
    }
    return true;
  }

  [[nodiscard]] ProcessorGeometry geometry_of(OutputLayout layout) const {
    return {decoder_->left().size(), plan_->picture.eye_box, layout};
  }

  [[nodiscard]] bool open_movie() {
    movie_ = output_->open_movie({input_->audio(), *claim_, batch()}, error_);
    return movie_ != nullptr;
  }

  [[nodiscard]] bool convert_packets() {
    progress_.emplace(plan_->timing.span_seconds);
    PairConversion pairs(plan_->timing, processors_, *movie_, *progress_);
    PacketConversion packets(*input_, plan_->timing.range, *decoder_, pairs, *movie_);
    if (!packets.run(error_)) return false;
    frames_written_ = pairs.frames_written();
    return true;
  }

  [[nodiscard]] bool finish_movie() {
    // Completing a file takes memory for its index; what reading needed makes room for it.
    processors_.clear();
    tables_.reset();
    pool_.reset();
    decoder_.reset();
    input_->context.reset();
    if (!movie_->finish(error_)) return false;
    progress_->print_at_end(frames_written_);
    return true;
  }

  const ConversionJob& job_;
  const RecordingMetadata& metadata_;
  const ConversionOptions& options_;
  std::string& error_;

  std::optional<ConversionInput> input_;
  std::unique_ptr<StereoDecoder> decoder_;
  std::optional<const ConversionPlan> plan_;
  std::unique_ptr<OutputClaim> claim_;
  std::unique_ptr<MovieOutput> output_;
  std::shared_ptr<CpuWorkerPool> pool_;
  std::shared_ptr<const RemapTables> tables_;
  Processors processors_;
  std::unique_ptr<MovieSink> movie_;
  std::optional<Progress> progress_;
  std::int64_t frames_written_ = 0;
};

}  // namespace

bool convert_recording(const ConversionJob& job, const RecordingMetadata& metadata,
                       const ConversionOptions& options, std::string& error) {
  return Conversion(job, metadata, options, error).run();
}

std::optional<Acceleration> check_conversion_support(const ConversionJob& job,
                                                     const RecordingMetadata& metadata,
                                                     const ConversionOptions& options, std::string& error) {
  return Conversion(job, metadata, options, error).check_support();
}

}  // namespace veyrin
