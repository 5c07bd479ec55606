#include "decode/hardware_only.h"

#include <array>

#include "common/console.h"
#include "media/recording_input.h"

namespace veyrin {
namespace {

bool works_on_threads(const AVCodec& decoder) {
  constexpr int any_threads =
      AV_CODEC_CAP_FRAME_THREADS | AV_CODEC_CAP_SLICE_THREADS | AV_CODEC_CAP_OTHER_THREADS;
  return (decoder.capabilities & any_threads) != 0;
}

/// A second reader of the same file, so that the first one keeps its place; null when there is none.
InputContextPtr reopened(const AVFormatContext& input) {
  Dictionary no_options;
  int code = 0;
  return input.url != nullptr ? open_demuxer(input.url, no_options, code) : nullptr;
}

/// The stream's first packet; null when it has none.
PacketPtr first_packet(AVFormatContext& input, int stream) {
  PacketPtr packet(av_packet_alloc());
  read_only_streams(input, std::array{stream});
  while (packet && av_read_frame(&input, packet.get()) >= 0) {
    if (packet->stream_index == stream) return packet;
    av_packet_unref(packet.get());
  }
  return nullptr;
}

}  // namespace

bool means_hardware_only(int decoder_error) {
  return decoder_error == AVERROR(ENOSYS);
}

bool needs_hardware_decoder(const AVFormatContext& input, int stream) {
  const AVCodecParameters& parameters = *input.streams[stream]->codecpar;
  const AVCodec* decoder = avcodec_find_decoder(parameters.codec_id);
  if (decoder == nullptr || works_on_threads(*decoder)) return false;
  const CodecContextPtr context(avcodec_alloc_context3(decoder));
  const bool ready = context && avcodec_parameters_to_context(context.get(), &parameters) >= 0 &&
                     avcodec_open2(context.get(), decoder, nullptr) >= 0;
  if (!ready) return false;
  const InputContextPtr reader = reopened(input);
  if (!reader) return false;
  const PacketPtr packet = first_packet(*reader, stream);
  return packet && means_hardware_only(avcodec_send_packet(context.get(), packet.get()));
}

void report_hardware_only(const AVStream& stream) {
  console_line("  video stream %d is %s, which can be decoded by graphics hardware only", stream.index,
               avcodec_get_name(stream.codecpar->codec_id));
}

}  // namespace veyrin
