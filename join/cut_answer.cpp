#include "join/cut_answer.h"

#include <array>
#include <charconv>
#include <cmath>

#include "app/check_support_mode.h"
#include "common/console.h"
#include "convert/frame_timing.h"
#include "join/recording_pairs.h"

namespace veyrin {
namespace {

constexpr double seconds_in_minute = 60.0;

constexpr const char* index_in_doubt =
    "the recording's index does not tell for certain what reading from its middle on would give";

/// The shortest text that is read as the same number.
std::string number_text(double number) {
  std::array<char, 32> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
  return {text.data(), result.ptr};
}

std::string piece_text(const CutPiece& piece, bool counted) {
  std::string text = "{\"start\":" + number_text(piece.range.start);
  if (piece.range.duration) text += ",\"duration\":" + number_text(*piece.range.duration);
  if (counted) text += ",\"frames\":" + std::to_string(piece.frames);
  if (counted && piece.other_frames != piece.frames)
    text += ",\"packaged_frames\":" + std::to_string(piece.other_frames);
  return text + "}";
}

CutAnswer uncut(FrameRate rate, const TimeRange& range) {
  return {.rate = rate, .pieces = {CutPiece{range}}, .reason = index_in_doubt};
}

}  // namespace

std::optional<CutAnswer> cut_recording(const CutQuestion& question, std::string& error) {
  // What is noticed about the recording stands in its conversion's report.
  const ConsoleSilence silence;
  const auto recording = open_joined_recording(question.recording, error);
  if (!recording) return std::nullopt;
  const FrameRate input_rate = recording->facts.rate;
  if (!question.output_fps && !is_plausible(input_rate)) {
    error = implausible_rate_text(input_rate);
    return std::nullopt;
  }
  const FrameRate rate = choose_output_rate(question.output_fps, input_rate);
  const auto pairs = read_pair_times(recording->input);
  if (!pairs) return uncut(rate, question.range);
  const CutRequest request{.range = question.range,
                           .output_rate = rate,
                           .input_rate = input_rate,
                           .piece_seconds = question.piece_minutes * seconds_in_minute,
                           .other_origin_seconds = other_origin(recording->facts)};
  CutAnswer answer{.rate = rate, .pairs = pairs->size(), .pieces = choose_pieces(*pairs, request)};
  const auto frames = static_cast<double>(answer.pieces.front().frames);
  if (answer.pieces.size() == 1) {
    const bool short_one = frames * frame_seconds(rate) < 1.5 * request.piece_seconds;
    answer.reason = short_one ? "the recording is too short for pieces of this length"
                              : "the recording has no place where its pictures follow each other evenly";
  }
  return answer;
}

std::string cut_answer_text(const CutAnswer& answer) {
  std::string text =
      R"({"rate":")" + std::to_string(answer.rate.num) + "/" + std::to_string(answer.rate.den) + "\"";
  if (answer.pairs) text += ",\"pairs\":" + std::to_string(*answer.pairs);
  text += ",\"pieces\":[";
  for (const CutPiece& piece : answer.pieces) {
    if (&piece != &answer.pieces.front()) text += ",";
    text += piece_text(piece, answer.pairs.has_value());
  }
  text += "]";
  if (!answer.reason.empty()) text += R"(,"reason":")" + escape_json(answer.reason) + "\"";
  return text + "}";
}

}  // namespace veyrin
