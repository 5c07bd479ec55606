// Stands in for the two-view encoder of a driver.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "media/ffmpeg.h"
#include "spatial/nvenc_two_view_encoder.h"
#include "tests/spatial/sequence_header.h"

namespace veyrin::test {

/// The NAL unit, start code included, that the fake encoder codes a view as.
std::string coded_view(int view, std::int64_t pts);

/// A view that the encoder was given.
struct SentView {
  int id = -1;
  std::int64_t pts = 0;
  std::vector<std::uint8_t> luma;  ///< without padding
};

/// Answers as set up and notes what it was asked. Packets are small NAL units that carry the pts and view.
class FakeEncoder {
 public:
  FakeEncoder() : calls_(make_calls()) {}
  FakeEncoder(const FakeEncoder&) = delete;
  FakeEncoder& operator=(const FakeEncoder&) = delete;

  [[nodiscard]] const SpatialEncoderCalls& calls() const { return calls_; }

  // What it answers.
  bool missing = false;
  std::map<std::string, int> option_results;  ///< by name; 0 for others
  int open_result = 0;
  int send_result = 0;
  int receive_error = 0;  ///< instead of the packet with this number
  std::size_t receive_error_at = SIZE_MAX;
  std::size_t delay = 0;  ///< packets that wait until the encoder is drained
  std::size_t lost_packet = SIZE_MAX;
  std::int64_t second_view_pts_shift = 0;
  std::string headers = sequence_header();
  std::function<std::string(int view, std::int64_t pts)> code = coded_view;
  std::function<bool(int view, std::int64_t pts)> is_key = [](int view, std::int64_t /*pts*/) {
    return view == 0;
  };

  // What it was asked.
  std::vector<std::string> asked_names;
  std::vector<std::string> options;  ///< "name=value" in order
  int opened = 0;
  bool was_configured_at_open = false;
  std::vector<SentView> sent;
  int drained = 0;

 private:
  SpatialEncoderCalls make_calls();
  int open(AVCodecContext& context);
  int send(const AVFrame* frame);
  int receive(AVPacket& packet);

  SpatialEncoderCalls calls_;
  std::deque<PacketPtr> packets_;
  std::size_t received_ = 0;
  std::size_t produced_ = 0;
};

}  // namespace veyrin::test
