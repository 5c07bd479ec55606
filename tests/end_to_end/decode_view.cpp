// Decodes one view of a two-view movie: planar raw frames go to a file, the time and format of each frame to
// standard error. For machines whose own players decode a single view only.
//   decode_view MOVIE VIEW OUTPUT      a MOVIE named *.hevc is a stream with start codes
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace veyrin::test {
namespace {

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "decode_view: %s\n", what);
  std::exit(1);
}

InputContextPtr open_movie(const char* path) {
  AVFormatContext* opened = nullptr;
  // A stream may be too short to be recognised.
  const AVInputFormat* format =
      std::string_view(path).ends_with(".hevc") ? av_find_input_format("hevc") : nullptr;
  if (avformat_open_input(&opened, path, format, nullptr) < 0) give_up("could not open the movie");
  InputContextPtr input(opened);
  if (avformat_find_stream_info(input.get(), nullptr) < 0) give_up("could not read the streams");
  return input;
}

CodecContextPtr open_decoder(const AVStream& stream) {
  const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
  CodecContextPtr decoder(avcodec_alloc_context3(codec));
  if (avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0)
    give_up("could not set the decoder up");
  // Ask for all views, so that a missing one is noticed.
  if (av_opt_set(decoder->priv_data, "view_ids", "-1", 0) < 0) give_up("the decoder knows no views");
  if (avcodec_open2(decoder.get(), codec, nullptr) < 0) give_up("could not open the decoder");
  return decoder;
}

int view_of(const AVFrame& frame) {
  const AVFrameSideData* entry = av_frame_get_side_data(&frame, AV_FRAME_DATA_VIEW_ID);
  int view = -1;
  if (entry != nullptr) std::memcpy(&view, entry->data, sizeof view);
  return view;
}

void write_frame(const AVFrame& frame, const AVRational& time_base, std::FILE* output) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(format);
  const int sample_bytes = layout->comp[0].depth > 8 ? 2 : 1;
  for (int plane = 0; plane < 3; ++plane) {
    const int columns = plane == 0 ? frame.width : AV_CEIL_RSHIFT(frame.width, layout->log2_chroma_w);
    const int rows = plane == 0 ? frame.height : AV_CEIL_RSHIFT(frame.height, layout->log2_chroma_h);
    for (int row = 0; row < rows; ++row) {
      const std::uint8_t* begin =
          frame.data[plane] + static_cast<std::ptrdiff_t>(row) * frame.linesize[plane];
      const auto size = static_cast<std::size_t>(columns) * sample_bytes;
      if (std::fwrite(begin, 1, size, output) != size) give_up("could not write");
    }
  }
  std::fprintf(stderr, "%.6f %d %d %s\n",
               static_cast<double>(frame.best_effort_timestamp) * av_q2d(time_base), frame.width,
               frame.height, av_get_pix_fmt_name(format));
}

void decode(AVFormatContext& input, const AVStream& stream, int view, std::FILE* output) {
  const CodecContextPtr decoder = open_decoder(stream);
  const PacketPtr packet(av_packet_alloc());
  const FramePtr frame(av_frame_alloc());
  for (bool more = true; more;) {
    more = av_read_frame(&input, packet.get()) >= 0;
    if (more && packet->stream_index != stream.index) {
      av_packet_unref(packet.get());
      continue;
    }
    if (avcodec_send_packet(decoder.get(), more ? packet.get() : nullptr) < 0)
      give_up("could not decode a packet");
    av_packet_unref(packet.get());
    int result = 0;
    while ((result = avcodec_receive_frame(decoder.get(), frame.get())) >= 0) {
      if ((frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0)
        give_up("a damaged frame");
      if (view_of(*frame) == view) write_frame(*frame, stream.time_base, output);
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) give_up("could not decode a frame");
  }
}

}  // namespace
}  // namespace veyrin::test

int main(int argument_count, char** arguments) {
  using namespace veyrin;
  using namespace veyrin::test;
  if (argument_count != 4) give_up("usage: decode_view MOVIE VIEW OUTPUT");
  av_log_set_level(AV_LOG_ERROR);
  const InputContextPtr input = open_movie(arguments[1]);
  const int index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) give_up("no video");
  std::FILE* output = std::fopen(arguments[3], "wb");
  if (output == nullptr) give_up("could not create the output");
  decode(*input, *input->streams[index], std::atoi(arguments[2]), output);
  if (std::fclose(output) != 0) give_up("could not write");
  return 0;
}
