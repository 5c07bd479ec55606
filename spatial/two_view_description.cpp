#include "spatial/two_view_description.h"

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

#include "common/error_text.h"
#include "media/movie_boxes.h"
#include "spatial/two_view_units.h"

namespace veyrin {
namespace {

// ISO/IEC 14496-12 and -15: what stands in front of the boxes of a sample description and of a visual sample
// entry, and in front of the number of arrays of a configuration record.
constexpr std::uint64_t description_bytes = 8;
constexpr std::uint64_t entry_bytes = 78;
constexpr std::size_t base_record_bytes = 22;
constexpr std::size_t layered_record_bytes = 5;
constexpr std::uint64_t largest_record = 1U << 20U;

// The units of a configuration record, those of the layers it is about.
void note_record(std::span<const std::uint8_t> record, std::size_t header, TwoViewParameterSets& sets) {
  std::size_t at = header + 1;
  const auto take = [&](std::size_t bytes) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < bytes && at < record.size(); ++i) value = value << 8U | record[at++];
    return value;
  };
  const std::size_t arrays = record.size() > header ? record[header] : 0;
  for (std::size_t array = 0; array < arrays; ++array) {
    take(1);  // the type, which each unit repeats
    const std::size_t units = take(2);
    for (std::size_t unit = 0; unit < units; ++unit) {
      const std::size_t size = take(2);
      if (size > record.size() - at) return;
      sets.note(record.subspan(at, size));
      at += size;
    }
  }
}

bool is_for_both_eyes(std::istream& file, const MovieBox& entry) {
  constexpr std::size_t flags_at = 4;
  constexpr std::uint8_t both_eyes = 3;
  const auto box = find_box(file, entry, {"vexu", "eyes", "stri"});
  const auto content = box ? read_content(file, *box, largest_record) : std::nullopt;
  return content && content->size() > flags_at && (content->at(flags_at) & both_eyes) == both_eyes;
}

// What the description lacks, in words; empty when it is complete.
std::string_view missing_part(std::istream& file, std::uint64_t file_size) {
  const auto track = find_video_track(file, file_size);
  const auto description = track ? find_box(file, *track, {"mdia", "minf", "stbl", "stsd"}) : std::nullopt;
  const auto entry =
      description ? find_box(file, description->behind(description_bytes), {"hvc1"}) : std::nullopt;
  if (!entry) return "a track of HEVC";
  const MovieBox boxes = entry->behind(entry_bytes);
  const auto base = find_box(file, boxes, {"hvcC"});
  const auto base_record = base ? read_content(file, *base, largest_record) : std::nullopt;
  if (!base_record) return "the parameter sets of the left view (hvcC)";
  const auto layered = find_box(file, boxes, {"lhvC"});
  const auto layered_record = layered ? read_content(file, *layered, largest_record) : std::nullopt;
  if (!layered_record) return "the parameter sets of the right view (lhvC)";
  TwoViewParameterSets sets;
  note_record(*base_record, base_record_bytes, sets);
  note_record(*layered_record, layered_record_bytes, sets);
  if (!sets.missing().empty()) return sets.missing();
  return is_for_both_eyes(file, boxes) ? "" : "the record of the eyes (vexu)";
}

}  // namespace

bool check_two_view_description(const std::filesystem::path& movie, std::string& error) {
  std::error_code code;
  const auto type = std::filesystem::status(movie, code).type();
  // A device cannot be read again.
  if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found)
    return true;
  const std::uint64_t file_size = std::filesystem::file_size(movie, code);
  std::ifstream file(movie, std::ios::binary);
  if (code || !file) return fail(error, "could not read the finished spatial movie");
  const std::string_view missing = missing_part(file, file_size);
  return missing.empty() || fail(error, "the finished spatial movie lacks " + std::string(missing));
}

}  // namespace veyrin
