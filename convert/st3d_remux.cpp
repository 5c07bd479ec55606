#include "convert/st3d_remux.h"

#include <system_error>
#include <vector>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "convert/sbs_stereo_metadata.h"
#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace veyrin {
namespace {

constexpr int no_output_stream = -1;

bool copy_chapters(const AVFormatContext& source, AVFormatContext& target) {
  for (unsigned i = 0; i < source.nb_chapters; ++i) {
    LibraryMemoryPtr<AVChapter> chapter(static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter))));
    if (!chapter) return false;
    chapter->id = source.chapters[i]->id;
    chapter->time_base = source.chapters[i]->time_base;
    chapter->start = source.chapters[i]->start;
    chapter->end = source.chapters[i]->end;
    auto* count = reinterpret_cast<int*>(&target.nb_chapters);
    if (av_dynarray_add_nofree(&target.chapters, count, chapter.get()) < 0) return false;
    AVDictionary*& titles = chapter.release()->metadata;
    if (av_dict_copy(&titles, source.chapters[i]->metadata, 0) < 0) return false;
  }
  return true;
}

/// Copies one movie into another file with the stereo description added. Both files are closed when the
/// object is gone.
class St3dRemux {
 public:
  St3dRemux(const std::filesystem::path& movie, const std::filesystem::path& temporary)
      : movie_(media_url(movie)), temporary_(media_url(temporary)) {}

  /// `temporary_opened` tells whether the temporary file is now one that this object has written to.
  bool run(bool& temporary_opened, std::string& error) {
    int result = open_both();
    if (result < 0)
      return fail_with_library_error(error, "could not open the software output for SBS metadata", result);
    if (!copy_streams(error)) return false;
    result = write_movie(temporary_opened);
    if (result < 0) return fail_with_library_error(error, "could not write SBS metadata", result);
    return true;
  }

 private:
  int open_both() {
    AVFormatContext* demuxer = nullptr;
    int result = avformat_open_input(&demuxer, movie_.c_str(), nullptr, nullptr);
    if (result < 0) return result;
    input_.reset(demuxer);
    result = avformat_find_stream_info(input_.get(), nullptr);
    if (result < 0) return result;
    AVFormatContext* muxer = nullptr;
    result = avformat_alloc_output_context2(&muxer, nullptr, nullptr, temporary_.c_str());
    output_.reset(muxer);
    // The box is not part of the MP4 standard; at stricter settings the muxer leaves it out.
    if (result >= 0) output_->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    return result;
  }

  bool copy_streams(std::string& error) {
    output_streams_.assign(input_->nb_streams, no_output_stream);
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
      const AVStream& source = *input_->streams[i];
      // The demuxer sets chapter tracks aside; the muxer makes its own from the chapters.
      if (source.discard == AVDISCARD_ALL) continue;
      AVStream* target = avformat_new_stream(output_.get(), nullptr);
      if (target == nullptr || !copy_stream(source, *target))
        return fail(error, "could not copy a stream while adding SBS metadata");
      if (source.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
          !attach_sbs_stereo_metadata(*target->codecpar, "could not attach SBS metadata", error)) {
        return false;
      }
      output_streams_[i] = target->index;
    }
    if (av_dict_copy(&output_->metadata, input_->metadata, 0) < 0 || !copy_chapters(*input_, *output_))
      return fail(error, "could not copy a stream while adding SBS metadata");
    return true;
  }

  bool copy_stream(const AVStream& source, AVStream& target) const {
    if (avcodec_parameters_copy(target.codecpar, source.codecpar) < 0) return false;
    // A tag of another container, as PCM sound in QuickTime has, gives way to the one that this container
    // uses.
    const AVCodecTag* const* tags = output_->oformat->codec_tag;
    unsigned own_tag = 0;
    if (av_codec_get_id(tags, source.codecpar->codec_tag) != source.codecpar->codec_id &&
        av_codec_get_tag2(tags, source.codecpar->codec_id, &own_tag) != 0) {
      target.codecpar->codec_tag = 0;
    }
    // The time base asked for becomes the track's time scale, so that all times stay exact.
    target.time_base = source.time_base;
    target.avg_frame_rate = source.avg_frame_rate;
    target.sample_aspect_ratio = source.sample_aspect_ratio;
    target.disposition = source.disposition;
    return av_dict_copy(&target.metadata, source.metadata, 0) >= 0;
  }

  int write_movie(bool& temporary_opened) {
    int result = avio_open(&output_->pb, temporary_.c_str(), AVIO_FLAG_WRITE);
    if (result < 0) return result;
    temporary_opened = true;
    result = avformat_write_header(output_.get(), nullptr);
    if (result >= 0) result = copy_packets();
    if (result >= 0) result = av_write_trailer(output_.get());
    // Closing writes what is still buffered, and that can fail too.
    const int closed = avio_closep(&output_->pb);
    return result < 0 ? result : closed;
  }

  int copy_packets() {
    const PacketPtr packet(av_packet_alloc());
    if (!packet) return AVERROR(ENOMEM);
    while (av_read_frame(input_.get(), packet.get()) >= 0) {
      const int source = packet->stream_index;
      const int result = output_streams_[source] == no_output_stream ? 0 : write_packet(*packet);
      av_packet_unref(packet.get());
      if (result < 0) return result;
    }
    return 0;
  }

  int write_packet(AVPacket& packet) {
    const AVStream& source = *input_->streams[packet.stream_index];
    const AVStream& target = *output_->streams[output_streams_[packet.stream_index]];
    av_packet_rescale_ts(&packet, source.time_base, target.time_base);
    packet.stream_index = target.index;
    packet.pos = -1;
    return av_interleaved_write_frame(output_.get(), &packet);
  }

  std::string movie_;
  std::string temporary_;
  InputContextPtr input_;
  OutputContextPtr output_;
  std::vector<int> output_streams_;  ///< by input stream
};

}  // namespace

std::filesystem::path st3d_temporary_path(const std::filesystem::path& movie) {
  return std::filesystem::path(movie).replace_extension(".st3d.tmp.mp4");
}

bool add_st3d_to_movie(const std::filesystem::path& movie, std::string& error) {
  const std::filesystem::path temporary = st3d_temporary_path(movie);
  bool temporary_opened = false;
  const bool written = St3dRemux(movie, temporary).run(temporary_opened, error);
  std::string reason;
  if (written && platform::replace_file(temporary, movie, reason)) return true;
  if (written) error = "could not replace the software output after adding SBS metadata";
  std::error_code ignored;
  if (temporary_opened) std::filesystem::remove(temporary, ignored);
  return false;
}

}  // namespace veyrin
