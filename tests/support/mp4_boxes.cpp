#include "tests/support/mp4_boxes.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>

namespace veyrin::test {
namespace {

constexpr std::size_t sample_description_header = 8;
constexpr std::size_t visual_sample_entry_fields = 78;
constexpr std::size_t audio_sample_entry_fields = 28;
constexpr std::size_t quicktime_1_audio_fields = 16;

[[noreturn]] void broken(const std::string& what) {
  throw std::runtime_error("broken file: " + what);
}

// QuickTime's versions of the entry have additional fields.
std::size_t audio_fields(std::string_view entry) {
  return audio_sample_entry_fields + (big_endian(entry, 8, 2) == 1 ? quicktime_1_audio_fields : 0);
}

// Offset of the inner boxes in the payload; nothing for boxes without any.
std::optional<std::size_t> inner_boxes_start(const Mp4Box& box, std::string_view parent) {
  const std::string_view type = box.type;
  constexpr std::array containers{"moov", "trak", "edts", "mdia", "minf", "dinf", "stbl",
                                  "udta", "tref", "vexu", "proj", "eyes", "cams", "cmfy"};
  constexpr std::array pictures{"avc1", "hvc1", "hev1", "mp4v", "apco", "apcs", "apcn", "apch"};
  if (std::find(containers.begin(), containers.end(), type) != containers.end()) return 0;
  if (type == "stsd") return sample_description_header;
  if (parent == "stsd" && type == "mp4a") return audio_fields(box.payload);
  if (parent == "stsd" && std::find(pictures.begin(), pictures.end(), type) != pictures.end())
    return visual_sample_entry_fields;
  return std::nullopt;
}

std::vector<Mp4Box> read_list(std::string_view data, std::string_view parent) {
  constexpr std::size_t short_header = 8;
  constexpr std::size_t long_header = 16;
  std::vector<Mp4Box> boxes;
  while (!data.empty()) {
    // QuickTime ends some lists with a zero instead of a box.
    if (data.size() < short_header && data.find_first_not_of('\0') == std::string_view::npos) break;
    std::uint64_t size = big_endian(data, 0, 4);
    std::size_t header = short_header;
    if (size == 1) {
      size = big_endian(data, short_header, 8);
      header = long_header;
    }
    Mp4Box box;
    if (data.size() < header) broken("box header cut short");
    box.type = data.substr(4, 4);
    if (size < header || size > data.size()) broken("size of box " + box.type + " in " + std::string(parent));
    box.payload = data.substr(header, size - header);
    box.fields = box.payload;
    if (const auto start = inner_boxes_start(box, parent)) {
      if (*start > box.payload.size()) broken("box " + box.type + " cut short");
      box.fields = box.payload.substr(0, *start);
      box.boxes = read_list(box.payload.substr(*start), box.type);
    }
    boxes.push_back(std::move(box));
    data.remove_prefix(size);
  }
  return boxes;
}

void print_tree(const Mp4Box& box, std::size_t depth, std::string& text) {
  for (const Mp4Box& inner : box.boxes) {
    text += std::string(2 * depth, ' ') + inner.type + " " + std::to_string(inner.payload.size()) + "\n";
    print_tree(inner, depth + 1, text);
  }
}

std::vector<std::uint64_t> chunk_offsets(const Mp4Box& table) {
  const auto read = [](const Mp4Box& box, std::size_t width) {
    std::vector<std::uint64_t> offsets(big_endian(box.payload, 4, 4));
    for (std::size_t i = 0; i < offsets.size(); ++i)
      offsets[i] = big_endian(box.payload, 8 + i * width, width);
    return offsets;
  };
  const auto wide = table.all("co64");
  return wide.empty() ? read(table.only("stco"), 4) : read(*wide.front(), 8);
}

std::vector<std::uint64_t> sample_sizes(const Mp4Box& table) {
  const std::string_view sizes = table.only("stsz").payload;
  const std::uint64_t common = big_endian(sizes, 4, 4);
  std::vector<std::uint64_t> result(big_endian(sizes, 8, 4), common);
  for (std::size_t i = 0; common == 0 && i < result.size(); ++i) result[i] = big_endian(sizes, 12 + i * 4, 4);
  return result;
}

// Samples per chunk, from runs of chunks that begin at a 1-based chunk number.
std::vector<std::uint64_t> samples_per_chunk(const Mp4Box& table, std::size_t chunks) {
  const std::string_view runs = table.only("stsc").payload;
  std::vector<std::uint64_t> result(chunks, 0);
  for (std::size_t run = 0; run < big_endian(runs, 4, 4); ++run) {
    const std::uint64_t first = big_endian(runs, 8 + run * 12, 4);
    if (first == 0) broken("chunk number 0");
    for (std::size_t chunk = first - 1; chunk < chunks; ++chunk)
      result[chunk] = big_endian(runs, 12 + run * 12, 4);
  }
  return result;
}

}  // namespace

std::uint64_t big_endian(std::string_view data, std::size_t position, std::size_t bytes) {
  if (position + bytes > data.size()) broken("number outside its box");
  std::uint64_t value = 0;
  for (const char byte : data.substr(position, bytes)) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

std::vector<const Mp4Box*> Mp4Box::all(std::string_view path) const {
  const std::size_t slash = path.find('/');
  const std::string_view wanted = path.substr(0, slash);
  std::vector<const Mp4Box*> found;
  for (const Mp4Box& box : boxes) {
    if (wanted != "*" && box.type != wanted) continue;
    if (slash == std::string_view::npos) {
      found.push_back(&box);
    } else {
      const auto deeper = box.all(path.substr(slash + 1));
      found.insert(found.end(), deeper.begin(), deeper.end());
    }
  }
  return found;
}

const Mp4Box& Mp4Box::only(std::string_view path) const {
  const auto found = all(path);
  if (found.size() != 1)
    throw std::runtime_error(std::to_string(found.size()) + " boxes " + std::string(path) + " in " + type +
                             ":\n" + box_tree(*this));
  return *found.front();
}

Mp4Box read_boxes(std::string_view file) {
  return {"", file, file.substr(0, 0), read_list(file, "")};
}

const Mp4Box& track_of_kind(const Mp4Box& file, std::string_view handler, std::size_t number) {
  constexpr std::size_t handler_type_position = 8;
  for (const Mp4Box* track : file.all("moov/trak")) {
    if (track->only("mdia/hdlr").payload.substr(handler_type_position, 4) != handler) continue;
    if (number-- == 0) return *track;
  }
  throw std::runtime_error("no such track: " + std::string(handler) + "\n" + box_tree(file));
}

std::vector<std::string_view> track_samples(std::string_view file, const Mp4Box& track) {
  const Mp4Box& table = track.only("mdia/minf/stbl");
  const auto offsets = chunk_offsets(table);
  const auto counts = samples_per_chunk(table, offsets.size());
  std::vector<std::string_view> samples;
  const auto sizes = sample_sizes(table);
  for (std::size_t chunk = 0; chunk < offsets.size(); ++chunk) {
    std::uint64_t position = offsets[chunk];
    for (std::uint64_t i = 0; i < counts[chunk]; ++i) {
      const std::uint64_t size = sizes.at(samples.size());
      if (position + size > file.size()) broken("sample outside the file");
      samples.push_back(file.substr(position, size));
      position += size;
    }
  }
  if (samples.size() != sizes.size()) broken("sizes and chunks disagree");
  return samples;
}

std::string box_tree(const Mp4Box& box) {
  std::string text;
  print_tree(box, 0, text);
  return text;
}

}  // namespace veyrin::test
