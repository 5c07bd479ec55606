#include "convert/sbs_stereo_metadata.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "common/error_text.h"
#include "common/output_claim.h"
#include "common/platform/files.h"
#include "media/ffmpeg.h"
#include "media/movie_file.h"
#include "media/recording_input.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/stereo3d.h>
}

namespace veyrin {
namespace {

constexpr std::string_view open_failure = "could not open the software output for SBS metadata";
constexpr std::string_view copy_failure = "could not copy a stream while adding SBS metadata";
constexpr FailureText write_failure{"could not write SBS metadata"};

constexpr InputMessages input_messages{.open = open_failure, .read_streams = open_failure};
constexpr MovieMessages output_messages{
    .create = {open_failure},
    .add_video = copy_failure,
    .configure_video = {copy_failure, /*with_reason=*/false},
    .add_copy = copy_failure,
    .configure_copy = {copy_failure, /*with_reason=*/false},
    .open = write_failure,
    .write_header = write_failure,
    .finish = write_failure,
};

/// Copies one movie into another file with the stereo description added. Both files are closed when the
/// object is gone.
class St3dRemux {
 public:
  /// `owner` gets the temporary file once it exists.
  [[nodiscard]] bool run(const std::filesystem::path& movie, const std::filesystem::path& temporary,
                         std::optional<TemporaryFile>& owner, std::string& error) {
    input_ = open_recording(movie, {}, input_messages, error);
    if (!input_) return false;
    output_ = MovieFile::create({temporary}, /*container=*/nullptr, output_messages, error);
    if (!output_ || !copy_tracks(error)) return false;
    Dictionary no_options;
    const bool has_header = output_->write_header(no_options, error);
    if (output_->opened_file()) owner.emplace(temporary);
    return has_header && copy_packets(error) && output_->finish(error);
  }

 private:
  [[nodiscard]] bool copy_tracks(std::string& error) {
    output_->allow_unofficial_boxes();
    tracks_.resize(input_->nb_streams);
    packets_.resize(input_->nb_streams);
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
      const AVStream& source = *input_->streams[i];
      // The demuxer sets chapter tracks aside; the muxer makes its own from the chapters.
      if (source.discard == AVDISCARD_ALL) continue;
      tracks_[i] = output_->add_copied_track(source, error);
      if (!tracks_[i]) return false;
      if (source.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
          !attach_sbs_stereo_metadata(*output_->stream(*tracks_[i]).codecpar, "could not attach SBS metadata",
                                      error)) {
        return false;
      }
    }
    return output_->copy_description(*input_) >= 0 || fail(error, std::string(copy_failure));
  }

  [[nodiscard]] bool copy_packets(std::string& error) {
    const PacketPtr packet(av_packet_alloc());
    if (!packet) return fail_with_library_error(error, write_failure.text, AVERROR(ENOMEM));
    int result = 0;
    while ((result = read_packet(*input_, *packet)) >= 0) {
      // What a failure to read has left of a sample.
      if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0)
        return fail_with_library_error(error, write_failure.text, AVERROR(EIO));
      const auto index = static_cast<std::size_t>(packet->stream_index);
      const auto track = tracks_[index];
      ++packets_[index];
      const bool written = !track || output_->write(*track, *packet, write_failure, error);
      av_packet_unref(packet.get());
      if (!written) return false;
    }
    // A movie that cannot be read to its end must not be replaced by its beginning.
    const bool whole = result == AVERROR_EOF && has_read_every_sample();
    return whole || fail_with_library_error(error, write_failure.text, result);
  }

  /// A movie that ends before the last sample of its index reads like one that is shorter.
  [[nodiscard]] bool has_read_every_sample() const {
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
      if (tracks_[i] && packets_[i] < avformat_index_get_entries_count(input_->streams[i])) return false;
    }
    return true;
  }

  InputContextPtr input_;
  std::unique_ptr<MovieFile> output_;
  std::vector<std::optional<int>> tracks_;  ///< of the output, by input stream
  std::vector<int> packets_;                ///< read so far, by input stream
};

}  // namespace

bool wants_st3d(SpatialMetadataKind kind) {
  return kind != SpatialMetadataKind::sei;
}

bool wants_frame_packing_sei(SpatialMetadataKind kind) {
  return kind != SpatialMetadataKind::st3d;
}

bool attach_sbs_stereo_metadata(AVCodecParameters& video, std::string_view attach_failure,
                                std::string& error) {
  av_packet_side_data_remove(video.coded_side_data, &video.nb_coded_side_data, AV_PKT_DATA_STEREO3D);
  // The record grows with FFmpeg's versions; its size comes from the library that is loaded.
  std::size_t size = 0;
  LibraryMemoryPtr<AVStereo3D> record(av_stereo3d_alloc_size(&size));
  if (!record) return fail(error, "could not allocate SBS metadata");
  record->type = AV_STEREO3D_SIDEBYSIDE;
  record->flags = 0;
  record->view = AV_STEREO3D_VIEW_PACKED;
  record->primary_eye = AV_PRIMARY_EYE_LEFT;
  if (av_packet_side_data_add(&video.coded_side_data, &video.nb_coded_side_data, AV_PKT_DATA_STEREO3D,
                              record.get(), size, 0) == nullptr) {
    return fail(error, std::string(attach_failure));
  }
  static_cast<void>(record.release());
  return true;
}

bool add_frame_packing_sei(AVCodecID codec, AVPacket& packet, std::string& error) {
  if (codec != AV_CODEC_ID_H264 || (packet.flags & AV_PKT_FLAG_KEY) == 0) return true;
  const int old_size = packet.size;
  const int result = av_grow_packet(&packet, static_cast<int>(frame_packing_sei.size()));
  if (result < 0) return fail_with_library_error(error, "could not add H.264 frame-packing SEI", result);
  std::copy_backward(packet.data, packet.data + old_size, packet.data + packet.size);
  std::copy(frame_packing_sei.begin(), frame_packing_sei.end(), packet.data);
  return true;
}

std::filesystem::path st3d_temporary_path(const std::filesystem::path& movie) {
  return std::filesystem::path(movie).replace_extension(".st3d.tmp.mp4");
}

bool add_st3d_to_movie(const std::filesystem::path& movie, std::string& error) {
  const std::filesystem::path temporary = st3d_temporary_path(movie);
  std::optional<TemporaryFile> owner;
  {
    // Closed before the file is moved or removed.
    St3dRemux remux;
    if (!remux.run(movie, temporary, owner, error)) return false;
  }
  std::string reason;
  if (!platform::replace_file(temporary, movie, reason))
    return fail(error, "could not replace the software output after adding SBS metadata");
  owner->release();
  return true;
}

}  // namespace veyrin
