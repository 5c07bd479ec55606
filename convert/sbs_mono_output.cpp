#include <utility>
#include <variant>

#include "common/console.h"
#include "convert/encoded_movie.h"
#include "convert/encoder_selection.h"
#include "convert/gpu_pipeline.h"
#include "convert/movie_outputs.h"
#include "convert/packaged_movie_rules.h"
#include "convert/packaged_software_encoder.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/movie_file.h"

namespace veyrin {
namespace {

class SbsMonoOutput final : public MovieOutput {
 public:
  explicit SbsMonoOutput(const ConversionPlan& plan)
      : files_(plan.files),
        range_(plan.timing.range),
        movie_(std::get<CanvasMoviePlan>(plan.movie)),
        encoder_request_(encoder_request(plan.picture, movie_, plan.software)) {}

  std::optional<Acceleration> check_support(std::string& error) override {
    if (!choose_encoder(error)) return std::nullopt;
    return acceleration_of(*encoder_);
  }

  bool choose_encoder(std::string& error) override {
    encoder_ = select_encoder(encoder_request_, error);
    return encoder_.has_value();
  }

  [[nodiscard]] std::vector<OutputLayout> layouts() const override { return {movie_.layout}; }

  std::unique_ptr<YuvProcessor> use_gpu(const GpuProcessorInputs& inputs) override {
    auto* in_process = std::get_if<InProcessEncoder>(&*encoder_);
    if (in_process == nullptr) return nullptr;
    return use_gpu_pipeline({encoder_request_, inputs.tables, inputs.geometry}, inputs.device, *in_process);
  }

  void report_encoder() const override {
    console_line("%s", encoder_report_line(*encoder_).c_str());
    if (std::holds_alternative<PackagedEncoder>(*encoder_)) console_line("%s", packaged_encoder_report_line);
  }

  std::unique_ptr<MovieSink> open_movie(const MovieInputs& inputs, std::string& error) override {
    const std::filesystem::path& file = inputs.output.file();
    if (auto* in_process = std::get_if<InProcessEncoder>(&*encoder_)) {
      return create_encoded_movie({.output = {file, inputs.output.opening()},
                                   .container = movie_.container,
                                   .encoder = std::move(in_process->context),
                                   .st3d = movie_.st3d,
                                   .frame_packing_sei = movie_.frame_packing_sei,
                                   .audio = inputs.audio},
                                  error);
    }
    if (!check_packaged_movie(inputs, error)) return nullptr;
    const AVCodecContext& settings = *std::get<PackagedEncoder>(*encoder_).settings;
    FilePlan files = files_;
    files.output = file;
    return create_packaged_movie(software_encode_request(files, range_, movie_, settings), error);
  }

 private:
  /// Hours of encoding must not end at what could be known before.
  [[nodiscard]] bool check_packaged_movie(const MovieInputs& inputs, std::string& error) const {
    const std::filesystem::path& file = inputs.output.file();
    const bool stereo_pass = wants_stereo_pass(movie_, file);
    if (!check_packaged_name(file, error)) return false;
    if (inputs.audio != nullptr && !check_packaged_sound(file, *inputs.audio, stereo_pass, error))
      return false;
    if (movie_.st3d && !stereo_pass)
      console_line("  stereo_description: none (only .mp4 and .mov files can carry it)");
    return !stereo_pass ||
           inputs.output.plan_temporary(files_.input, inputs.batch, st3d_temporary_path(file), error);
  }

  FilePlan files_;
  TimeRange range_;
  CanvasMoviePlan movie_;
  EncoderRequest encoder_request_;
  std::optional<SelectedEncoder> encoder_;
};

}  // namespace

EncoderRequest encoder_request(const PicturePlan& picture, const CanvasMoviePlan& movie, bool software) {
  EncoderRequest request;
  request.codec = movie.codec;
  request.canvas = canvas_size(movie.layout, picture.eye_box);
  request.depth = picture.depth;
  request.frame_rate = picture.rate;
  request.software = software;
  request.bitrate = movie.bitrate;
  request.input_colors = picture.input_colors;
  request.global_header = movie.container != nullptr && (movie.container->flags & AVFMT_GLOBALHEADER) != 0;
  return request;
}

SoftwareEncodeRequest software_encode_request(const FilePlan& files, const TimeRange& range,
                                              const CanvasMoviePlan& movie, const AVCodecContext& settings) {
  SoftwareEncodeRequest request;
  request.input = files.input;
  request.output = files.output;
  request.size = {settings.width, settings.height};
  request.frame_rate = settings.framerate;
  request.bit_rate = settings.bit_rate;
  request.range = range;
  request.colors = {settings.color_primaries, settings.color_trc, settings.colorspace, settings.color_range};
  request.has_audio = files.has_audio;
  request.overwrite = files.overwrite;
  request.depth = settings.pix_fmt == AV_PIX_FMT_P010LE ? BitDepth::ten : BitDepth::eight;
  request.finish_check = is_whole_packaged_movie;
  if (wants_stereo_pass(movie, files.output)) request.finish_pass = add_st3d_to_movie;
  return request;
}

// The pass writes an MP4 file; a movie asked for in another container would not stay in it.
bool wants_stereo_pass(const CanvasMoviePlan& movie, const std::filesystem::path& output) {
  return movie.st3d && packaged_movie_can_be_stereo(output);
}

std::unique_ptr<MovieOutput> create_sbs_mono_output(const ConversionPlan& plan) {
  return std::make_unique<SbsMonoOutput>(plan);
}

}  // namespace veyrin
