// Bytes of ISO base media boxes.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace veyrin::recordings {

/// Appends big-endian fields; boxes nest by `begin` and `end`.
class BoxBuilder {
 public:
  void u8(std::uint32_t value) { bytes_.push_back(static_cast<std::uint8_t>(value & 0xFFU)); }
  void u16(std::uint32_t value) {
    u8(value >> 8U);
    u8(value);
  }
  void u32(std::uint32_t value) {
    u16(value >> 16U);
    u16(value);
  }
  void u64(std::uint64_t value) {
    u32(static_cast<std::uint32_t>(value >> 32U));
    u32(static_cast<std::uint32_t>(value & 0xFFFFFFFFU));
  }
  void zeros(int count) { bytes_.insert(bytes_.end(), static_cast<std::size_t>(count), 0); }
  void text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
  }
  void append(const std::vector<std::uint8_t>& more) {
    bytes_.insert(bytes_.end(), more.begin(), more.end());
  }

  void begin(std::string_view type) {
    open_.push_back(bytes_.size());
    u32(0);
    text(type);
  }
  /// A box with version and flags.
  void begin_full(std::string_view type, std::uint32_t version, std::uint32_t flags) {
    begin(type);
    u32((version << 24U) | flags);
  }
  void end() {
    const std::size_t start = open_.back();
    open_.pop_back();
    const auto size = static_cast<std::uint32_t>(bytes_.size() - start);
    for (std::size_t index = 0; index < 4; ++index) {
      bytes_[start + index] = static_cast<std::uint8_t>((size >> (24U - 8U * index)) & 0xFFU);
    }
  }
  [[nodiscard]] const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::vector<std::size_t> open_;
};

}  // namespace veyrin::recordings
