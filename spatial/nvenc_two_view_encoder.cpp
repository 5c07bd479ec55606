#include "spatial/nvenc_two_view_encoder.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "common/console.h"
#include "common/error_text.h"
#include "decode/nvenc_probe.h"
#include "media/ffmpeg.h"
#include "media/movie_file.h"
#include "media/video_types.h"
#include "spatial/spatial_metadata.h"
#include "spatial/two_view_units.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace veyrin {
namespace {

constexpr const char* open_failure =
    "could not start NVENC MV-HEVC; this requires Video Codec SDK 13 and compatible NVIDIA hardware/drivers";
constexpr const char* ten_bit_open_failure =
    "could not start 10-bit NVENC MV-HEVC; this requires the FFmpeg Main10 MV-HEVC patch, Video Codec SDK "
    "13, and compatible NVIDIA hardware/drivers";

void configure(const SpatialWriterConfig& config, AVCodecContext& context) {
  context.width = config.eye.width;
  context.height = config.eye.height;
  context.pix_fmt = semi_planar_format(config.depth);
  context.framerate = config.frame_rate;
  context.time_base = av_inv_q(config.frame_rate);
  set_nvenc_groups(config.frame_rate, context);
  context.bit_rate = config.bit_rate;
  context.color_primaries = config.colors.primaries;
  context.color_trc = config.colors.transfer;
  context.colorspace = config.colors.matrix;
  context.color_range = config.colors.range;
  context.chroma_sample_location = AVCHROMA_LOC_LEFT;
  context.field_order = AV_FIELD_PROGRESSIVE;
  context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
}

[[nodiscard]] bool set_private_options(const SpatialEncoderCalls& calls, AVCodecContext& context,
                                       std::string& error) {
  int result = calls.set_option(&context, "profile", "mv");
  if (result < 0) {
    return fail_with_library_error(error, "FFmpeg hevc_nvenc does not expose MV-HEVC support", result);
  }
  calls.set_option(&context, "preset", "p4");
  calls.set_option(&context, "tune", "hq");
  result = calls.set_option(&context, "tier", "main");
  if (result < 0) return fail_with_library_error(error, "could not force Main-tier NVENC MV-HEVC", result);
  return true;
}

// A player finds the sets of both views in the movie's sample entry, which is made of the sequence header.
// What a driver writes into its pictures only would be of no use there.
[[nodiscard]] bool check_sequence_header(const AVCodecContext& context, std::string& error) {
  TwoViewParameterSets sets;
  if (context.extradata != nullptr)
    sets.note_stream({context.extradata, static_cast<std::size_t>(context.extradata_size)});
  return sets.missing().empty() ||
         fail(error, "NVENC produced an MV-HEVC sequence header without " + std::string(sets.missing()));
}

[[nodiscard]] bool open_context(const SpatialWriterConfig& config, const SpatialEncoderCalls& calls,
                                CodecContextPtr& context, std::string& error) {
  const AVCodec* codec = calls.find("hevc_nvenc");
  if (codec == nullptr) {
    return fail(
        error, "this FFmpeg build does not include the hevc_nvenc encoder needed for Windows MV-HEVC output");
  }
  context.reset(avcodec_alloc_context3(codec));
  if (!context) return fail(error, "could not allocate the NVENC MV-HEVC encoder");
  configure(config, *context);
  if (!attach_encoder_metadata(config, *context, error) || !set_private_options(calls, *context, error))
    return false;
  const int result = calls.open(context.get());
  if (result < 0) {
    const bool ten_bit = config.depth == BitDepth::ten;
    return fail_with_library_error(error, ten_bit ? ten_bit_open_failure : open_failure, result);
  }
  return check_sequence_header(*context, error) && append_reference_displays_sei(*context, error);
}

[[nodiscard]] bool attach_view_id(AVFrame& frame, int view, std::string& error) {
  AVFrameSideData* record = av_frame_new_side_data(&frame, AV_FRAME_DATA_VIEW_ID, sizeof view);
  if (record == nullptr) return fail(error, "could not attach MV-HEVC view ID");
  std::memcpy(record->data, &view, sizeof view);
  return true;
}

std::string times(const AVPacket& packet) {
  return std::to_string(packet.pts) + "/" + std::to_string(packet.dts);
}

}  // namespace

const SpatialEncoderCalls& ffmpeg_spatial_encoder_calls() {
  static const SpatialEncoderCalls calls{
      .find = avcodec_find_encoder_by_name,
      .set_option = [](AVCodecContext* context, const char* option,
                       const char* value) { return av_opt_set(context->priv_data, option, value, 0); },
      .open = [](AVCodecContext* context) { return avcodec_open2(context, nullptr, nullptr); },
      .send = avcodec_send_frame,
      .receive = avcodec_receive_packet,
  };
  return calls;
}

const char* two_view_depth_notice(BitDepth depth, bool changed) {
  if (changed || depth != BitDepth::ten) return nullptr;
  return "  two_view_10_bit: these FFmpeg libraries lack the change for two views in 10 bits; NVENC may "
         "refuse them";
}

CodecContextPtr open_spatial_encoder(const SpatialWriterConfig& config, const SpatialEncoderCalls& calls,
                                     std::string& error) {
  CodecContextPtr context;
  if (!open_context(config, calls, context, error)) return nullptr;
  return context;
}

std::unique_ptr<NvencTwoViewEncoder> NvencTwoViewEncoder::create(const SpatialWriterConfig& config,
                                                                 std::string& error,
                                                                 const SpatialEncoderCalls& calls) {
  std::unique_ptr<NvencTwoViewEncoder> encoder(new NvencTwoViewEncoder(calls));
  if (!encoder->open(config, error)) return nullptr;
  return encoder;
}

