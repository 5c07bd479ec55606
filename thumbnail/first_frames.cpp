#include "thumbnail/first_frames.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "common/error_text.h"
#include "media/recording_input.h"

namespace veyrin {
namespace {

/// Decodes one stream up to its first frame.
class TrackDecoder {
 public:
  /// False with one message in `error`.
  [[nodiscard]] bool open(const AVStream& stream, std::string& error);

  /// Sends a packet, null for the end of the stream, and takes the frame if one is ready.
  void decode(const AVPacket* packet) {
    // A packet that the decoder refuses is damaged; the next one may be whole.
    static_cast<void>(avcodec_send_packet(context_.get(), packet));
    has_frame_ = avcodec_receive_frame(context_.get(), frame_.get()) >= 0;
  }

  [[nodiscard]] bool has_frame() const { return has_frame_; }
  [[nodiscard]] FramePtr take_frame() { return has_frame_ ? std::move(frame_) : nullptr; }
  [[nodiscard]] int stream() const { return stream_; }

 private:
  int stream_ = -1;
  bool has_frame_ = false;
  CodecContextPtr context_;
  FramePtr frame_;
};

bool TrackDecoder::open(const AVStream& stream, std::string& error) {
  stream_ = stream.index;
  const std::string number = std::to_string(stream.index);
  const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
  if (decoder == nullptr) return fail(error, "No decoder found for thumbnail stream " + number);
  context_.reset(avcodec_alloc_context3(decoder));
  frame_.reset(av_frame_alloc());
  if (!context_ || !frame_) {
    return fail_with_library_error(error, "avcodec_open2 failed for stream " + number, AVERROR(ENOMEM));
  }
  int result = avcodec_parameters_to_context(context_.get(), stream.codecpar);
  if (result < 0) {
    return fail_with_library_error(error, "avcodec_parameters_to_context failed for stream " + number,
                                   result);
  }
  // Frame threads would ask for as many packets as there are threads before they give the first frame.
  context_->thread_count = 1;
  result = avcodec_open2(context_.get(), decoder, nullptr);
  return result >= 0 || fail_with_library_error(error, "avcodec_open2 failed for stream " + number, result);
}

bool all_done(const std::vector<TrackDecoder>& decoders) {
  return std::ranges::all_of(decoders, &TrackDecoder::has_frame);
}

/// Hands one packet to its decoder. A stream whose frame is there is read no further.
void deliver(AVFormatContext& input, const AVPacket& packet, std::vector<TrackDecoder>& decoders) {
  const auto decoder = std::ranges::find(decoders, packet.stream_index, &TrackDecoder::stream);
  if (decoder == decoders.end() || decoder->has_frame()) return;
  decoder->decode(&packet);
  if (decoder->has_frame()) input.streams[packet.stream_index]->discard = AVDISCARD_ALL;
}

void read_frames(AVFormatContext& input, AVPacket& packet, std::vector<TrackDecoder>& decoders) {
  while (!all_done(decoders) && av_read_frame(&input, &packet) >= 0) {
    deliver(input, packet, decoders);
    av_packet_unref(&packet);
  }
  for (TrackDecoder& decoder : decoders) {
    if (!decoder.has_frame()) decoder.decode(nullptr);
  }
}

}  // namespace

bool decode_first_frames(AVFormatContext& input, const std::vector<int>& streams,
                         std::vector<FirstFrame>& frames, std::string& error) {
  std::vector<TrackDecoder> decoders(streams.size());
  for (std::size_t index = 0; index < streams.size(); ++index) {
    if (!decoders[index].open(*input.streams[streams[index]], error)) return false;
  }
  const PacketPtr packet(av_packet_alloc());
  if (!packet) return fail(error, "Could not allocate a packet");
  read_only_streams(input, streams);
  read_frames(input, *packet, decoders);

  frames.clear();
  for (TrackDecoder& decoder : decoders) {
    frames.push_back(
        {decoder.stream(), "thumbnail track" + std::to_string(frames.size()), decoder.take_frame()});
  }
  return true;
}

}  // namespace veyrin
