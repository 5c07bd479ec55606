// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/input_messages.h"

#include <algorithm>
#include <array>

#include "common/error_text.h"
#include "two_view_encoder/standard_streams.h"

namespace veyrin::two_view {
namespace {

[[nodiscard]] bool read_all(std::span<std::uint8_t> into, const char* place, std::string& error) {
  return read_standard_input(into) == into.size() ||
         fail(error, std::string("the input ended in the middle of ") + place);
}

constexpr const char* in_request = "the request";

}  // namespace

bool read_request(Request& request, std::string& error) {
  std::array<std::uint8_t, RequestHead::size> raw_head{};
  if (!read_all(raw_head, in_request, error)) return false;
  const RequestHead head = parse_request_head(raw_head);
  if (!head.is_request) return fail(error, "the input does not begin with a request");
  if (head.version != protocol_version) {
    return fail(error, "protocol version " + std::to_string(head.version) + " is wanted, " +
                           std::to_string(protocol_version) + " is spoken");
  }
  if (head.bytes > RequestHead::most_bytes) return fail(error, "the request is too long");
  Bytes body(head.bytes);
  if (!read_all(body, in_request, error)) return false;
  const auto parsed = parse_request(body);
  if (!parsed) return fail(error, "the request makes no sense");
  request = *parsed;
  return true;
}

bool read_message_kind(InputMessage& kind, std::string& error) {
  std::array<std::uint8_t, mark_size> mark{};
  const std::size_t size = read_standard_input(mark);
  if (size == 0) return fail(error, "the input ended without its last message");
  if (size < mark.size()) return fail(error, "the input ended in the middle of a message");
  if (!std::ranges::equal(mark, pair_mark) && !std::ranges::equal(mark, end_mark))
    return fail(error, "the input is neither a pair nor the end");
  kind = std::ranges::equal(mark, pair_mark) ? InputMessage::pair : InputMessage::end;
  return true;
}

bool read_pictures(std::span<std::uint8_t> samples, std::string& error) {
  return read_all(samples, "a picture", error);
}

bool read_end(std::uint64_t pairs_read, std::string& error) {
  std::array<std::uint8_t, pair_count_size> raw{};
  if (!read_all(raw, "its last message", error)) return false;
  const std::uint64_t pairs_sent = parse_pair_count(raw);
  return pairs_sent == pairs_read ||
         fail(error, "the input had " + std::to_string(pairs_read) + " pairs and says that it had " +
                         std::to_string(pairs_sent));
}

}  // namespace veyrin::two_view