bool NvencTwoViewEncoder::open(const SpatialWriterConfig& config, std::string& error) {
  received_.reset(av_packet_alloc());
  joiner_ = ViewPairJoiner::create();
  // The one failure of this program that has no message.
  if (!received_ || !joiner_) return false;
  context_ = open_spatial_encoder(config, calls_, error);
  if (!context_) return false;
  const int result = copy_parameters(*context_, parameters_);
  if (result < 0) return fail_with_library_error(error, "could not configure MV-HEVC output track", result);
  return true;
}

bool NvencTwoViewEncoder::prepare_frame(int view, AVFrame& frame, std::string& error) const {
  const ColorTags colors{context_->color_primaries, context_->color_trc, context_->colorspace,
                         context_->color_range};
  const Size eye{context_->width, context_->height};
  return allocate_eye_frame(frame, context_->pix_fmt, eye, RowLayout::aligned, colors, error) &&
         attach_view_id(frame, view, error) && attach_reference_displays(frame, error);
}

bool NvencTwoViewEncoder::encode(const AVFrame& left, const AVFrame& right, const SampleSink& sink,
                                 std::string& error) {
  return exchange(&left, sink, error) && exchange(&right, sink, error);
}

bool NvencTwoViewEncoder::drain(const SampleSink& sink, std::string& error) {
  if (!exchange(nullptr, sink, error)) return false;
  return !joiner_->waiting() || fail(error, "NVENC produced an incomplete MV-HEVC view pair");
}

bool NvencTwoViewEncoder::settle_sample(AVPacket& sample, std::string& error) {
  const bool key = (sample.flags & AV_PKT_FLAG_KEY) != 0;
  if (!key && !last_dts_) return fail(error, "NVENC did not begin with an MV-HEVC key frame");
  // When the movie ends before the first group of B-frames is full, the library counts in steps of two
  // frames.
  if (last_dts_) sample.dts = std::min(sample.dts, *last_dts_ + 1);
  last_dts_ = sample.dts;
  bool random_access = false;
  if (!check_two_view_sample({sample.data, static_cast<std::size_t>(sample.size)}, "NVENC", random_access,
                             error))
    return false;
  // Some driver may call right views key pictures whose left view needs others; players would seek there.
  if (!random_access) sample.flags &= ~AV_PKT_FLAG_KEY;
  return true;
}

// Gives the encoder one view, or the end when null, and hands on every pair that is ready.
bool NvencTwoViewEncoder::exchange(const AVFrame* view, const SampleSink& sink, std::string& error) {
  int result = calls_.send(context_.get(), view);
  if (result < 0) return fail_with_library_error(error, "could not submit MV-HEVC frame to NVENC", result);
  while (true) {
    result = calls_.receive(context_.get(), received_.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
    if (result < 0)
      return fail_with_library_error(error, "could not receive MV-HEVC packet from NVENC", result);
    if (!joiner_->add(*received_, error)) return false;
    AVPacket* sample = joiner_->complete_unit();
    if (sample != nullptr && (!settle_sample(*sample, error) || !sink(*sample, error))) return false;
  }
}

// Without software encoding the driver's answer counts; what the user asks for beyond that is found out by
// opening.
TwoViewEncoderKind nvenc_two_view_encoder_kind() {
  return {
      .acceleration = Acceleration::hardware,
      .serves = [](bool /*software*/) { return true; },
      .check_machine =
          [](Size eye, BitDepth depth, std::string& error) {
            return probe_stereo_mv_hevc_support(eye, depth) ||
                   fail(error, "Stereo MV-HEVC is not supported by the NVIDIA GPU and driver");
          },
      .canvas_format = semi_planar_format,
      .report = {},
      .create = [](const SpatialWriterConfig& config, std::string& error) -> std::unique_ptr<TwoViewEncoder> {
        // What the build found out about the libraries.
        const char* notice = two_view_depth_notice(config.depth, VEYRIN_TWO_VIEWS_IN_10_BITS);
        if (notice != nullptr) console_line("%s", notice);
        return NvencTwoViewEncoder::create(config, error);
      },
  };
}

std::unique_ptr<ViewPairJoiner> ViewPairJoiner::create() {
  PacketPtr unit(av_packet_alloc());
  if (!unit) return nullptr;
  return std::unique_ptr<ViewPairJoiner>(new ViewPairJoiner(std::move(unit)));
}

bool ViewPairJoiner::add(AVPacket& view, std::string& error) {
  complete_ = false;
  if (unit_->buf == nullptr) {
    av_packet_move_ref(unit_.get(), &view);
    return true;
  }
  complete_ = append(view, error);
  av_packet_unref(&view);
  return complete_;
}

bool ViewPairJoiner::append(const AVPacket& view, std::string& error) {
  AVPacket& first = *unit_;
  if (view.pts != first.pts) {
    return fail(error, "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=" +
                           times(first) + ", second pts/dts=" + times(view) + ")");
  }
  const int first_size = first.size;
  if (view.size > std::numeric_limits<int>::max() - first_size) {
    return fail(error, "MV-HEVC access unit is too large");
  }
  const int result = av_grow_packet(&first, view.size);
  if (result < 0) return fail_with_library_error(error, "could not combine MV-HEVC view packets", result);
  if (view.size > 0) std::memcpy(first.data + first_size, view.data, static_cast<std::size_t>(view.size));
  first.flags |= view.flags;
  first.duration = std::max(first.duration, view.duration);
  first.pos = -1;
  return true;
}

}  // namespace veyrin
