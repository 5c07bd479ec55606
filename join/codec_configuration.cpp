#include "join/codec_configuration.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "media/ffmpeg.h"

namespace veyrin {
namespace {

// ISO/IEC 14496-15: what stands in front of the number of arrays, and the types of units with messages.
constexpr std::size_t arrays_at = 22;
constexpr unsigned prefix_message = 39;
constexpr unsigned suffix_message = 40;

/// Walks over a record.
class Reader {
 public:
  explicit Reader(std::string_view record) : record_(record) {}

  /// The next number of one or two bytes, highest first; 0 behind the end.
  std::size_t number(std::size_t bytes) {
    std::size_t value = 0;
    for (const char byte : take(bytes)) value = value << 8U | static_cast<std::uint8_t>(byte);
    return value;
  }

  std::string_view take(std::size_t bytes) {
    whole_ = whole_ && bytes <= record_.size() - at_;
    if (!whole_) return {};
    at_ += bytes;
    return record_.substr(at_ - bytes, bytes);
  }

  [[nodiscard]] std::size_t position() const { return at_; }
  [[nodiscard]] bool whole() const { return whole_; }

 private:
  std::string_view record_;
  std::size_t at_ = 0;
  bool whole_ = true;
};

/// Nothing for what is no such record.
std::optional<std::string> without_messages(std::string_view record) {
  Reader reader(record);
  std::string kept(reader.take(arrays_at));
  const std::size_t arrays = reader.number(1);
  for (std::size_t array = 0; array < arrays && reader.whole(); ++array) {
    const std::size_t begin = reader.position();
    const std::size_t type = reader.number(1) & 0x3FU;
    const std::size_t units = reader.number(2);
    for (std::size_t unit = 0; unit < units && reader.whole(); ++unit) reader.take(reader.number(2));
    if (type != prefix_message && type != suffix_message)
      kept += record.substr(begin, reader.position() - begin);
  }
  if (!reader.whole()) return std::nullopt;
  return kept + std::string(reader.take(record.size() - reader.position()));
}

}  // namespace

std::string parameter_sets_of(const AVCodecParameters& stream) {
  const std::string_view record(reinterpret_cast<const char*>(stream.extradata),
                                static_cast<std::size_t>(stream.extradata_size));
  const bool is_record = stream.codec_id == AV_CODEC_ID_HEVC && !record.empty() && record.front() == 1;
  return (is_record ? without_messages(record) : std::nullopt).value_or(std::string(record));
}

}  // namespace veyrin
