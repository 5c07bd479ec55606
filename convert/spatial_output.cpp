#include <cmath>
#include <utility>

#include "common/console.h"
#include "common/error_text.h"
#include "convert/encoder_selection.h"
#include "convert/movie_outputs.h"
#include "media/bitrate.h"
#include "media/sound_copy.h"
#include "media/video_types.h"
#include "spatial/spatial_video_writer.h"
#include "spatial/two_view_encoder_choice.h"
#include "spatial/watched_two_view_encoder.h"

namespace veyrin {
namespace {

// Both come out of the recording's calibration, and players scale the picture by them. The record holds
// thousandths of a degree.
[[nodiscard]] bool check_geometry(const SpatialWriterConfig& config, std::string& error) {
  const double thousandths = std::round(config.horizontal_field_of_view_degrees * 1000.0);
  if (!(thousandths > 0.0 && thousandths < 180'000.0))
    return fail(error, "could not derive a field of view between 0 and 180 degrees from the calibration");
  return std::isfinite(config.camera_distance_mm) ||
         fail(error, "could not derive the distance of the lenses from the calibration");
}

class SpatialMovie final : public MovieSink {
 public:
  SpatialMovie(std::unique_ptr<SpatialVideoWriter> writer, std::unique_ptr<CanvasPool> canvases)
      : writer_(std::move(writer)), canvases_(std::move(canvases)) {}

  Canvases next_canvases(std::string& error) override { return canvases_->take(error); }

  bool write_canvases(Canvases canvases, FrameRun run, std::string& error) override {
    for (std::int64_t index = run.first; index < run.first + run.count; ++index)
      if (!writer_->write_eye_pair(*canvases[0], *canvases[1], index, error)) return false;
    canvases_->give_back(std::move(canvases));
    return true;
  }

  [[nodiscard]] bool accepts_audio() const override { return writer_->has_audio(); }

  bool write_audio(AVPacket& packet, std::string& error) override {
    return writer_->write_audio_packet(packet, error);
  }

  bool finish(std::string& error) override { return writer_->finish(error); }

 private:
  std::unique_ptr<SpatialVideoWriter> writer_;
  std::unique_ptr<CanvasPool> canvases_;
};

class SpatialOutput final : public MovieOutput {
 public:
  explicit SpatialOutput(const ConversionPlan& plan)
      : plan_(plan), encoder_kind_(two_view_encoder_for(plan.software)) {}

  // The machine is asked, or, when hardware is not to be judged that way, the encoder is opened.
  std::optional<Acceleration> check_support(std::string& error) override {
    const PicturePlan& picture = plan_.picture;
    if (!plan_.software && !encoder_kind_.check_machine(picture.eye_box, picture.depth, error))
      return std::nullopt;
    const auto config = spatial_writer_config(plan_, /*audio=*/nullptr, error);
    if (!config) return std::nullopt;
    if (plan_.software && !encoder_kind_.create(*config, error)) return std::nullopt;
    return encoder_kind_.acceleration;
  }

  // The user's wish has decided; the encoder is opened with the movie.
  bool choose_encoder(std::string& /*error*/) override { return true; }

  [[nodiscard]] std::vector<OutputLayout> layouts() const override {
    return {OutputLayout::mono_left, OutputLayout::mono_right};
  }

  // The writer takes its canvases from memory.
  std::unique_ptr<YuvProcessor> use_gpu(const GpuProcessorInputs& /*inputs*/) override { return nullptr; }

  void report_encoder() const override {
    const auto& [encoder, program] = encoder_kind_.report;
    if (encoder != nullptr) console_line("%s", encoder_report_line(encoder, canvas_format()).c_str());
    if (program != nullptr) console_line("  software_encoder: %s", program);
  }

  std::unique_ptr<MovieSink> open_movie(const MovieInputs& inputs, std::string& error) override {
    if (!check_sound(inputs.audio, error)) return nullptr;
    auto canvases = CanvasPool::create(
        {.count = layouts().size(), .format = canvas_format(), .size = plan_.picture.eye_box}, error);
    if (!canvases) return nullptr;
    auto config = spatial_writer_config(plan_, inputs.audio, error);
    if (!config || !check_geometry(*config, error)) return nullptr;
    config->output_path = inputs.output.file();
    config->output_opening = inputs.output.opening();
    console_line("Creating direct spatial output with cdist=%.3f mm, hfov=%.3f deg",
                 config->camera_distance_mm, config->horizontal_field_of_view_degrees);
    auto encoder = encoder_kind_.create(*config, error);
    if (!encoder) {
      point_to_software_encoder(*config);
      return nullptr;
    }
    // The movie is written while this object lives.
    encoder = watch_two_view_encoder(std::move(encoder),
                                     [this, config = *config] { point_to_software_encoder(config); });
    auto writer = SpatialVideoWriter::create(*config, std::move(encoder), error);
    if (!writer) return nullptr;
    return std::make_unique<SpatialMovie>(std::move(writer), std::move(canvases));
  }

 private:
  [[nodiscard]] AVPixelFormat canvas_format() const {
    return encoder_kind_.canvas_format(plan_.picture.depth);
  }

  // Most machines have no such GPU, and drivers differ, which is no reason to go without the movie.
  void point_to_software_encoder(const SpatialWriterConfig& config) const {
    const TwoViewEncoderKind& other = two_view_encoder_for(/*software=*/true);
    std::string ignored;
    if (plan_.software || other.acceleration != Acceleration::software || !other.create(config, ignored))
      return;
    console_line("  software_encoder: --software would make this movie with veyrin-two-view-encoder");
  }

  [[nodiscard]] static bool check_sound(const AVStream* audio, std::string& error) {
    return audio == nullptr || can_copy_sound("mov", *audio) ||
           fail(error, sound_failure_text(*audio, "a spatial movie", /*other_extension=*/""));
  }

  ConversionPlan plan_;
  const TwoViewEncoderKind& encoder_kind_;
};

}  // namespace

std::optional<SpatialWriterConfig> spatial_writer_config(const ConversionPlan& plan, const AVStream* audio,
                                                         std::string& error) {
  const auto& movie = std::get<SpatialMoviePlan>(plan.movie);
  SpatialWriterConfig config;
  if (!parse_spatial_bitrate(movie.bitrate, config.bit_rate, error)) return std::nullopt;
  config.companion_path = plan.files.input;
  config.output_path = plan.files.output;
  config.eye = plan.picture.eye_box;
  config.frame_rate = plan.picture.rate;
  config.camera_distance_mm = camera_distance_mm(movie.geometry);
  config.horizontal_field_of_view_degrees = horizontal_field_of_view_degrees(movie.geometry);
  config.range = plan.timing.range;
  config.colors = encoder_colors(plan.picture.input_colors, plan.picture.depth);
  if (audio != nullptr) {
    config.audio_parameters = audio->codecpar;
    config.audio_time_base = audio->time_base;
  }
  config.depth = plan.picture.depth;
  return config;
}

std::unique_ptr<MovieOutput> create_spatial_output(const ConversionPlan& plan) {
  return std::make_unique<SpatialOutput>(plan);
}

}  // namespace veyrin
