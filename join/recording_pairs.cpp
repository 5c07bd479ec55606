#include "join/recording_pairs.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "convert/trim_seek.h"
#include "metadata/recording_metadata.h"

namespace veyrin {
namespace {

/// The times at which an eye's frames are shown, in seconds; nothing when the order is in doubt.
std::optional<std::vector<double>> shown_seconds(const EyePictures& eye) {
  const auto times = shown_times(eye);
  if (!times) return std::nullopt;
  std::vector<double> seconds;
  seconds.reserve(times->size());
  for (const std::int64_t ticks : *times)
    seconds.push_back(static_cast<double>(ticks) * av_q2d(eye.time_base));
  return seconds;
}

}  // namespace

std::optional<OpenedRecording> open_joined_recording(const std::filesystem::path& recording,
                                                     std::string& error) {
  RecordingMetadata metadata;
  if (!read_recording_metadata(recording, metadata, error)) return std::nullopt;
  ConversionJob job;
  job.input = recording;
  auto input = open_conversion_input(job, metadata, error);
  if (!input) return std::nullopt;
  const BitDepth depth = stream_bit_depth(*input->context->streams[input->left_stream]->codecpar);
  const InputFacts facts = input_facts(*input, depth);
  return OpenedRecording{std::move(*input), facts};
}

std::optional<std::vector<PairTime>> read_pair_times(const ConversionInput& input) {
  const auto eyes = read_indexed_eyes(input);
  const auto left = eyes ? shown_seconds(eyes->left) : std::nullopt;
  const auto right = left ? shown_seconds(eyes->right) : std::nullopt;
  if (!right) return std::nullopt;
  std::vector<PairTime> pairs(std::min(left->size(), right->size()));
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const double left_seconds = (*left)[i];
    const double right_seconds = (*right)[i];
    pairs[i] = {std::max(left_seconds, right_seconds), right_seconds - left_seconds};
  }
  return pairs;
}

std::optional<double> other_origin(const InputFacts& facts) {
  if (!facts.has_audio || facts.container_start_seconds == 0.0) return std::nullopt;
  return facts.container_start_seconds;
}

}  // namespace veyrin
