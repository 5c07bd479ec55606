#include "convert/seek_point.h"

#include <algorithm>
#include <limits>

namespace veyrin {
namespace {

// Where so many key pictures in a row are no clean ones, there will be none.
constexpr int most_tries = 64;

double seconds(std::int64_t ticks, AVRational time_base) {
  return static_cast<double>(ticks) * av_q2d(time_base);
}

/// True when the pictures are shown at the distances they are decoded in, only in another order, give or take
/// less than a frame. A time that does not fit in is damage, and puts its picture between others than those
/// that the decoder puts it between.
bool keeps_distances(const EyePictures& eye, const std::vector<std::int64_t>& times) {
  std::int64_t shortest_delay = std::numeric_limits<std::int64_t>::max();
  std::int64_t longest_delay = std::numeric_limits<std::int64_t>::min();
  std::int64_t shortest_frame = std::numeric_limits<std::int64_t>::max();
  for (std::size_t number = 0; number < times.size(); ++number) {
    const std::int64_t delay = times[number] - eye.pictures[number].dts;
    shortest_delay = std::min(shortest_delay, delay);
    longest_delay = std::max(longest_delay, delay);
    if (number > 0) shortest_frame = std::min(shortest_frame, times[number] - times[number - 1]);
  }
  return longest_delay - shortest_delay < shortest_frame;
}

/// Key pictures that no earlier picture is shown behind and whose frame's number is at most `number`, by
/// their positions, in order.
std::vector<std::size_t> starts_up_to(std::size_t number, const EyePictures& eye,
                                      const std::vector<std::int64_t>& times) {
  std::vector<std::size_t> starts;
  std::int64_t latest = std::numeric_limits<std::int64_t>::min();
  for (std::size_t position = 0; position < eye.pictures.size(); ++position) {
    const IndexedPicture& picture = eye.pictures[position];
    const bool last_so_far = picture.pts > latest;
    latest = std::max(latest, picture.pts);
    if (!picture.key || !last_so_far) continue;
    if (number < times.size() && picture.pts > times[number]) break;
    starts.push_back(position);
  }
  return starts;
}

EyeStart choose_start(std::size_t number, const EyePictures& eye, const std::vector<std::int64_t>& times,
                      const std::function<bool(std::size_t)>& is_clean) {
  const std::int64_t first_pts =
      number < times.size() ? times[number] : std::numeric_limits<std::int64_t>::max();
  const std::vector<std::size_t> starts = starts_up_to(number, eye, times);
  int tries = 0;
  for (std::size_t candidate = starts.size(); candidate > 0 && tries < most_tries; --candidate, ++tries) {
    const std::size_t key = starts[candidate - 1];
    if (key == 0 || is_clean(key)) return {key, eye.pictures[key].dts, first_pts};
  }
  return {0, eye.pictures.front().dts, first_pts};
}

}  // namespace

std::optional<std::vector<std::int64_t>> shown_times(const EyePictures& eye) {
  std::vector<std::int64_t> times;
  times.reserve(eye.pictures.size());
  for (const IndexedPicture& picture : eye.pictures) times.push_back(picture.pts);
  std::ranges::sort(times);
  if (times.empty() || std::ranges::adjacent_find(times) != times.end() || !keeps_distances(eye, times))
    return std::nullopt;
  const IndexedPicture& first = eye.pictures.front();
  if (!first.key || first.pts != times.front()) return std::nullopt;
  return times;
}

std::optional<SeekPoint> choose_seek_point(const EyePictures& left, const EyePictures& right,
                                           const SeekQuestions& questions) {
  const auto left_times = shown_times(left);
  const auto right_times = shown_times(right);
  if (!left_times || !right_times) return std::nullopt;
  std::size_t kept = 0;  // the number of the first pair that may be kept lies from here
  std::size_t end = std::min(left_times->size(), right_times->size());  // up to here
  while (kept < end) {
    const std::size_t middle = kept + (end - kept) / 2;
    const double time = std::max(seconds((*left_times)[middle], left.time_base),
                                 seconds((*right_times)[middle], right.time_base));
    if (questions.is_dropped(time)) {
      kept = middle + 1;
    } else {
      end = middle;
    }
  }
  const SeekPoint point{choose_start(kept, left, *left_times, questions.left_is_clean),
                        choose_start(kept, right, *right_times, questions.right_is_clean)};
  if (point.left.key == 0 && point.right.key == 0) return std::nullopt;
  return point;
}

}  // namespace veyrin
