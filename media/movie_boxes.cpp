#include "media/movie_boxes.h"

#include <algorithm>

namespace veyrin {
namespace {

constexpr std::uint64_t header_bytes = 8;
constexpr std::uint64_t large_header_bytes = 16;

std::uint64_t read_big_endian(std::istream& file, int bytes) {
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = value << 8U | static_cast<std::uint8_t>(file.get());
  return value;
}

bool is_video(std::istream& file, const MovieBox& track) {
  constexpr std::uint64_t handler_at = 8;  // behind the version and a reserved word
  const auto handler = find_box(file, track, {"mdia", "hdlr"});
  if (!handler || handler->end - handler->begin < handler_at + 4) return false;
  file.seekg(static_cast<std::streamoff>(handler->begin + handler_at));
  std::array<char, 4> kind{};
  file.read(kind.data(), kind.size());
  return file.good() && std::string_view(kind.data(), kind.size()) == "vide";
}

}  // namespace

std::optional<MovieBox> read_box(std::istream& file, std::uint64_t position, std::uint64_t end) {
  const std::uint64_t rest = end - position;
  if (rest < header_bytes) return std::nullopt;
  file.seekg(static_cast<std::streamoff>(position));
  MovieBox box;
  std::uint64_t size = read_big_endian(file, 4);
  file.read(box.type.data(), box.type.size());
  std::uint64_t header = header_bytes;
  if (size == 0) size = rest;  // up to the end
  if (size == 1) {
    header = large_header_bytes;
    size = rest < large_header_bytes ? 0 : read_big_endian(file, 8);
  }
  if (!file || size < header || size > rest) return std::nullopt;
  box.begin = position + header;
  box.end = position + size;
  return box;
}

std::optional<MovieBox> find_box(std::istream& file, MovieBox within,
                                 std::initializer_list<std::string_view> path) {
  for (const std::string_view type : path) {
    auto box = read_box(file, within.begin, within.end);
    while (box && !box->is(type)) box = read_box(file, box->end, within.end);
    if (!box) return std::nullopt;
    within = *box;
  }
  return within;
}

std::optional<MovieBox> find_video_track(std::istream& file, std::uint64_t file_size) {
  const auto movie = find_box(file, {.begin = 0, .end = file_size}, {"moov"});
  if (!movie) return std::nullopt;
  auto track = find_box(file, *movie, {"trak"});
  while (track && !is_video(file, *track)) {
    track = find_box(file, {.begin = track->end, .end = movie->end}, {"trak"});
  }
  return track;
}

std::optional<std::vector<std::uint8_t>> read_content(std::istream& file, const MovieBox& box,
                                                      std::uint64_t largest) {
  const std::uint64_t size = box.end - box.begin;
  if (size > largest) return std::nullopt;
  std::vector<std::uint8_t> content(static_cast<std::size_t>(size));
  file.seekg(static_cast<std::streamoff>(box.begin));
  file.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(size));
  if (!file) return std::nullopt;
  return content;
}

}  // namespace veyrin
