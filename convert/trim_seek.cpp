#include "convert/trim_seek.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "media/clean_start.h"
#include "media/recording_input.h"
#include "media/sample_table.h"

namespace veyrin {
namespace {

// The demuxer delivers the first packet of each stream within a second's worth of them.
constexpr int most_packets_read = 4096;

// How many groups of pictures the demuxer may be asked to go back further than the one that is decoded first,
// so that it also delivers the other eye's and the sound from early enough on.
constexpr int most_groups_back = 4;

/// An eye of the recording that is searched.
struct Eye {
  AVStream* stream = nullptr;
  CleanStarts starts;
  SampleTable table;
  EyePictures shown;
};

/// The opened recording tells what the header alone does not.
bool leaves_order_open(const AVCodecParameters& parameters, const SampleTable& table) {
  const bool progressive =
      parameters.field_order == AV_FIELD_PROGRESSIVE ||
      (parameters.field_order == AV_FIELD_UNKNOWN && parameters.codec_id == AV_CODEC_ID_HEVC);
  return !progressive || (parameters.video_delay > 0 && table.composition_offsets.empty());
}

/// The demuxer's index entry of a sample; null when the file does not hold it. Reading from the beginning
/// would end there.
const AVIndexEntry* present_entry(AVStream& stream, std::size_t position, std::int64_t file_size) {
  const AVIndexEntry* entry = avformat_index_get_entry(&stream, static_cast<int>(position));
  const bool present = entry != nullptr && entry->pos >= 0 && entry->size > 0 && entry->pos < file_size &&
                       file_size - entry->pos >= entry->size;
  return present ? entry : nullptr;
}

/// The pictures, counted from the moment at which a sample without a composition offset is shown; nothing
/// when the demuxer's index is not the beginning of the file's.
std::optional<std::vector<IndexedPicture>> read_pictures(AVStream& stream, const SampleTable& table,
                                                         std::int64_t file_size) {
  const auto count = static_cast<std::size_t>(avformat_index_get_entries_count(&stream));
  if (count == 0 || count > table.sizes.size()) return std::nullopt;
  std::vector<IndexedPicture> pictures;
  pictures.reserve(count);
  for (std::size_t position = 0; position < count; ++position) {
    const AVIndexEntry* entry = present_entry(stream, position, file_size);
    if (entry == nullptr || (entry->flags & AVINDEX_DISCARD_FRAME) != 0 ||
        static_cast<std::uint32_t>(entry->size) != table.sizes[position])
      return std::nullopt;
    if (!pictures.empty() && entry->timestamp <= pictures.back().dts) return std::nullopt;
    const std::int64_t offset = table.composition_offsets.empty() ? 0 : table.composition_offsets[position];
    pictures.push_back({entry->timestamp, entry->timestamp + offset, (entry->flags & AVINDEX_KEYFRAME) != 0});
  }
  return pictures;
}

class Search {
 public:
  Search(const ConversionInput& input, const TrimNeeds& needs) : input_(input), needs_(needs) {}

  /// Reads the index, with which all else begins; false where it leaves anything in doubt.
  [[nodiscard]] bool read_index() {
    if (!open() || !sound_is_plain()) return false;
    left_ = read_eye(input_.left_stream);
    right_ = left_ ? read_eye(input_.right_stream) : std::nullopt;
    return right_ && read_first_packets();
  }

  [[nodiscard]] IndexedEyes take_eyes() { return {std::move(left_->shown), std::move(right_->shown)}; }

  std::optional<TrimSeek> run() {
    if (!read_index()) return std::nullopt;
    const auto point = choose_seek_point(
        left_->shown, right_->shown,
        {needs_.is_dropped, [this](std::size_t position) { return is_clean(*left_, position); },
         [this](std::size_t position) { return is_clean(*right_, position); }});
    return point ? place(*point) : std::nullopt;
  }

