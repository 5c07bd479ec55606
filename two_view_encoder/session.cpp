// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
#include "two_view_encoder/session.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "common/error_text.h"
#include "spatial/two_view_protocol.h"
#include "two_view_encoder/input_messages.h"
#include "two_view_encoder/picture_pair.h"
#include "two_view_encoder/standard_streams.h"
#include "two_view_encoder/x265_encoder.h"

namespace veyrin::two_view {
namespace {

// Steps fail without a message when the output is closed: nobody would read it.

[[nodiscard]] bool write_unit(const Unit& unit, std::string& error) {
  const std::size_t most = RecordHead::most_bytes / 2;
  if (unit.bytes.size() > most) return fail(error, "x265 gave a picture that is too large");
  return write_standard_output(write_unit_head(unit, unit.bytes.size() - unit.left_bytes)) &&
         write_standard_output(unit.bytes);
}

[[nodiscard]] bool encode_pairs(const Request& request, X265Encoder& encoder, std::string& error) {
  PicturePair pair(request);
  std::optional<Unit> unit;
  while (true) {
    InputMessage message{};
    if (!read_message_kind(message, error)) return false;
    if (message == InputMessage::end) return read_end(encoder.pairs_taken(), error);
    if (!read_pictures(pair.input(), error)) return false;
    pair.unpack();
    if (!encoder.encode(&pair, unit, error)) return false;
    if (unit && !write_unit(*unit, error)) return false;
  }
}

[[nodiscard]] bool drain(X265Encoder& encoder, std::string& error) {
  std::optional<Unit> unit;
  do {
    if (!encoder.encode(nullptr, unit, error)) return false;
    if (unit && !write_unit(*unit, error)) return false;
  } while (unit);
  return encoder.units_given() == encoder.pairs_taken() || fail(error, "x265 kept a picture");
}

[[nodiscard]] bool encode_movie(std::string& error) {
  Request request;
  if (!read_request(request, error)) return false;
  const std::unique_ptr<X265Encoder> encoder = X265Encoder::open(request, error);
  return encoder != nullptr && write_standard_output(write_opened(encoder->parameter_sets())) &&
         encode_pairs(request, *encoder, error) && drain(*encoder, error) &&
         write_standard_output(write_done(encoder->units_given()));
}

[[nodiscard]] bool encode_movie_without_exceptions(std::string& error) {
  try {
    return encode_movie(error);
  } catch (const std::exception& exception) {
    return fail(error, std::string("could not go on: ") + exception.what());
  }
}

}  // namespace

int serve() {
  prepare_standard_streams();
  std::string error;
  if (encode_movie_without_exceptions(error)) return EXIT_SUCCESS;
  if (!error.empty()) static_cast<void>(write_standard_output(write_failed(error)));
  // Without clean-up: x265's threads may still run.
  std::_Exit(EXIT_FAILURE);
}

}  // namespace veyrin::two_view
