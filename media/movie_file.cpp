#include "media/movie_file.h"

#include <cstdint>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "media/movie_boxes.h"
#include "media/movie_check.h"
#include "media/movie_io.h"

namespace veyrin {
namespace {

[[nodiscard]] bool fail_step(std::string& error, FailureText failure, int code) {
  if (failure.with_reason) return fail_with_library_error(error, failure.text, code);
  return fail(error, std::string(failure.text));
}

[[nodiscard]] int copy_chapters(const AVFormatContext& source, AVFormatContext& target) {
  for (unsigned i = 0; i < source.nb_chapters; ++i) {
    LibraryMemoryPtr<AVChapter> chapter(static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter))));
    if (!chapter) return AVERROR(ENOMEM);
    chapter->id = source.chapters[i]->id;
    chapter->time_base = source.chapters[i]->time_base;
    chapter->start = source.chapters[i]->start;
    chapter->end = source.chapters[i]->end;
    auto* count = reinterpret_cast<int*>(&target.nb_chapters);
    if (const int result = av_dynarray_add_nofree(&target.chapters, count, chapter.get()); result < 0)
      return result;
    AVDictionary*& titles = chapter.release()->metadata;
    if (const int result = av_dict_copy(&titles, source.chapters[i]->metadata, 0); result < 0) return result;
  }
  return 0;
}

// A tag of another container, as PCM sound in QuickTime has, gives way to the one that this container uses.
void fit_tag(const AVOutputFormat& container, AVCodecParameters& parameters) {
  unsigned own_tag = 0;
  if (av_codec_get_id(container.codec_tag, parameters.codec_tag) != parameters.codec_id &&
      av_codec_get_tag2(container.codec_tag, parameters.codec_id, &own_tag) != 0) {
    parameters.codec_tag = 0;
  }
}

}  // namespace

const AVOutputFormat* choose_container(const std::filesystem::path& output, AVCodecID codec) {
  const AVOutputFormat* guessed = av_guess_format(nullptr, platform::path_to_utf8(output).c_str(), nullptr);
  if (guessed != nullptr && avformat_query_codec(guessed, codec, FF_COMPLIANCE_NORMAL) == 1) return guessed;
  return av_guess_format(codec == AV_CODEC_ID_PRORES ? "mov" : "mp4", nullptr, nullptr);
}

bool is_mp4_family(const AVOutputFormat& container) {
  const std::string_view name = container.name;
  return name == "mp4" || name == "mov";
}

int copy_parameters(const AVCodecContext& encoder, CodecParametersPtr& parameters) {
  parameters.reset(avcodec_parameters_alloc());
  return parameters ? avcodec_parameters_from_context(parameters.get(), &encoder) : AVERROR(ENOMEM);
}

MovieFile::MovieFile(MovieTarget target, const MovieMessages& messages)
    : target_(std::move(target)), messages_(messages) {}

MovieFile::~MovieFile() {
  const bool is_new = target_.opening == platform::OutputFile::Opening::create;
  const bool is_of_no_use = opened_file() && is_new && !has_pictures_ && !finished_;
  muxer_.reset();
  io_.reset();
  std::error_code ignored;
  if (is_of_no_use) std::filesystem::remove(target_.path, ignored);
}

std::unique_ptr<MovieFile> MovieFile::create(MovieTarget target, const AVOutputFormat* container,
                                             const MovieMessages& messages, std::string& error) {
  std::unique_ptr<MovieFile> movie(new MovieFile(std::move(target), messages));
  AVFormatContext* muxer = nullptr;
  const std::string url = media_url(movie->target_.path);
  const int result = avformat_alloc_output_context2(&muxer, container, nullptr, url.c_str());
  movie->muxer_.reset(muxer);
  if (result >= 0 && muxer != nullptr) return movie;
  static_cast<void>(fail_step(error, messages.create, result));
  return nullptr;
}

AVStream* MovieFile::add_stream(Source source, const AVCodecParameters& parameters, std::string_view addition,
                                FailureText configuration, std::string& error) {
  AVStream* stream = avformat_new_stream(muxer_.get(), nullptr);
  if (stream == nullptr) {
    error = addition;
    return nullptr;
  }
  if (const int result = avcodec_parameters_copy(stream->codecpar, &parameters); result < 0) {
    static_cast<void>(fail_step(error, configuration, result));
    return nullptr;
  }
  // The time base asked for becomes the track's time scale where the container lets it, so that times stay
  // exact.
  stream->time_base = source.time_base;
  sources_.push_back(source);
  return stream;
}

