#include "spatial/two_view_units.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tests/spatial/sequence_header.h"

namespace veyrin::test {
namespace {

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string missing_in(const std::string& stream) {
  TwoViewParameterSets sets;
  sets.note_stream(bytes_of(stream));
  return std::string(sets.missing());
}

TEST(TwoViewParameterSets, NamesTheFirstThatIsMissing) {
  const char* const names[] = {"the video parameter set", "the sequence parameter set of the left view",
                               "the picture parameter set of the left view",
                               "the sequence parameter set of the right view",
                               "the picture parameter set of the right view"};
  const std::vector<std::string> all = two_view_sets();
  EXPECT_EQ(missing_in(stream_of(all)), "");
  for (std::size_t left_out = 0; left_out < all.size(); ++left_out) {
    std::vector<std::string> sets = all;
    sets.erase(sets.begin() + static_cast<std::ptrdiff_t>(left_out));
    EXPECT_EQ(missing_in(stream_of(sets)), names[left_out]);
  }
  EXPECT_EQ(missing_in(""), names[0]);
  EXPECT_EQ(missing_in("no start code"), names[0]);
}

TEST(TwoViewParameterSets, MayComeInAnyOrderAndBetweenOthers) {
  std::vector<std::string> sets = two_view_sets();
  std::ranges::reverse(sets);
  sets.insert(sets.begin() + 2, "\x4E\x01 message");
  EXPECT_EQ(missing_in(stream_of(sets)), "");
  // Start codes of three bytes, and zeros behind a unit.
  std::string stream(5, '\0');
  for (const std::string& set : sets) stream += std::string("\0\0\1", 3) + set + std::string(2, '\0');
  EXPECT_EQ(missing_in(stream), "");
}

TEST(TwoViewParameterSets, VideoSetMustDescribeTwoLayers) {
  std::vector<std::string> sets = two_view_sets();
  sets[0] = one_layer_video_set();
  EXPECT_EQ(missing_in(stream_of(sets)), "the extension of the video parameter set");
}

TEST(TwoViewParameterSets, CutVideoSetDescribesNothing) {
  const std::vector<std::string> all = two_view_sets();
  // Read by hand: the flag of the extension is the fifth bit of byte 23.
  constexpr std::size_t first_with_flag = 24;
  for (std::size_t size = 0; size < all[0].size(); ++size) {
    std::vector<std::string> sets = all;
    sets[0].resize(size);
    const char* const expected = size < 2                 ? "the video parameter set"
                                 : size < first_with_flag ? "the extension of the video parameter set"
                                                          : "";
    EXPECT_EQ(missing_in(stream_of(sets)), expected) << size;
  }
}

/// Writes the payload of a NAL unit.
class Writer {
 public:
  Writer& bits(unsigned long long value, int count) {
    for (int bit = count - 1; bit >= 0; --bit) bits_.push_back((value >> bit & 1U) != 0);
    return *this;
  }
  Writer& number(unsigned value) {  // exponential Golomb
    const int length = static_cast<int>(std::bit_width(value + 1));
    return bits(0, length - 1).bits(value + 1, length);
  }
  /// With the bytes that keep start codes out.
  [[nodiscard]] std::string payload() const {
    std::string raw((bits_.size() + 8) / 8, '\0');
    for (std::size_t i = 0; i <= bits_.size(); ++i) {
      if (i == bits_.size() || bits_[i]) raw[i / 8] = static_cast<char>(raw[i / 8] | 0x80 >> i % 8);
    }
    std::string coded;
    for (const char byte : raw) {
      if (coded.ends_with(std::string(2, '\0')) && static_cast<unsigned char>(byte) <= 3) coded += '\3';
      coded += byte;
    }
    return coded;
  }