 private:
  // Only the header is read: its index is all that is needed.
  [[nodiscard]] bool open() {
    std::string ignored;
    std::error_code unknown;
    if (!std::filesystem::is_regular_file(input_.path, unknown)) return false;
    search_ = open_recording(input_.path, {.probe_streams = false}, {"", ""}, ignored);
    if (!search_ || search_->nb_streams != input_.context->nb_streams) return false;
    if (!std::string_view(search_->iformat->name).starts_with("mov,")) return false;
    read_only_streams(*search_, std::array{input_.left_stream, input_.right_stream, input_.audio_stream});
    file_size_ = static_cast<std::int64_t>(std::filesystem::file_size(input_.path, unknown));
    file_.open(input_.path, std::ios::binary);
    return !unknown && file_.is_open();
  }

  [[nodiscard]] bool sound_is_plain() const {
    if (!needs_.sound_from) return true;
    AVStream& sound = *search_->streams[input_.audio_stream];
    if (!has_one_packet_per_sample(*sound.codecpar)) return false;
    const auto count = static_cast<std::size_t>(avformat_index_get_entries_count(&sound));
    std::optional<std::int64_t> last;
    for (std::size_t position = 0; position < count; ++position) {
      const AVIndexEntry* entry = present_entry(sound, position, file_size_);
      if (entry == nullptr || (last && entry->timestamp <= *last)) return false;
      last = entry->timestamp;
    }
    return true;
  }

  [[nodiscard]] std::optional<Eye> read_eye(int index) {
    AVStream* stream = search_->streams[index];
    auto starts = CleanStarts::create(*stream->codecpar);
    auto table = read_sample_table(file_, static_cast<std::uint64_t>(file_size_), stream->id);
    if (!starts || !table || table->descriptions != 1 || !table->in_one_piece) return std::nullopt;
    if (leaves_order_open(*input_.context->streams[index]->codecpar, *table)) return std::nullopt;
    auto pictures = read_pictures(*stream, *table, file_size_);
    if (!pictures) return std::nullopt;
    return Eye{stream, *starts, std::move(*table), {std::move(*pictures), stream->time_base}};
  }

  [[nodiscard]] bool is_clean(const Eye& eye, std::size_t position) {
    const AVIndexEntry* entry = present_entry(*eye.stream, position, file_size_);
    file_.clear();
    return entry != nullptr && eye.starts.at(file_, entry->pos, entry->size);
  }

  // The first packets tell when the demuxer has samples shown; it moves all of a track alike.
  [[nodiscard]] bool read_first_packets() {
    std::array<bool, 2> seen{};
    return read_packets([&](const AVPacket& packet) {
      std::size_t number = 0;
      for (Eye* eye : {&*left_, &*right_}) {
        bool& eye_seen = seen.at(number++);
        if (eye_seen || packet.stream_index != eye->stream->index) continue;
        eye_seen = true;
        const IndexedPicture& first = eye->shown.pictures.front();
        if (packet.dts != first.dts || packet.pts == AV_NOPTS_VALUE) return Reading::failed;
        const std::int64_t shift = packet.pts - first.pts;
        for (IndexedPicture& picture : eye->shown.pictures) picture.pts += shift;
      }
      return seen[0] && seen[1] ? Reading::done : Reading::goes_on;
    });
  }

  enum class Reading { goes_on, done, failed };

  /// Reads packets until `look` has seen enough; false when it is not content with one or they do not
  /// suffice.
  template <typename Look>
  [[nodiscard]] bool read_packets(const Look& look) {
    const PacketPtr packet(av_packet_alloc());
    Reading reading = packet ? Reading::goes_on : Reading::failed;
    for (int count = 0; reading == Reading::goes_on; ++count) {
      if (count == most_packets_read || read_packet(*search_, *packet) < 0) return false;
      reading = look(*packet);
      av_packet_unref(packet.get());
    }
    return reading == Reading::done;
  }