std::optional<int> MovieFile::add_video_track(const AVCodecParameters& parameters, AVRational time_base,
                                              FrameRate rate, std::string& error) {
  // Without a duration the last frame's is unknown, and the muxer's edit list would end before it.
  AVStream* stream = add_stream({time_base, /*default_duration=*/1, /*packets=*/0}, parameters,
                                messages_.add_video, messages_.configure_video, error);
  if (stream == nullptr) return std::nullopt;
  stream->avg_frame_rate = rate;
  // Players of the QuickTime family want the parameter sets in the sample entry only.
  if (parameters.codec_id == AV_CODEC_ID_HEVC && is_mp4_family(container()))
    stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
  return stream->index;
}

std::optional<int> MovieFile::add_audio_track(const AVCodecParameters& parameters, AVRational time_base,
                                              std::string& error) {
  AVStream* stream = add_stream({time_base, /*default_duration=*/0, /*packets=*/0}, parameters,
                                messages_.add_copy, messages_.configure_copy, error);
  if (stream == nullptr) return std::nullopt;
  // The muxer picks the tag of its own container.
  stream->codecpar->codec_tag = 0;
  return stream->index;
}

std::optional<int> MovieFile::add_copied_track(const AVStream& source, std::string& error) {
  AVStream* stream = add_stream({source.time_base, /*default_duration=*/0, /*packets=*/0}, *source.codecpar,
                                messages_.add_copy, messages_.configure_copy, error);
  if (stream == nullptr) return std::nullopt;
  fit_tag(container(), *stream->codecpar);
  stream->avg_frame_rate = source.avg_frame_rate;
  stream->sample_aspect_ratio = source.sample_aspect_ratio;
  stream->disposition = source.disposition;
  const int result = av_dict_copy(&stream->metadata, source.metadata, 0);
  if (result >= 0) return stream->index;
  static_cast<void>(fail_step(error, messages_.configure_copy, result));
  return std::nullopt;
}

int MovieFile::copy_description(const AVFormatContext& source) {
  const int result = av_dict_copy(&muxer_->metadata, source.metadata, 0);
  return result < 0 ? result : copy_chapters(source, *muxer_);
}

bool MovieFile::write_header(Dictionary& options, std::string& error) {
  std::error_code reason;
  auto file = platform::OutputFile::open(target_.path, target_.opening, reason);
  if (!file) return fail_step(error, messages_.open, library_error_code(reason));
  opened_file_ = true;
  io_ = MovieIo::create(std::move(file));
  if (!io_) return fail_step(error, messages_.open, AVERROR(ENOMEM));
  muxer_->pb = io_->context();
  const int result = avformat_write_header(muxer_.get(), options.address());
  return result >= 0 || fail_step(error, messages_.write_header, result);
}

bool MovieFile::write(int track, AVPacket& packet, FailureText failure, std::string& error) {
  Source& source = sources_[static_cast<std::size_t>(track)];
  // Muxers drop empty packets.
  if (packet.size > 0) ++source.packets;
  if (packet.duration == 0) packet.duration = source.default_duration;
  av_packet_rescale_ts(&packet, source.time_base, stream(track).time_base);
  packet.stream_index = track;
  packet.pos = -1;
  const int result = av_interleaved_write_frame(muxer_.get(), &packet);
  if (result < 0) return fail_step(error, failure, result);
  has_pictures_ = has_pictures_ || stream(track).codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
  return true;
}

bool MovieFile::finish(std::string& error) {
  int result = av_write_trailer(muxer_.get());
  // Closing writes what is still buffered, and that can fail too.
  const int closed = io_->close();
  if (result >= 0) result = closed;
  if (result >= 0 && is_mp4_family(container())) result = check_index();
  finished_ = result >= 0;
  return finished_ || fail_step(error, messages_.finish, result);
}

int MovieFile::check_index() const {
  std::vector<TrackContent> tracks;
  for (std::size_t i = 0; i < sources_.size(); ++i)
    tracks.push_back({muxer_->streams[i]->codecpar, sources_[i].packets});
  return check_movie_index(target_.path, tracks);
}

bool is_cut_off_movie(const std::filesystem::path& path) {
  std::error_code code;
  const std::uint64_t file_size = std::filesystem::file_size(path, code);
  if (code) return false;
  if (file_size == 0) return true;
  std::ifstream file(path, std::ios::binary);
  bool has_index = false;
  for (std::uint64_t position = 0; position < file_size;) {
    const auto box = read_box(file, position, file_size);
    if (position == 0 && !(box && box->is("ftyp"))) return false;
    if (!box) return true;
    has_index = has_index || box->is("moov");
    position = box->end;
  }
  return !has_index;
}

}  // namespace veyrin
