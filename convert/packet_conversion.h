// The part of a conversion that runs through the recording: its packets become frames and sound of the movie.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "convert/conversion_plan.h"
#include "convert/frame_timing.h"
#include "convert/missing_eye.h"
#include "convert/movie_sink.h"
#include "convert/progress_lines.h"
#include "decode/stereo_decoder.h"
#include "processing/yuv_processor.h"

namespace veyrin {

/// Borrows everything it is made of for as long as it lives.
class PacketConversion {
 public:
  /// `processors` are one for each canvas of the movie.
  PacketConversion(const ConversionPlan& plan, const ConversionInput& input, StereoDecoder& decoder,
                   const std::vector<std::unique_ptr<YuvProcessor>>& processors, MovieSink& movie,
                   ProgressLines& progress, std::string& error);

  /// Converts all that is wanted of the recording; the movie is not finished thereby. False with one message
  /// on failure, also when no frame was written.
  [[nodiscard]] bool run();

  /// Frames written to the movie.
  [[nodiscard]] std::int64_t frames_written() const { return pacer_.frames_written(); }

 private:
  bool convert_packets();
  bool handle_packet(AVPacket& packet);
  bool copy_audio(AVPacket& packet);
  [[nodiscard]] bool eye_is_missing() const;
  bool convert_last_pairs();
  bool convert_ready_pairs();
  bool convert_pair(const DecodedFrame& left, const DecodedFrame& right);
  bool write_pair(const DecodedFrame& left, const DecodedFrame& right, double pair_time);

  const ConversionPlan& plan_;
  const ConversionInput& input_;
  StereoDecoder& decoder_;
  const std::vector<std::unique_ptr<YuvProcessor>>& processors_;
  MovieSink& movie_;
  ProgressLines& progress_;
  std::string& error_;
  FramePacer pacer_;
  TrackEnd left_end_;
  TrackEnd right_end_;
  bool video_done_ = false;
  bool audio_done_;
};

}  // namespace veyrin