  // The demuxer is told one stream's time and finds places for the others by itself. Where that is too late
  // for one of them, it is sent back further.
  [[nodiscard]] std::optional<TrimSeek> place(const SeekPoint& point) {
    const bool left_first = av_compare_ts(point.left.key_dts, left_->stream->time_base, point.right.key_dts,
                                          right_->stream->time_base) <= 0;
    const Eye& eye = left_first ? *left_ : *right_;
    std::size_t key = left_first ? point.left.key : point.right.key;
    for (int back = 0; back <= most_groups_back; ++back) {
      const TrimSeek seek{eye.stream->index, eye.shown.pictures[key].pts, point};
      if (delivers_all(seek)) return seek;
      do {
        if (key == 0) return std::nullopt;
        --key;
      } while (!eye.shown.pictures[key].key);
    }
    return std::nullopt;
  }

  [[nodiscard]] bool delivers_all(const TrimSeek& seek) {
    if (av_seek_frame(search_.get(), seek.stream, seek.timestamp, AVSEEK_FLAG_BACKWARD) < 0) return false;
    bool left_seen = false;
    bool right_seen = false;
    bool sound_seen = !needs_.sound_from || has_no_sound();
    return read_packets([&](const AVPacket& packet) {
      const int stream = packet.stream_index;
      if (!left_seen && stream == input_.left_stream) {
        if (!is_early_enough(packet, *left_, seek.point.left)) return Reading::failed;
        left_seen = true;
      }
      if (!right_seen && stream == input_.right_stream) {
        if (!is_early_enough(packet, *right_, seek.point.right)) return Reading::failed;
        right_seen = true;
      }
      if (!sound_seen && stream == input_.audio_stream) {
        if (!is_early_enough(packet)) return Reading::failed;
        sound_seen = true;
      }
      return left_seen && right_seen && sound_seen ? Reading::done : Reading::goes_on;
    });
  }

  [[nodiscard]] bool has_no_sound() const {
    return avformat_index_get_entries_count(search_->streams[input_.audio_stream]) == 0;
  }

  /// Whether an eye's packet is one of the index, with the times it has there, and not behind the start.
  static bool is_early_enough(const AVPacket& packet, const Eye& eye, const EyeStart& start) {
    const auto& pictures = eye.shown.pictures;
    const auto found = std::ranges::lower_bound(pictures, packet.dts, {}, &IndexedPicture::dts);
    return packet.dts != AV_NOPTS_VALUE && found != pictures.end() && found->dts == packet.dts &&
           found->pts == packet.pts && packet.dts <= start.key_dts;
  }

  /// The same for sound. One packet more than is needed makes sure that none that is needed was passed over.
  [[nodiscard]] bool is_early_enough(const AVPacket& packet) const {
    AVStream& sound = *search_->streams[input_.audio_stream];
    if (packet.pts == AV_NOPTS_VALUE || packet.pts != packet.dts) return false;
    if (packet.dts == avformat_index_get_entry(&sound, 0)->timestamp) return true;
    return static_cast<double>(packet.pts + packet.duration) * av_q2d(sound.time_base) <= *needs_.sound_from;
  }

  const ConversionInput& input_;
  const TrimNeeds& needs_;
  InputContextPtr search_;
  std::ifstream file_;
  std::int64_t file_size_ = 0;
  std::optional<Eye> left_;
  std::optional<Eye> right_;
};

}  // namespace

std::optional<TrimSeek> find_trim_seek(const ConversionInput& input, const TrimNeeds& needs) {
  return Search(input, needs).run();
}

std::optional<IndexedEyes> read_indexed_eyes(const ConversionInput& input) {
  TrimNeeds needs;
  if (input.audio_stream >= 0) needs.sound_from = 0.0;
  Search search(input, needs);
  if (!search.read_index()) return std::nullopt;
  return search.take_eyes();
}

bool has_one_packet_per_sample(const AVCodecParameters& sound) {
  // The demuxer parses some others' samples and may cut them.
  switch (sound.codec_id) {
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_ALAC:
    case AV_CODEC_ID_OPUS:
      return true;
    default:
      return av_get_exact_bits_per_sample(sound.codec_id) > 0;
  }
}

}  // namespace veyrin
