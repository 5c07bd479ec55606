// The frame-packing message in streams of a real H.264 encoder, judged by decoders.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "convert/sbs_stereo_metadata.h"
#include "media/ffmpeg.h"
#include "media/movie_io.h"
#include "tests/support/command.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/stereo3d.h>
}

namespace veyrin::test {
namespace {

using test::output_of;
using test::quoted;

constexpr int frame_count = 25;
constexpr std::size_t key_frame_distance = 10;

/// The packets of an encoder, in Annex B form, and what it told of itself.
struct Stream {
  CodecParametersPtr parameters{avcodec_parameters_alloc()};
  std::vector<PacketPtr> packets;
  AVRational time_base{1, 1};
};

Stream read_stream(const std::filesystem::path& file) {
  AVFormatContext* demuxer = nullptr;
  Stream stream;
  if (avformat_open_input(&demuxer, file.c_str(), nullptr, nullptr) < 0) return stream;
  const InputContextPtr input(demuxer);
  if (avformat_find_stream_info(demuxer, nullptr) < 0) return stream;
  avcodec_parameters_copy(stream.parameters.get(), demuxer->streams[0]->codecpar);
  stream.time_base = demuxer->streams[0]->time_base;
  for (PacketPtr packet(av_packet_alloc()); av_read_frame(demuxer, packet.get()) >= 0;
       packet.reset(av_packet_alloc())) {
    av_packet_make_refcounted(packet.get());
    stream.packets.push_back(std::move(packet));
  }
  return stream;
}

enum class ParameterSets { in_packets, apart };

/// 25 pictures with a key frame every 10 from libx264. Hardware encoders give their parameter sets apart when
/// the container wants that, as MP4 does: Annex B units beside packets that have none.
Stream encode(const std::string& x264_parameters, ParameterSets parameter_sets) {
  const test::TemporaryFolder folder;
  const bool apart = parameter_sets == ParameterSets::apart;
  const auto file = folder / (apart ? "stream.nut" : "stream.h264");
  output_of(
      "ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=128x64:rate=25:d=1 -pix_fmt yuv420p -c:v libx264 "
      "-x264-params log-level=error:keyint=" +
      std::to_string(key_frame_distance) + ":scenecut=0:" + x264_parameters +
      (apart ? " -flags:v +global_header " : " ") + quoted(file));
  return read_stream(file);
}

void add_messages(const Stream& stream) {
  std::string error;
  for (const PacketPtr& packet : stream.packets)
    ASSERT_TRUE(add_frame_packing_sei(AV_CODEC_ID_H264, *packet, error)) << error;
}

struct DecodedPicture {
  std::string luma;
  bool key_frame = false;
  bool stereo = false;
  int type = -1;
  int flags = -1;
};

DecodedPicture picture_of(const AVFrame& frame) {
  DecodedPicture picture;
  for (int row = 0; row < frame.height; ++row) {
    const std::uint8_t* start = frame.data[0] + row * frame.linesize[0];
    picture.luma.append(start, start + frame.width);
  }
  picture.key_frame = (frame.flags & AV_FRAME_FLAG_KEY) != 0;
  if (const AVFrameSideData* data = av_frame_get_side_data(&frame, AV_FRAME_DATA_STEREO3D)) {
    const auto* record = reinterpret_cast<const AVStereo3D*>(data->data);
    picture.stereo = true;
    picture.type = record->type;
    picture.flags = record->flags;
  }
  return picture;
}

std::vector<DecodedPicture> decode(const Stream& stream) {
  const CodecContextPtr decoder(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264)));
  avcodec_parameters_to_context(decoder.get(), stream.parameters.get());
  decoder->err_recognition = AV_EF_EXPLODE;
  std::vector<DecodedPicture> pictures;
  if (avcodec_open2(decoder.get(), nullptr, nullptr) < 0) return pictures;
  const FramePtr frame(av_frame_alloc());
  const auto send = [&](const AVPacket* packet) {
    EXPECT_EQ(avcodec_send_packet(decoder.get(), packet), 0);
    while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) pictures.push_back(picture_of(*frame));
  };
  for (const PacketPtr& packet : stream.packets) send(packet.get());
  send(nullptr);
  return pictures;
}

