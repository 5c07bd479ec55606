#include "tests/spatial/fake_encoder.h"

#include <cstring>

namespace veyrin::test {
namespace {

using namespace std::string_literals;

constexpr char start_code[] = "\0\0\0\1";

std::vector<std::uint8_t> luma_of(const AVFrame& frame) {
  std::vector<std::uint8_t> luma;
  const int row_bytes = frame.width * (frame.format == AV_PIX_FMT_P010LE ? 2 : 1);
  for (int row = 0; row < frame.height; ++row) {
    const std::uint8_t* begin = frame.data[0] + static_cast<std::ptrdiff_t>(row) * frame.linesize[0];
    luma.insert(luma.end(), begin, begin + row_bytes);
  }
  return luma;
}

int view_of(const AVFrame& frame) {
  const AVFrameSideData* entry = av_frame_get_side_data(&frame, AV_FRAME_DATA_VIEW_ID);
  int view = -1;
  if (entry != nullptr && entry->size == sizeof view) std::memcpy(&view, entry->data, sizeof view);
  return view;
}

// What the library does when it opens an encoder: the record of the stream becomes one of its packets.
int pass_stereo_record(AVCodecContext& context) {
  const AVFrameSideData* record =
      av_frame_side_data_get(context.decoded_side_data, context.nb_decoded_side_data, AV_FRAME_DATA_STEREO3D);
  if (record == nullptr) return 0;
  AVPacketSideData* passed = av_packet_side_data_new(&context.coded_side_data, &context.nb_coded_side_data,
                                                     AV_PKT_DATA_STEREO3D, record->size, 0);
  if (passed == nullptr) return AVERROR(ENOMEM);
  std::memcpy(passed->data, record->data, record->size);
  return 0;
}

}  // namespace

std::string coded_view(int view, std::int64_t pts) {
  // IDR_W_RADL, the view's layer, temporal ID plus one 1; then no byte that could be part of a start code.
  std::string unit(start_code, 4);
  unit += static_cast<char>(19 << 1);
  unit += static_cast<char>(view << 3 | 1);
  unit += "view " + std::to_string(view) + " at " + std::to_string(pts);
  return unit;
}

SpatialEncoderCalls FakeEncoder::make_calls() {
  return {
      .find =
          [this](const char* name) {
            asked_names.emplace_back(name);
            return missing ? nullptr : avcodec_find_encoder_by_name(name);
          },
      .set_option =
          [this](AVCodecContext* /*context*/, const char* option, const char* value) {
            options.push_back(option + "="s + value);
            const auto found = option_results.find(option);
            return found == option_results.end() ? 0 : found->second;
          },
      .open = [this](AVCodecContext* context) { return open(*context); },
      .send = [this](AVCodecContext* /*context*/, const AVFrame* frame) { return send(frame); },
      .receive = [this](AVCodecContext* /*context*/, AVPacket* packet) { return receive(*packet); },
  };
}

int FakeEncoder::open(AVCodecContext& context) {
  ++opened;
  was_configured_at_open = context.width > 0 && context.nb_decoded_side_data > 0;
  if (open_result < 0) return open_result;
  context.extradata = static_cast<std::uint8_t*>(av_mallocz(headers.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (context.extradata == nullptr) return AVERROR(ENOMEM);
  std::memcpy(context.extradata, headers.data(), headers.size());
  context.extradata_size = static_cast<int>(headers.size());
  return pass_stereo_record(context);
}

int FakeEncoder::send(const AVFrame* frame) {
  if (send_result < 0) return send_result;
  if (frame == nullptr) {
    ++drained;
    return 0;
  }
  const int view = view_of(*frame);
  sent.push_back({view, frame->pts, luma_of(*frame)});
  if (produced_++ == lost_packet) return 0;
  const std::string unit = code(view, frame->pts);
  PacketPtr packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(unit.size())) < 0) return AVERROR(ENOMEM);
  std::memcpy(packet->data, unit.data(), unit.size());
  packet->pts = packet->dts = frame->pts;
  if (view == 1) packet->pts += second_view_pts_shift;
  if (is_key(view, frame->pts)) packet->flags |= AV_PKT_FLAG_KEY;
  packets_.push_back(std::move(packet));
  return 0;
}

int FakeEncoder::receive(AVPacket& packet) {
  if (received_ == receive_error_at) return receive_error;
  if (packets_.empty()) return drained > 0 ? AVERROR_EOF : AVERROR(EAGAIN);
  if (drained == 0 && packets_.size() <= delay) return AVERROR(EAGAIN);
  av_packet_move_ref(&packet, packets_.front().get());
  packets_.pop_front();
  ++received_;
  return 0;
}

}  // namespace veyrin::test