 private:
  std::vector<bool> bits_;
};

struct VideoSet {
  unsigned layers = 2;
  unsigned sub_layers = 1;
  bool every_ordering = false;
  unsigned layer_sets = 1;
  bool timing = false;
  bool proportional = false;
  unsigned buffer_models = 0;
  bool extension = true;
};

std::string video_set(const VideoSet& c) {
  Writer writer;
  writer.bits(0, 4).bits(3, 2).bits(c.layers - 1, 6).bits(c.sub_layers - 1, 3).bits(1, 1).bits(0xFFFF, 16);
  writer.bits(0x0160000000, 40).bits(0, 48).bits(93, 8);  // profile and level
  for (unsigned i = 1; i < c.sub_layers; ++i) writer.bits(i % 2 == 0 ? 3 : 1, 2);
  for (unsigned i = c.sub_layers - 1; c.sub_layers > 1 && i < 8; ++i) writer.bits(0, 2);
  for (unsigned i = 1; i < c.sub_layers; ++i) {
    if (i % 2 == 0) writer.bits(0x0160000000, 40).bits(0, 48);
    writer.bits(90, 8);
  }
  writer.bits(c.every_ordering ? 1 : 0, 1);
  for (unsigned i = 0; i < (c.every_ordering ? c.sub_layers : 1); ++i) writer.number(4).number(2).number(0);
  writer.bits(c.layers - 1, 6).number(c.layer_sets - 1);
  for (unsigned i = 1; i < c.layer_sets; ++i) {
    for (unsigned layer = 0; layer < c.layers; ++layer) writer.bits(1, 1);
  }
  writer.bits(c.timing ? 1 : 0, 1);
  if (c.timing) {
    writer.bits(1001, 32).bits(30000, 32).bits(c.proportional ? 1 : 0, 1);
    if (c.proportional) writer.number(0);
    writer.number(c.buffer_models);
    if (c.buffer_models > 0) writer.number(0).bits(0, 64);
  }
  writer.bits(c.extension ? 1 : 0, 1);
  return "\x40\x01" + writer.payload() + (c.extension ? "UU" : "");
}

TEST(TwoViewParameterSets, ExtensionIsFoundBehindWhatMayStandBeforeIt) {
  std::vector<std::string> sets = two_view_sets();
  for (const VideoSet& base :
       {VideoSet{}, VideoSet{.sub_layers = 3}, VideoSet{.sub_layers = 7, .every_ordering = true},
        VideoSet{.layer_sets = 2}, VideoSet{.timing = true},
        VideoSet{.layer_sets = 3, .timing = true, .proportional = true}, VideoSet{.layers = 3}}) {
    for (const bool extension : {true, false}) {
      VideoSet set = base;
      set.extension = extension;
      sets[0] = video_set(set);
      EXPECT_EQ(missing_in(stream_of(sets)), extension ? "" : "the extension of the video parameter set")
          << set.sub_layers << ' ' << set.layer_sets << ' ' << set.timing;
    }
  }
  sets[0] = video_set({.timing = true, .buffer_models = 1});
  EXPECT_EQ(missing_in(stream_of(sets)), "") << "not looked through";
  sets[0] = video_set({.layers = 1});
  EXPECT_EQ(missing_in(stream_of(sets)), "the extension of the video parameter set");
}

std::string unit(int type, int layer) {
  return {static_cast<char>(type << 1), static_cast<char>(layer << 3 | 1), 'x'};
}

TEST(TwoViewSample, HoldsBothViewsInOrder) {
  constexpr int trailing = 1;
  constexpr int idr = 20;
  constexpr int clean = 21;
  constexpr int message = 39;
  struct SampleCase {
    std::vector<std::string> units;
    bool key;
    const char* error;
  };
  const std::string order = "NVENC produced an MV-HEVC access unit with the right view before the left one";
  const std::string no_left = "NVENC produced an MV-HEVC access unit without the left view";
  const std::string no_right = "NVENC produced an MV-HEVC access unit without the right view";
  for (const SampleCase& c : {
           SampleCase{{unit(trailing, 0), unit(trailing, 1)}, false, ""},
           SampleCase{{unit(idr, 0), unit(idr, 1)}, true, ""},
           SampleCase{{unit(clean, 0), unit(trailing, 1)}, true, ""},
           SampleCase{
               {unit(message, 0), unit(idr, 0), unit(idr, 0), unit(message, 0), unit(idr, 1)}, true, ""},
           SampleCase{{unit(message, 1), unit(idr, 0), unit(idr, 1), unit(message, 1)}, true, ""},
           SampleCase{{unit(trailing, 0), unit(idr, 1)}, false, ""},
           SampleCase{{unit(idr, 1), unit(idr, 0)}, true, order.c_str()},
           SampleCase{{unit(idr, 0), unit(idr, 1), unit(idr, 0)}, true, order.c_str()},
           SampleCase{{unit(idr, 0)}, true, no_right.c_str()},
           SampleCase{{unit(idr, 0), unit(message, 1)}, true, no_right.c_str()},
           SampleCase{{unit(idr, 0), unit(idr, 2)}, true, no_right.c_str()},
           SampleCase{{unit(idr, 1)}, true, no_left.c_str()},
           SampleCase{{}, false, no_left.c_str()},
       }) {
    std::string error;
    bool random_access = false;
    const bool whole = check_two_view_sample(bytes_of(stream_of(c.units)), "NVENC", random_access, error);
    EXPECT_EQ(whole, std::string(c.error).empty());
    EXPECT_EQ(whole && random_access, whole && c.key);
    EXPECT_EQ(error, c.error);
  }
}

}  // namespace
}  // namespace veyrin::test
