#include "join/cut_answer.h"

#include <nlohmann/json.hpp>

#include "common/console.h"
#include "convert/frame_timing.h"
#include "join/recording_pairs.h"

namespace veyrin {
namespace {

constexpr double seconds_in_minute = 60.0;

constexpr const char* index_in_doubt =
    "the recording's index leaves in doubt which pictures and sound follow a seek";

nlohmann::ordered_json piece_value(const CutPiece& piece, bool counted) {
  nlohmann::ordered_json value{{"start", piece.range.start}};
  if (piece.range.duration) value["duration"] = *piece.range.duration;
  if (counted) value["frames"] = piece.frames;
  if (counted && piece.other_frames != piece.frames) value["packaged_frames"] = piece.other_frames;
  return value;
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
  nlohmann::ordered_json value{
      {"rate", std::to_string(answer.rate.num) + "/" + std::to_string(answer.rate.den)}};
  if (answer.pairs) value["pairs"] = *answer.pairs;
  value["pieces"] = nlohmann::ordered_json::array();
  for (const CutPiece& piece : answer.pieces)
    value["pieces"].push_back(piece_value(piece, answer.pairs.has_value()));
  if (!answer.reason.empty()) value["reason"] = answer.reason;
  return value.dump();
}

}  // namespace veyrin
