#include "spatial/two_view_protocol.h"

#include <algorithm>
#include <concepts>
#include <cstring>

namespace veyrin::two_view {
namespace {

constexpr std::array<std::uint8_t, 4> request_mark{'V', 'T', 'V', 'E'};
constexpr std::uint32_t key_flag = 1;
constexpr std::size_t unit_fields_bytes = 24;
constexpr std::size_t longest_preset = 32;
constexpr std::size_t longest_message = 1000;

template <std::unsigned_integral Number>
void append(Bytes& to, Number value) {
  for (std::size_t i = 0; i < sizeof value; ++i) to.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void append(Bytes& to, ByteSpan bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

void append(Bytes& to, const std::string& text) {
  to.insert(to.end(), text.begin(), text.end());
}

/// Takes a body apart from its front; false from the first thing on that is not there.
class Fields {
 public:
  explicit Fields(ByteSpan body) : rest_(body) {}

  template <std::unsigned_integral Number>
  bool take(Number& value) {
    if (!good_ || rest_.size() < sizeof value) return good_ = false;
    value = 0;
    for (std::size_t i = sizeof value; i-- > 0;) value = static_cast<Number>(value << 8U | rest_[i]);
    rest_ = rest_.subspan(sizeof value);
    return true;
  }

  bool take(std::int64_t& value) {
    std::uint64_t bits = 0;
    if (!take(bits)) return false;
    value = static_cast<std::int64_t>(bits);
    return true;
  }

  [[nodiscard]] ByteSpan rest() const { return rest_; }

 private:
  ByteSpan rest_;
  bool good_ = true;
};

Bytes record(RecordKind kind, std::size_t body_bytes) {
  Bytes bytes;
  append(bytes, static_cast<std::uint32_t>(kind));
  append(bytes, static_cast<std::uint32_t>(body_bytes));
  return bytes;
}

bool is_picture_side(std::uint32_t pixels) {
  return pixels >= 16 && pixels <= 8192 && pixels % 2 == 0;
}

bool has_colors(const Request& request) {
  return request.primaries < 256 && request.transfer < 256 && request.matrix < 256 && request.full_range <= 1;
}

bool has_b_frames(const Request& request) {
  constexpr std::uint32_t most_b_frames = 8;
  return request.b_frames <= most_b_frames || request.b_frames == Request::own_b_frames;
}

bool has_bit_rate(const Request& request) {
  constexpr std::uint64_t too_large = std::uint64_t{1} << 40U;
  return request.bits_per_second > 0 && request.bits_per_second < too_large;
}

/// The numbers of a request, in the order in which they are sent.
template <typename AnyRequest>
auto numbers(AnyRequest& request) {
  return std::array{&request.width,          &request.height,           &request.bit_depth,
                    &request.rate_numerator, &request.rate_denominator, &request.primaries,
                    &request.transfer,       &request.matrix,           &request.full_range,
                    &request.key_distance,   &request.b_frames};
}

}  // namespace

std::string_view find_mistake(const Request& request) {
  if (!is_picture_side(request.width) || !is_picture_side(request.height))
    return "eyes whose sides are odd or not from 16 to 8192 pixels";
  if (request.bit_depth != 8 && request.bit_depth != 10) return "another bit depth than 8 and 10";
  if (request.rate_numerator == 0 || request.rate_denominator == 0)
    return "a frame rate that is no positive number";
  if (!has_colors(request)) return "colours with numbers above 255";
  if (request.key_distance == 0) return "a distance of 0 from key picture to key picture";
  if (!has_b_frames(request)) return "more than 8 B-frames in a row";
  if (!has_bit_rate(request)) return "a bit rate of 0 or above 1099 Gbit/s";
  if (request.preset.size() > longest_preset) return "a preset with a name of more than 32 letters";
  return {};
}

std::size_t picture_bytes(const Request& request) {
  const std::size_t samples = std::size_t{request.width} * request.height * 3 / 2;
  return request.bit_depth == 8 ? samples : 2 * samples;
}

Bytes write_request(const Request& request) {
  Bytes body;
  for (const std::uint32_t* number : numbers(request)) append(body, *number);
  append(body, request.bits_per_second);
  append(body, request.preset);
  Bytes message(request_mark.begin(), request_mark.end());
  append(message, protocol_version);
  append(message, static_cast<std::uint32_t>(body.size()));
  append(message, ByteSpan(body));
  return message;
}

RequestHead parse_request_head(std::span<const std::uint8_t, RequestHead::size> head) {
  RequestHead parsed{.is_request = std::ranges::equal(head.first<request_mark.size()>(), request_mark)};
  Fields fields(head.subspan<request_mark.size()>());
  fields.take(parsed.version);
  fields.take(parsed.bytes);
  return parsed;
}

std::optional<Request> parse_request(ByteSpan body) {
  Request request;
  Fields fields(body);
  bool complete = true;
  for (std::uint32_t* number : numbers(request)) complete = fields.take(*number);
  complete = complete && fields.take(request.bits_per_second);
  const ByteSpan preset = fields.rest();
  request.preset.assign(preset.begin(), preset.end());
  if (!complete || !find_mistake(request).empty()) return std::nullopt;
  return request;
}

Bytes write_end(std::uint64_t pairs) {
  Bytes message(end_mark.begin(), end_mark.end());
  append(message, pairs);
  return message;
}

std::uint64_t parse_pair_count(std::span<const std::uint8_t, pair_count_size> count) {
  std::uint64_t pairs = 0;
  Fields(count).take(pairs);
  return pairs;
}

RecordHead parse_record_head(std::span<const std::uint8_t, RecordHead::size> head) {
  RecordHead parsed;
  Fields fields(head);
  fields.take(parsed.kind);
  fields.take(parsed.bytes);
  return parsed;
}

Bytes write_opened(ByteSpan parameter_sets) {
  Bytes bytes = record(RecordKind::opened, sizeof protocol_version + parameter_sets.size());
  append(bytes, protocol_version);
  append(bytes, parameter_sets);
  return bytes;
}

Bytes write_unit_head(const Unit& unit, std::size_t right_bytes) {
  Bytes bytes = record(RecordKind::unit, unit_fields_bytes + unit.left_bytes + right_bytes);
  append(bytes, static_cast<std::uint64_t>(unit.pts));
  append(bytes, static_cast<std::uint64_t>(unit.dts));
  append(bytes, unit.key ? key_flag : 0U);
  append(bytes, unit.left_bytes);
  return bytes;
}

Bytes write_done(std::uint64_t units) {
  Bytes bytes = record(RecordKind::done, sizeof units);
  append(bytes, units);
  return bytes;
}

Bytes write_failed(const std::string& message) {
  const std::string text = message.substr(0, longest_message);
  Bytes bytes = record(RecordKind::failed, text.size());
  append(bytes, text);
  return bytes;
}

std::optional<Opened> parse_opened(ByteSpan body) {
  Opened opened;
  Fields fields(body);
  if (!fields.take(opened.version)) return std::nullopt;
  if (opened.version == protocol_version)
    opened.parameter_sets.assign(fields.rest().begin(), fields.rest().end());
  return opened;
}

std::optional<Unit> parse_unit(ByteSpan body) {
  Unit unit;
  std::uint32_t flags = 0;
  Fields fields(body);
  if (!fields.take(unit.pts) || !fields.take(unit.dts) || !fields.take(flags) ||
      !fields.take(unit.left_bytes) || flags > key_flag || unit.left_bytes > fields.rest().size())
    return std::nullopt;
  unit.key = flags == key_flag;
  unit.bytes.assign(fields.rest().begin(), fields.rest().end());
  return unit;
}

std::optional<std::uint64_t> parse_done(ByteSpan body) {
  std::uint64_t units = 0;
  Fields fields(body);
  if (!fields.take(units) || !fields.rest().empty()) return std::nullopt;
  return units;
}

std::string parse_failed(ByteSpan body) {
  const ByteSpan text = body.first(std::min(body.size(), longest_message));
  return {text.begin(), text.end()};
}

}  // namespace veyrin::two_view
