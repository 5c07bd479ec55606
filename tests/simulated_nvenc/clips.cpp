#include "tests/simulated_nvenc/clips.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libavutil/tdrdi.h>
}

namespace veyrin::test {
namespace {

constexpr int frame_rate = 30;

/// A value between 0 and 1 of a pattern that moves and differs between the views.
double pattern(int plane, int x, int y, int view, std::int64_t moment) {
  const double shift = view == 0 ? 0.0 : 11.0;
  const auto t = static_cast<double>(moment);
  const double wave = std::sin((x + shift + 2 * t) / 7.0) * std::cos((y - shift) / 9.0);
  return plane == 0 ? 0.5 + 0.35 * wave : 0.5 + 0.2 * std::sin((x + y + shift) / 23.0 + plane);
}

bool ten_bit(const AVFrame& frame) {
  return av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[0].depth == 10;
}

int sample(const AVFrame& frame, int component, int x, int y) {
  const auto& layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[component];
  const std::uint8_t* at = frame.data[layout.plane] +
                           static_cast<std::ptrdiff_t>(y) * frame.linesize[layout.plane] +
                           static_cast<std::ptrdiff_t>(x) * layout.step + layout.offset;
  if (layout.depth == 8) return *at;
  std::uint16_t word = 0;
  std::memcpy(&word, at, sizeof word);
  return word >> layout.shift;
}

void set_sample(AVFrame& frame, int component, int x, int y, double value) {
  const auto& layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[component];
  std::uint8_t* at = frame.data[layout.plane] +
                     static_cast<std::ptrdiff_t>(y) * frame.linesize[layout.plane] +
                     static_cast<std::ptrdiff_t>(x) * layout.step + layout.offset;
  const auto code =
      static_cast<unsigned>(std::lround(value * ((1U << static_cast<unsigned>(layout.depth)) - 1)));
  if (layout.depth == 8) {
    *at = static_cast<std::uint8_t>(code);
  } else {
    const auto word = static_cast<std::uint16_t>(code << static_cast<unsigned>(layout.shift));
    std::memcpy(at, &word, sizeof word);
  }
}

CodecContextPtr configured(const EncodeRequest& request) {
  const AVCodec* codec = avcodec_find_encoder_by_name(request.encoder.c_str());
  if (codec == nullptr) throw std::runtime_error("FFmpeg has no " + request.encoder);
  CodecContextPtr context(avcodec_alloc_context3(codec));
  context->width = request.width;
  context->height = request.height;
  context->pix_fmt = request.format;
  if (request.surfaces != nullptr) {
    context->pix_fmt = reinterpret_cast<const AVHWFramesContext*>(request.surfaces->data)->format;
    context->sw_pix_fmt = request.format;
    context->hw_frames_ctx = av_buffer_ref(request.surfaces);
  }
  context->time_base = {1, frame_rate};
  context->framerate = {frame_rate, 1};
  context->gop_size = 2 * frame_rate;
  if (request.global_header) context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  for (const auto& [name, value] : request.options) {
    if (av_opt_set(context.get(), name.c_str(), value.c_str(), AV_OPT_SEARCH_CHILDREN) < 0) {
      throw std::runtime_error("no option " + name);
    }
  }
  return context;
}

/// Takes all packets that are ready; a result other than 0 is an error.
int receive(AVCodecContext& context, EncodeRun& run) {
  for (;;) {
    PacketPtr packet(av_packet_alloc());
    const int result = avcodec_receive_packet(&context, packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
    if (result < 0) return result;
    run.packets.push_back(std::move(packet));
  }
}

FramePtr uploaded(const AVFrame& picture, AVBufferRef& surfaces) {
  FramePtr surface(av_frame_alloc());
  if (av_hwframe_get_buffer(&surfaces, surface.get(), 0) < 0 ||
      av_hwframe_transfer_data(surface.get(), &picture, 0) < 0) {
    throw std::runtime_error("no surface for a picture");
  }
  return surface;
}

void attach_displays(AVFrame& frame) {
  std::size_t size = 0;
  const LibraryMemoryPtr<AV3DReferenceDisplaysInfo> displays(av_tdrdi_alloc(1, &size));
  displays->prec_ref_display_width = 31;
  av_tdrdi_get_display(displays.get(), 0)->right_view_id = 1;
  std::memcpy(av_frame_new_side_data(&frame, AV_FRAME_DATA_3D_REFERENCE_DISPLAYS, size)->data, displays.get(),
              size);
}

FramePtr prepared(const EncodeRequest& request, const Send& send) {
  FramePtr frame = painted(request, send.view, send.moment);
  if (request.surfaces != nullptr) frame = uploaded(*frame, *request.surfaces);
  frame->pts = send.pts;
  if (send.key) frame->pict_type = AV_PICTURE_TYPE_I;
  AVFrameSideData* data = av_frame_new_side_data(frame.get(), AV_FRAME_DATA_VIEW_ID, sizeof(int));
  std::memcpy(data->data, &send.view, sizeof(int));
  if (request.displays) attach_displays(*frame);
  return frame;
}

void take_frames(AVCodecContext& decoder, std::array<std::vector<FramePtr>, 2>& views) {
  for (;;) {
    FramePtr frame(av_frame_alloc());
    const int result = avcodec_receive_frame(&decoder, frame.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    if (result < 0) throw std::runtime_error("the decoder fails");
    int view = 0;
    if (const auto* data = av_frame_get_side_data(frame.get(), AV_FRAME_DATA_VIEW_ID)) {
      std::memcpy(&view, data->data, sizeof view);
    }
    views.at(static_cast<std::size_t>(view)).push_back(std::move(frame));
  }
}

/// Null ends the stream.
void decode_packet(AVCodecContext& decoder, const AVPacket* packet,
                   std::array<std::vector<FramePtr>, 2>& views) {
  if (avcodec_send_packet(&decoder, packet) < 0) throw std::runtime_error("the decoder refuses");
  take_frames(decoder, views);
}

CodecContextPtr opened_decoder(const EncodeRun& run, AVCodecID codec) {
  CodecContextPtr decoder(avcodec_alloc_context3(avcodec_find_decoder(codec)));
  decoder->extradata =
      static_cast<std::uint8_t*>(av_mallocz(run.headers.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  decoder->extradata_size = static_cast<int>(run.headers.size());
  std::memcpy(decoder->extradata, run.headers.data(), run.headers.size());
  decoder->err_recognition = AV_EF_EXPLODE;
  decoder->thread_count = 1;
  if ((codec == AV_CODEC_ID_HEVC && av_opt_set(decoder->priv_data, "view_ids", "-1", 0) < 0) ||
      avcodec_open2(decoder.get(), nullptr, nullptr) < 0) {
    throw std::runtime_error("the decoder does not open");
  }
  return decoder;
}

}  // namespace

std::vector<Send> one_view(int count) {
  std::vector<Send> pictures;
  for (int moment = 0; moment < count; ++moment) pictures.push_back({.moment = moment, .pts = moment});
  return pictures;
}

std::vector<Send> two_views(int count) {
  std::vector<Send> pictures;
  for (int moment = 0; moment < count; ++moment) {
    for (const int view : {0, 1}) pictures.push_back({.view = view, .moment = moment, .pts = moment});
  }
  return pictures;
}

FramePtr painted(const EncodeRequest& request, int view, std::int64_t moment) {
  FramePtr frame(av_frame_alloc());
  frame->format = request.format;
  frame->width = request.width;
  frame->height = request.height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::runtime_error("no memory for a picture");
  for (int component = 0; component < 3; ++component) {
    const int shift = component == 0 ? 0 : 1;
    for (int y = 0; y < request.height >> shift; ++y) {
      for (int x = 0; x < request.width >> shift; ++x) {
        set_sample(*frame, component, x, y, pattern(component, x, y, view, moment));
      }
    }
  }
  return frame;
}

EncodeRun encode(const EncodeRequest& request) {
  EncodeRun run;
  const CodecContextPtr context = configured(request);
  run.open_result = avcodec_open2(context.get(), nullptr, nullptr);
  if (run.open_result < 0) return run;
  run.headers.assign(reinterpret_cast<const char*>(context->extradata),
                     static_cast<std::size_t>(context->extradata_size));
  for (const Send& send : request.pictures) {
    const FramePtr frame = prepared(request, send);
    run.encode_result = avcodec_send_frame(context.get(), frame.get());
    if (run.encode_result == 0) run.encode_result = receive(*context, run);
    if (run.encode_result < 0) return run;
  }
  run.encode_result = avcodec_send_frame(context.get(), nullptr);
  if (run.encode_result == 0) run.encode_result = receive(*context, run);
  return run;
}

std::array<std::vector<FramePtr>, 2> decode_views(const EncodeRun& run) {
  const CodecContextPtr decoder = opened_decoder(run, AV_CODEC_ID_HEVC);
  std::array<std::vector<FramePtr>, 2> views;
  for (std::size_t pair = 0; pair + 1 < run.packets.size(); pair += 2) {
    const AVPacket& first = *run.packets[pair];
    const AVPacket& second = *run.packets[pair + 1];
    const PacketPtr sample(av_packet_alloc());
    if (av_new_packet(sample.get(), first.size + second.size) < 0) throw std::runtime_error("no memory");
    av_packet_copy_props(sample.get(), &first);
    std::memcpy(sample->data, first.data, static_cast<std::size_t>(first.size));
    std::memcpy(sample->data + first.size, second.data, static_cast<std::size_t>(second.size));
    decode_packet(*decoder, sample.get(), views);
  }
  decode_packet(*decoder, nullptr, views);
  return views;
}

std::vector<FramePtr> decode_one_view(const EncodeRun& run, AVCodecID codec) {
  const CodecContextPtr decoder = opened_decoder(run, codec);
  std::array<std::vector<FramePtr>, 2> views;
  for (const PacketPtr& packet : run.packets) decode_packet(*decoder, packet.get(), views);
  decode_packet(*decoder, nullptr, views);
  return std::move(views[0]);
}

double luma_psnr(const EncodeRequest& sent, int view, const std::vector<FramePtr>& decoded) {
  double squares = 0;
  double samples = 0;
  double peak = 255;
  for (std::size_t index = 0; index < decoded.size(); ++index) {
    const FramePtr original = painted(sent, view, static_cast<std::int64_t>(index));
    const AVFrame& other = *decoded[index];
    // An 8-bit picture encoded in 10 bits stays what it was but for its scale.
    const int scale = ten_bit(other) && !ten_bit(*original) ? 4 : 1;
    if (ten_bit(other)) peak = 1023;
    for (int y = 0; y < sent.height; ++y) {
      for (int x = 0; x < sent.width; ++x) {
        const double difference = scale * sample(*original, 0, x, y) - sample(other, 0, x, y);
        squares += difference * difference;
        ++samples;
      }
    }
  }
  if (samples == 0) return -std::numeric_limits<double>::infinity();
  return 10 * std::log10(peak * peak * samples / std::max(squares, 1.0));
}

std::string elementary_stream(const EncodeRun& run) {
  std::string stream = run.headers;
  for (const PacketPtr& packet : run.packets) {
    stream.append(reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size));
  }
  return stream;
}

}  // namespace veyrin::test