class FramePackingStream : public testing::TestWithParam<const char*> {};

TEST_P(FramePackingStream, DecodesToTheSamePicturesMarkedSideBySide) {
  const Stream stream = encode(GetParam(), ParameterSets::in_packets);
  ASSERT_EQ(stream.packets.size(), static_cast<std::size_t>(frame_count));
  const auto plain = decode(stream);
  ASSERT_EQ(plain.size(), static_cast<std::size_t>(frame_count));
  ASSERT_NO_FATAL_FAILURE(add_messages(stream));
  const auto marked = decode(stream);
  ASSERT_EQ(marked.size(), plain.size());
  for (std::size_t i = 0; i < marked.size(); ++i) {
    EXPECT_FALSE(plain[i].stereo) << "picture " << i;
    EXPECT_EQ(marked[i].luma, plain[i].luma) << "picture " << i;
    // The message holds until the next one, yet this decoder reports it only where it stands.
    EXPECT_EQ(marked[i].stereo, marked[i].key_frame) << "picture " << i;
    if (!marked[i].stereo) continue;
    EXPECT_EQ(marked[i].type, AV_STEREO3D_SIDEBYSIDE) << "picture " << i;
    EXPECT_EQ(marked[i].flags, 0) << "picture " << i;
  }
  EXPECT_EQ(std::count_if(marked.begin(), marked.end(), [](const auto& picture) { return picture.stereo; }),
            3);
}

TEST_P(FramePackingStream, HasTheMessageInKeyFramesOnly) {
  const Stream stream = encode(GetParam(), ParameterSets::in_packets);
  ASSERT_NO_FATAL_FAILURE(add_messages(stream));
  std::size_t with_message = 0;
  for (const PacketPtr& packet : stream.packets) {
    const bool has_message = std::search(packet->data, packet->data + packet->size, frame_packing_sei.begin(),
                                         frame_packing_sei.end()) == packet->data;
    EXPECT_EQ(has_message, (packet->flags & AV_PKT_FLAG_KEY) != 0);
    with_message += has_message ? 1 : 0;
  }
  EXPECT_EQ(with_message, 3U);
}

INSTANTIATE_TEST_SUITE_P(Encodings, FramePackingStream,
                         testing::Values("bframes=0", "bframes=3", "bframes=0:aud=1", "bframes=2:slices=4",
                                         "bframes=0:nal-hrd=vbr:vbv-maxrate=500:vbv-bufsize=500"));

/// Decoding times for packets that came without: those of presentation in order, early enough for each.
void set_decoding_times(const Stream& stream) {
  std::vector<std::int64_t> times;
  for (const PacketPtr& packet : stream.packets) times.push_back(packet->pts);
  std::sort(times.begin(), times.end());
  std::int64_t delay = 0;
  for (std::size_t i = 0; i < times.size(); ++i) delay = std::max(delay, times[i] - stream.packets[i]->pts);
  for (std::size_t i = 0; i < times.size(); ++i) stream.packets[i]->dts = times[i] - delay;
}

