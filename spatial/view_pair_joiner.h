// Joins the encoder's packets, one per view, to samples that hold both views of one instant.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "media/ffmpeg.h"

namespace veyrin {

/// Packets come in pairs, that of the base view first, of equal pts; nothing else is looked at. Views may
/// arrive in calls of their own.
class ViewPairJoiner {
 public:
  /// Null when there is no memory for it.
  static std::unique_ptr<ViewPairJoiner> create();

  /// Takes the contents of `view`, which is left empty. The second view of a pair is appended to the first:
  /// `complete_unit` has the result. False with one message in `error` when the two do not belong together.
  [[nodiscard]] bool add(AVPacket& view, std::string& error);

  /// The joined pair, with the first view's times, to be consumed before the next view is added; null while a
  /// view is missing.
  [[nodiscard]] AVPacket* complete_unit() const { return complete_ ? unit_.get() : nullptr; }

  /// True while a first view waits for its second one.
  [[nodiscard]] bool waiting() const { return unit_->buf != nullptr && !complete_; }

 private:
  explicit ViewPairJoiner(PacketPtr unit) : unit_(std::move(unit)) {}
  [[nodiscard]] bool append(const AVPacket& view, std::string& error);

  PacketPtr unit_;  // no buffer: empty
  bool complete_ = false;
};

}  // namespace veyrin
