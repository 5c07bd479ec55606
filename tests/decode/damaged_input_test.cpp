// Damaged recordings end with frames or with one message, never with a crash, a hang or a decoder that does
// not end.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tests/decode/clips.h"
#include "tests/decode/decoding.h"

namespace veyrin::test {
namespace {

using Bytes = std::vector<char>;

Bytes read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void write_file(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

struct Recording {
  const char* name;
  const char* file;
  const char* encoding;
};

std::ostream& operator<<(std::ostream& out, const Recording& recording) {
  return out << recording.name;
}

class DamagedRecording : public testing::TestWithParam<Recording> {
 protected:
  static constexpr std::size_t frames = 12;

  void SetUp() override {
    clip_ =
        folder_.make(GetParam().file, test_picture(frames, 30, "64x48") + test_picture(frames, 30, "64x48") +
                                          "-map 0 -map 1 -pix_fmt yuv420p " + GetParam().encoding);
    original_ = read_file(clip_);
  }

  /// Decodes the clip with these bytes; gives the number of pairs.
  std::size_t decode(const Bytes& bytes) {
    write_file(clip_, bytes);
    InputContextPtr input;
    try {
      input = open_clip(clip_);
    } catch (const std::runtime_error&) {
      return 0;
    }
    if (input->nb_streams < 2 || input->streams[0]->codecpar->codec_type != AVMEDIA_TYPE_VIDEO ||
        input->streams[1]->codecpar->codec_type != AVMEDIA_TYPE_VIDEO) {
      return 0;
    }
    std::string error;
    const auto decoder = StereoDecoder::create(*input, 0, 1, DecoderPreference::software, error);
    if (!decoder) {
      EXPECT_NE(error, "");
      return 0;
    }
    const auto packets = read_packets(*input);
    std::vector<const AVPacket*> order;
    for (const PacketPtr& packet : packets) order.push_back(packet.get());
    const PairRun run = run_pairs(*decoder, order);
    EXPECT_EQ(run.succeeded, run.error.empty()) << run.error;
    EXPECT_EQ(run.error.find("temporarily unavailable"), std::string::npos)
        << "the decoder was sent too much";
    EXPECT_TRUE(decoder->ended() || !run.succeeded);
    EXPECT_LE(run.most_queued_frames, EyeDecoder::frame_queue_bound);
    return run.left_times.size();
  }

  ClipFolder folder_;
  std::filesystem::path clip_;
  Bytes original_;
};

TEST_P(DamagedRecording, EndsWhereverItIsCutOff) {
  ASSERT_EQ(decode(original_), frames);
  constexpr std::size_t cuts = 40;
  std::size_t decodable = 0;
  for (std::size_t cut = 0; cut < cuts; ++cut) {
    const std::size_t length = original_.size() * cut / cuts;
    SCOPED_TRACE("first " + std::to_string(length) + " of " + std::to_string(original_.size()) + " bytes");
    const std::size_t pairs =
        decode(Bytes(original_.begin(), original_.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_LE(pairs, frames);
    if (pairs > 0) ++decodable;
  }
  EXPECT_GT(decodable, 0U) << "no cut reached the pictures";
}

TEST_P(DamagedRecording, EndsWhateverItsBytesAre) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Bytes bytes = original_;
    const std::size_t hits = 1 + random() % 30;
    for (std::size_t hit = 0; hit < hits; ++hit) bytes[random() % bytes.size()] = static_cast<char>(random());
    decode(bytes);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Recordings, DamagedRecording,
    testing::Values(Recording{"H264", "a.mp4", "-c:v libx264 -bf 2 -movflags +faststart"},
                    Recording{"Hevc", "a.mov",
                              "-c:v libx265 -x265-params log-level=none -movflags +faststart"},
                    Recording{"FragmentedH264", "a.mp4",
                              "-c:v libx264 -g 4 -movflags +frag_keyframe+empty_moov+default_base_moof"}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace veyrin::test
