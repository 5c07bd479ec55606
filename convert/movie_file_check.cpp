#include "convert/movie_file_check.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

namespace veyrin {
namespace {

constexpr std::uint64_t header_bytes = 8;
constexpr std::uint64_t large_header_bytes = 16;

struct Box {
  std::uint64_t size = 0;  ///< with its header
  std::array<char, 4> type{};

  [[nodiscard]] bool is(std::string_view name) const {
    return std::string_view(type.data(), type.size()) == name;
  }
};

std::uint64_t read_big_endian(std::istream& file, int bytes) {
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value = value << 8U | static_cast<std::uint8_t>(file.get());
  return value;
}

// The box at `position`; nothing when its header or its extent does not fit into the file.
std::optional<Box> read_box(std::istream& file, std::uint64_t position, std::uint64_t file_size) {
  const std::uint64_t rest = file_size - position;
  if (rest < header_bytes) return std::nullopt;
  file.seekg(static_cast<std::streamoff>(position));
  Box box;
  box.size = read_big_endian(file, 4);
  file.read(box.type.data(), box.type.size());
  std::uint64_t smallest = header_bytes;
  if (box.size == 0) box.size = rest;  // up to the end of the file
  if (box.size == 1) {
    smallest = large_header_bytes;
    box.size = rest < large_header_bytes ? 0 : read_big_endian(file, 8);
  }
  if (!file || box.size < smallest || box.size > rest) return std::nullopt;
  return box;
}

}  // namespace

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
    position += box->size;
  }
  return !has_index;
}

}  // namespace veyrin
