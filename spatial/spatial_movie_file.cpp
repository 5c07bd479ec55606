#include "spatial/spatial_movie_file.h"

#include "common/error_text.h"
#include "spatial/two_view_description.h"

namespace veyrin {
namespace {

constexpr MovieMessages messages{
    .create = {"could not create spatial QuickTime container", /*with_reason=*/false},
    .add_video = "could not create MV-HEVC output track",
    .configure_video = {"could not configure MV-HEVC output track"},
    .add_copy = "could not create spatial audio track",
    .configure_copy = {"could not copy spatial audio format"},
    .open = {"could not open spatial output"},
    .write_header = {"could not write spatial QuickTime header"},
    .finish = {"could not finish spatial QuickTime output"},
};

}  // namespace

std::unique_ptr<SpatialMovieFile> SpatialMovieFile::create(const SpatialWriterConfig& config,
                                                           const AVCodecParameters& video,
                                                           AVRational time_base, std::string& error) {
  std::unique_ptr<SpatialMovieFile> movie(new SpatialMovieFile);
  if (!movie->create_tracks(config, video, time_base, error) || !movie->write_header(error)) return nullptr;
  return movie;
}

bool SpatialMovieFile::create_tracks(const SpatialWriterConfig& config, const AVCodecParameters& video,
                                     AVRational time_base, std::string& error) {
  const AVOutputFormat* quicktime = av_guess_format("mov", nullptr, nullptr);
  path_ = config.output_path;
  file_ = MovieFile::create({config.output_path, config.output_opening}, quicktime, messages, error);
  if (!file_) return false;
  const auto track = file_->add_video_track(video, time_base, config.frame_rate, error);
  if (!track) return false;
  video_ = *track;
  // The muxer describes the second view only in tracks with the multilayer flag.
  file_->stream(video_).disposition = AV_DISPOSITION_DEFAULT | AV_DISPOSITION_MULTILAYER;
  if (config.audio_parameters == nullptr) return true;
  audio_ = file_->add_audio_track(*config.audio_parameters, config.audio_time_base, error);
  return audio_.has_value();
}

bool SpatialMovieFile::write_header(std::string& error) {
  Dictionary options;
  // The index in front lets a player begin before the file is there as a whole.
  options.set("movflags", "+faststart");
  return file_->write_header(options, error);
}

bool SpatialMovieFile::write_sample(AVPacket& sample, std::string& error) {
  return file_->write(video_, sample, {"could not write MV-HEVC packet"}, error);
}

bool SpatialMovieFile::write_audio_packet(const AVPacket& packet, std::string& error) {
  if (!has_audio()) return true;
  const PacketPtr copy(av_packet_clone(&packet));
  if (!copy) return fail(error, "could not copy spatial audio packet");
  return file_->write(*audio_, *copy, {"could not write spatial audio packet"}, error);
}

bool SpatialMovieFile::finish(std::string& error) {
  return file_->finish(error) && check_two_view_description(path_, error);
}

}  // namespace veyrin
