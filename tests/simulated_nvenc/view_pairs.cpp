#include "tests/simulated_nvenc/view_pairs.h"

#include <string>
#include <utility>

#include "tests/simulated_nvenc/refusal.h"

namespace veyrin::simulated_nvenc {

std::optional<std::vector<Submission>> ViewPairs::add(Submission submission) {
  if (submission.view_id != waiting_.size()) {
    throw Refusal(NV_ENC_ERR_INVALID_PARAM, "view " + std::to_string(submission.view_id) +
                                                " came instead of view " + std::to_string(waiting_.size()));
  }
  require(waiting_.empty() || waiting_.front().time_stamp == submission.time_stamp, NV_ENC_ERR_INVALID_PARAM,
          "the views of a pair have different time stamps");
  waiting_.push_back(std::move(submission));
  if (waiting_.size() < static_cast<std::size_t>(views_)) return std::nullopt;
  return std::exchange(waiting_, {});
}

void ViewPairs::finish() {
  const bool incomplete = !waiting_.empty();
  waiting_.clear();
  require(!incomplete, NV_ENC_ERR_INVALID_PARAM, "the stream ends between the views of a pair");
}

}  // namespace veyrin::simulated_nvenc
