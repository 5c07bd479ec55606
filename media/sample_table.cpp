#include "media/sample_table.h"

#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "media/movie_boxes.h"

namespace veyrin {
namespace {

using Content = std::vector<std::uint8_t>;

// The sizes of 77 hours of pictures at 60 frames per second.
constexpr std::uint64_t largest_table = 1U << 26U;

// FFmpeg takes larger ones for damage and then drops the whole table.
constexpr std::int64_t largest_offset = 1 << 28;

// More boxes in one than any writer of movies puts there.
constexpr std::size_t most_boxes = 10000;

/// The boxes inside another one.
class Boxes {
 public:
  Boxes(std::istream& file, const MovieBox& within) : file_(file) {
    std::uint64_t position = within.begin;
    while (boxes_.size() < most_boxes) {
      const auto box = read_box(file, position, within.end);
      if (!box) break;
      boxes_.push_back(*box);
      position = box->end;
    }
    whole_ = position == within.end;
  }

  /// False when something inside could not be read as a box.
  [[nodiscard]] bool whole() const { return whole_; }

  [[nodiscard]] std::size_t count(std::string_view type) const {
    std::size_t found = 0;
    for (const MovieBox& box : boxes_) found += box.is(type) ? 1 : 0;
    return found;
  }

  /// The only one of its type; nothing when there is none, or another one that contradicts it.
  [[nodiscard]] std::optional<MovieBox> only(std::string_view type) const {
    if (!whole_ || count(type) != 1) return std::nullopt;
    for (const MovieBox& box : boxes_) {
      if (box.is(type)) return box;
    }
    return std::nullopt;
  }

  [[nodiscard]] std::optional<Content> only_content(std::string_view type) const {
    const auto box = only(type);
    return box ? read_content(file_, *box, largest_table) : std::nullopt;
  }

  [[nodiscard]] const std::vector<MovieBox>& all() const { return boxes_; }

 private:
  std::istream& file_;
  std::vector<MovieBox> boxes_;
  bool whole_ = false;
};

std::uint32_t word(const Content& content, std::size_t at) {
  return static_cast<std::uint32_t>(content[at]) << 24U | static_cast<std::uint32_t>(content[at + 1]) << 16U |
         static_cast<std::uint32_t>(content[at + 2]) << 8U | content[at + 3];
}

/// The number of entries that a table says it has at `at`; nothing when it is too short for them.
std::optional<std::size_t> entries_of(const Content& table, std::size_t at, std::size_t entry_bytes) {
  if (table.size() < at + 4) return std::nullopt;
  const std::size_t entries = word(table, at);
  if ((table.size() - at - 4) / entry_bytes < entries) return std::nullopt;
  return entries;
}

/// What the file's index holds; nothing when there is none, or it lists not all samples.
std::optional<Boxes> complete_movie(std::istream& file, std::uint64_t file_size) {
  const auto movie = find_box(file, {.begin = 0, .end = file_size}, {"moov"});
  if (!movie) return std::nullopt;
  Boxes boxes(file, *movie);
  if (!boxes.whole() || boxes.count("mvex") != 0) return std::nullopt;
  return boxes;
}

std::optional<int> number_of_track(const Boxes& track) {
  const auto header = track.only_content("tkhd");
  if (!header || header->empty()) return std::nullopt;
  const std::size_t at = header->front() == 1 ? 20 : 12;
  if (header->size() < at + 4) return std::nullopt;
  return static_cast<int>(word(*header, at));
}

std::optional<MovieBox> find_track(std::istream& file, const Boxes& movie, int number) {
  std::optional<MovieBox> found;
  for (const MovieBox& box : movie.all()) {
    if (!box.is("trak") || number_of_track(Boxes(file, box)) != number) continue;
    if (found) return std::nullopt;
    found = box;
  }
  return found;
}

bool is_in_one_piece(std::istream& file, const Boxes& track) {
  if (track.whole() && track.count("edts") == 0) return true;
  const auto edits = track.only("edts");
  const auto list = edits ? Boxes(file, *edits).only_content("elst") : std::nullopt;
  if (!list || list->empty()) return false;
  const bool large = list->front() == 1;
  const std::size_t entry_bytes = large ? 20 : 12;
  const auto entries = entries_of(*list, 4, entry_bytes);
  if (!entries) return false;
  bool shows_samples = false;
  for (std::size_t entry = 0; entry < *entries; ++entry) {
    if (shows_samples) return false;
    const std::size_t media_time_at = 8 + entry * entry_bytes + (large ? 8 : 4);
    // An empty edit has the time -1.
    shows_samples = word(*list, media_time_at) != 0xFFFFFFFFU;
  }
  return true;
}

bool read_sizes(const Boxes& samples, SampleTable& table) {
  const auto content = samples.only_content("stsz");
  if (!content || content->size() < 12) return false;
  const std::uint32_t common = word(*content, 4);
  if (common != 0) {
    const std::size_t count = word(*content, 8);
    if (count > largest_table / 4) return false;
    table.sizes.assign(count, common);
    return true;
  }
  const auto count = entries_of(*content, 8, 4);
  if (!count) return false;
  table.sizes.reserve(*count);
  for (std::size_t sample = 0; sample < *count; ++sample)
    table.sizes.push_back(word(*content, 12 + 4 * sample));
  return true;
}

bool read_offsets(const Boxes& samples, SampleTable& table) {
  if (samples.whole() && samples.count("ctts") == 0) return true;
  const auto content = samples.only_content("ctts");
  const auto entries = content ? entries_of(*content, 4, 8) : std::nullopt;
  if (!entries) return false;
  for (std::size_t entry = 0; entry < *entries; ++entry) {
    const std::size_t run = word(*content, 8 + 8 * entry);
    const auto offset = static_cast<std::int32_t>(word(*content, 12 + 8 * entry));
    if (offset > largest_offset || offset < -largest_offset) return false;
    if (run == 0 || run > table.sizes.size() - table.composition_offsets.size()) return false;
    table.composition_offsets.insert(table.composition_offsets.end(), run, offset);
  }
  return table.composition_offsets.size() == table.sizes.size();
}

}  // namespace

std::optional<SampleTable> read_sample_table(std::istream& file, std::uint64_t file_size, int track_number) {
  const auto movie = complete_movie(file, file_size);
  const auto track_box = movie ? find_track(file, *movie, track_number) : std::nullopt;
  if (!track_box) return std::nullopt;
  const Boxes track(file, *track_box);
  std::optional<MovieBox> samples_box = track.only("mdia");
  for (const std::string_view type : {"minf", "stbl"}) {
    if (samples_box) samples_box = Boxes(file, *samples_box).only(type);
  }
  if (!samples_box) return std::nullopt;
  const Boxes samples(file, *samples_box);
  const auto descriptions = samples.only_content("stsd");
  if (!descriptions || descriptions->size() < 8) return std::nullopt;
  SampleTable table;
  table.descriptions = word(*descriptions, 4);
  table.in_one_piece = is_in_one_piece(file, track);
  if (!read_sizes(samples, table) || !read_offsets(samples, table)) return std::nullopt;
  return table;
}

bool has_complete_index(std::istream& file, std::uint64_t file_size) {
  return complete_movie(file, file_size).has_value();
}

bool has_complete_index(const std::filesystem::path& path) {
  std::error_code unknown;
  if (!std::filesystem::is_regular_file(path, unknown)) return false;
  const std::uint64_t file_size = std::filesystem::file_size(path, unknown);
  std::ifstream file(path, std::ios::binary);
  return !unknown && file.is_open() && has_complete_index(file, file_size);
}

}  // namespace veyrin
