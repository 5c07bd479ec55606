#include "join/joined_movie.h"

#include <cstring>
#include <optional>
#include <string_view>

#include "common/console.h"
#include "common/error_text.h"
#include "convert/recorded_sound.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/movie_file.h"
#include "media/sound_copy.h"
#include "spatial/spatial_metadata.h"
#include "spatial/spatial_movie_file.h"

extern "C" {
#include <libavutil/stereo3d.h>
}

namespace veyrin {
namespace {

constexpr MovieMessages messages{
    .create = {"could not open output"},
    .add_video = "could not create the output video stream",
    .configure_video = {"could not configure the output stream"},
    .add_copy = "could not create the output stream",
    .configure_copy = {"could not copy the parameters of a piece"},
    .open = {"could not open output"},
    .write_header = {"could not write the output header"},
    .finish = {"could not finalize output"},
};

// FFmpeg's demuxer reads the layout of the eyes from one box and overwrites it with what the next one says,
// so a type that is left unspecified also stands for the one layout that the converter writes.
bool is_side_by_side(const AVCodecParameters& video) {
  const AVPacketSideData* record =
      av_packet_side_data_get(video.coded_side_data, video.nb_coded_side_data, AV_PKT_DATA_STEREO3D);
  if (record == nullptr) return false;
  const auto type = reinterpret_cast<const AVStereo3D*>(record->data)->type;
  return type == AV_STEREO3D_SIDEBYSIDE || type == AV_STEREO3D_UNSPEC;
}

/// A movie of one picture per frame.
class CanvasMovie final : public JoinedMovie {
 public:
  [[nodiscard]] bool open(const MoviePiece& first, const AVStream* sound, const std::filesystem::path& file,
                          std::string& error) {
    const AVOutputFormat* container = av_guess_format(first.is_quicktime() ? "mov" : "mp4", nullptr, nullptr);
    file_ = MovieFile::create({file}, container, messages, error);
    if (!file_ || (sound != nullptr && !check_recorded_sound(file_->container(), *sound, error)))
      return false;
    if (!add_video(*first.video, error)) return false;
    if (sound != nullptr) {
      sound_ = add_recorded_sound(*file_, *sound, error);
      if (!sound_) return false;
    }
    Dictionary no_options;
    return file_->write_header(no_options, error);
  }

  bool write_picture(AVPacket& packet, std::string& error) override {
    return file_->write(video_, packet, {"could not write a picture"}, error);
  }

  bool write_sound(AVPacket& packet, std::string& error) override {
    return file_->write(*sound_, packet, {"could not write an audio packet"}, error);
  }

  bool finish(std::string& error) override { return file_->finish(error); }

 private:
  [[nodiscard]] bool add_video(const AVStream& source, std::string& error) {
    const auto track = file_->add_copied_track(source, error);
    if (!track) return false;
    video_ = *track;
    if (!is_side_by_side(*source.codecpar)) return true;
    // The demuxer did not keep all of the record, so it is made anew.
    file_->allow_unofficial_boxes();
    return attach_sbs_stereo_metadata(*file_->stream(video_).codecpar,
                                      "could not attach SBS metadata to the output stream", error);
  }

  std::unique_ptr<MovieFile> file_;
  int video_ = -1;
  std::optional<int> sound_;
};

/// The parameters of a spatial piece with the records that the spatial writer makes for a movie of these
/// cameras, because FFmpeg's demuxer does not keep all that a piece says. The cameras go into `config`.
[[nodiscard]] CodecParametersPtr describe_again(const AVCodecParameters& video, SpatialWriterConfig& config,
                                                std::string& error) {
  const AVPacketSideData* record =
      av_packet_side_data_get(video.coded_side_data, video.nb_coded_side_data, AV_PKT_DATA_STEREO3D);
  CodecParametersPtr parameters(avcodec_parameters_alloc());
  if (record == nullptr || !parameters || avcodec_parameters_copy(parameters.get(), &video) < 0) {
    error = "could not copy the stereo description of a piece";
    return nullptr;
  }
  const auto& stereo = *reinterpret_cast<const AVStereo3D*>(record->data);
  config.camera_distance_mm = stereo.baseline / 1000.0;
  config.horizontal_field_of_view_degrees = av_q2d(stereo.horizontal_field_of_view);
  for (const AVPacketSideDataType type :
       {AV_PKT_DATA_STEREO3D, AV_PKT_DATA_SPHERICAL, AV_PKT_DATA_3D_REFERENCE_DISPLAYS})
    av_packet_side_data_remove(parameters->coded_side_data, &parameters->nb_coded_side_data, type);
  if (!attach_stream_metadata(config, *parameters, error)) return nullptr;
  return parameters;
}

/// A movie of one picture per eye.
class SpatialMovie final : public JoinedMovie {
 public:
  [[nodiscard]] bool open(const MoviePiece& first, const AVStream* sound, const std::filesystem::path& file,
                          std::string& error) {
    if (sound != nullptr && !can_copy_sound("mov", *sound))
      return fail(error, sound_failure_text(*sound, "a spatial movie", /*other_extension=*/""));
    const AVStream& video = *first.video;
    SpatialWriterConfig config;
    config.output_path = file;
    config.eye = {video.codecpar->width, video.codecpar->height};
    config.frame_rate = first.rate();
    const CodecParametersPtr parameters = describe_again(*video.codecpar, config, error);
    if (!parameters) return false;
    if (sound != nullptr) {
      config.audio_parameters = sound->codecpar;
      config.audio_time_base = sound->time_base;
    }
    file_ = SpatialMovieFile::create(config, *parameters, video.time_base, error);
    return file_ != nullptr;
  }

  bool write_picture(AVPacket& packet, std::string& error) override {
    return file_->write_sample(packet, error);
  }

  bool write_sound(AVPacket& packet, std::string& error) override {
    return file_->write_audio_packet(packet, error);
  }

  bool finish(std::string& error) override { return file_->finish(error); }

 private:
  std::unique_ptr<SpatialMovieFile> file_;
};

template <typename Movie>
[[nodiscard]] std::unique_ptr<JoinedMovie> open_movie(const MoviePiece& first, const AVStream* sound,
                                                      const std::filesystem::path& file, std::string& error) {
  auto movie = std::make_unique<Movie>();
  if (!movie->open(first, sound, file, error)) return nullptr;
  return movie;
}

}  // namespace

std::unique_ptr<JoinedMovie> JoinedMovie::create(const MoviePiece& first, const AVStream* sound,
                                                 const std::filesystem::path& file, std::string& error) {
  return first.is_spatial() ? open_movie<SpatialMovie>(first, sound, file, error)
                            : open_movie<CanvasMovie>(first, sound, file, error);
}

}  // namespace veyrin
