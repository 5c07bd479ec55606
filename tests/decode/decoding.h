// Runs decoders over packets the way a conversion does.
#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "decode/eye_decoder.h"
#include "decode/stereo_decoder.h"

namespace veyrin::test {

/// A decoder for the stream on the machine of `calls`; throws its message when there is none.
inline std::unique_ptr<EyeDecoder> open_eye(AVStream& stream,
                                            DecoderPreference preference = DecoderPreference::software,
                                            const DecoderCalls& calls = ffmpeg_decoder_calls()) {
  std::string error;
  auto eye = EyeDecoder::create(stream, preference, /*shared_device=*/nullptr, error, calls);
  if (!eye) throw std::runtime_error(error);
  return eye;
}

/// The same for both eyes.
inline std::unique_ptr<StereoDecoder> open_eyes(AVFormatContext& input, int left, int right,
                                                DecoderPreference preference = DecoderPreference::software,
                                                const DecoderCalls& calls = ffmpeg_decoder_calls()) {
  std::string error;
  auto eyes = StereoDecoder::create(input, left, right, preference, error, calls);
  if (!eyes) throw std::runtime_error(error);
  return eyes;
}

struct EyeRun {
  bool succeeded = true;
  std::string error;
  std::vector<double> times;
  std::vector<int> formats;
  std::size_t most_queued_frames = 0;

  void take_all(EyeDecoder& eye) {
    most_queued_frames = std::max(most_queued_frames, eye.queued_frames());
    while (eye.has_frame()) {
      const DecodedFrame frame = eye.take_frame();
      times.push_back(frame.time_seconds);
      formats.push_back(frame.frame->format);
    }
  }
};

/// Gives the packets of the eye's stream to the decoder one by one and takes every frame, to the end.
/// Stops at the first error, and, as a guard against a decoder that never ends, after a number of rounds
/// without progress.
inline EyeRun run_eye(EyeDecoder& eye, const std::vector<PacketPtr>& packets) {
  EyeRun run;
  for (const PacketPtr& packet : packets) {
    if (packet->stream_index != eye.stream().index) continue;
    eye.queue_packet(PacketPtr(av_packet_clone(packet.get())));
    run.succeeded = eye.pump(run.error);
    if (!run.succeeded) return run;
    run.take_all(eye);
  }
  eye.finish();
  for (std::size_t round = 0; !eye.ended() && round < packets.size() + 100; ++round) {
    run.succeeded = eye.pump(run.error);
    if (!run.succeeded) return run;
    run.take_all(eye);
  }
  return run;
}

struct PairRun {
  bool succeeded = true;
  std::string error;
  std::vector<double> left_times;
  std::vector<double> right_times;
  std::size_t most_queued_frames = 0;
  std::size_t most_queued_packets = 0;
};

/// Does the same for both eyes, taking frames in pairs only, as a conversion does.
inline PairRun run_pairs(StereoDecoder& decoder, const std::vector<const AVPacket*>& packets) {
  PairRun run;
  const auto take_pairs = [&] {
    while (run.succeeded) {
      for (const EyeDecoder* eye : {&decoder.left(), &decoder.right()}) {
        run.most_queued_frames = std::max(run.most_queued_frames, eye->queued_frames());
        run.most_queued_packets = std::max(run.most_queued_packets, eye->queued_packets());
      }
      if (!decoder.has_pair()) return;
      run.left_times.push_back(decoder.left().take_frame().time_seconds);
      run.right_times.push_back(decoder.right().take_frame().time_seconds);
      run.succeeded = decoder.pump(run.error);
    }
  };
  for (const AVPacket* packet : packets) {
    run.succeeded = decoder.queue_packet(*packet, run.error);
    take_pairs();
    if (!run.succeeded) return run;
  }
  run.succeeded = decoder.finish(run.error);
  take_pairs();
  return run;
}

}  // namespace veyrin::test