/// Muxes the packets in the way of the converter, with both stereo marks.
void write_movie(const Stream& stream, const std::filesystem::path& file) {
  AVFormatContext* muxer = nullptr;
  ASSERT_GE(avformat_alloc_output_context2(&muxer, nullptr, nullptr, file.c_str()), 0);
  const OutputContextPtr output(muxer);
  muxer->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
  AVStream* video = avformat_new_stream(muxer, nullptr);
  ASSERT_GE(avcodec_parameters_copy(video->codecpar, stream.parameters.get()), 0);
  video->codecpar->codec_tag = 0;
  video->time_base = {1, 25};
  std::string error;
  ASSERT_TRUE(attach_sbs_stereo_metadata(*video->codecpar, "not attached", error)) << error;
  std::error_code reason;
  const auto io =
      MovieIo::create(platform::OutputFile::open(file, platform::OutputFile::Opening::create, reason));
  ASSERT_NE(io, nullptr);
  muxer->pb = io->context();
  ASSERT_GE(avformat_write_header(muxer, nullptr), 0);
  set_decoding_times(stream);
  for (const PacketPtr& packet : stream.packets) {
    av_packet_rescale_ts(packet.get(), stream.time_base, video->time_base);
    ASSERT_GE(av_interleaved_write_frame(muxer, packet.get()), 0);
  }
  ASSERT_GE(av_write_trailer(muxer), 0);
  ASSERT_GE(io->close(), 0);
}

class FramePackingMovie : public testing::TestWithParam<const char*> {};

TEST_P(FramePackingMovie, KeepsTheMessageAsFirstUnitOfItsKeyFrames) {
  const Stream stream = encode("bframes=2", ParameterSets::apart);
  ASSERT_EQ(stream.packets.size(), static_cast<std::size_t>(frame_count));
  ASSERT_GT(stream.parameters->extradata_size, 4);
  ASSERT_EQ(std::memcmp(stream.parameters->extradata, frame_packing_sei.data(), 4), 0) << "not Annex B";
  ASSERT_NO_FATAL_FAILURE(add_messages(stream));
  const test::TemporaryFolder folder;
  const auto path = folder / GetParam();
  ASSERT_NO_FATAL_FAILURE(write_movie(stream, path));

  const std::string file = test::file_text(path);
  const test::Mp4Box boxes = test::read_boxes(file);
  const test::Mp4Box& track = test::track_of_kind(boxes, "vide");
  const std::string_view key_table = track.only("mdia/minf/stbl/stss").payload;
  std::set<std::size_t> keys;
  for (std::size_t i = 0; i < test::big_endian(key_table, 4, 4); ++i)
    keys.insert(test::big_endian(key_table, 8 + 4 * i, 4) - 1);
  EXPECT_EQ(keys, (std::set<std::size_t>{0, 10, 20}));

  const auto boxes_of_choice = track.all("mdia/minf/stbl/stsd/avc1/st3d");
  EXPECT_EQ(boxes_of_choice.size(), path.extension() == ".mp4" ? 1U : 0U) << box_tree(boxes);

  // In the file the start code gives way to the unit's length.
  std::string unit("\0\0\0\x0c", 4);
  unit.append(frame_packing_sei.begin() + 4, frame_packing_sei.end());
  const auto samples = test::track_samples(file, track);
  ASSERT_EQ(samples.size(), static_cast<std::size_t>(frame_count));
  for (std::size_t i = 0; i < samples.size(); ++i)
    EXPECT_EQ(samples[i].starts_with(unit), keys.contains(i)) << "sample " << i;
}

TEST_P(FramePackingMovie, IsStereoForAnotherDecoder) {
  const Stream stream = encode("bframes=2", ParameterSets::apart);
  ASSERT_NO_FATAL_FAILURE(add_messages(stream));
  const test::TemporaryFolder folder;
  const auto path = folder / GetParam();
  ASSERT_NO_FATAL_FAILURE(write_movie(stream, path));
  const std::string frames = output_of("ffprobe -v error -show_frames -of json " + quoted(path));
  const auto pictures = nlohmann::json::parse(frames).at("frames");
  ASSERT_EQ(pictures.size(), static_cast<std::size_t>(frame_count));
  for (const auto& picture : pictures) {
    const std::string text = picture.dump();
    const bool marked = text.find("Stereo 3D") != std::string::npos;
    EXPECT_EQ(marked, picture.at("key_frame") == 1) << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Containers, FramePackingMovie, testing::Values("clip.mp4", "clip.mov"));

}  // namespace
}  // namespace veyrin::test
