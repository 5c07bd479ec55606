#include "convert/encoder_selection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <vector>

#include "common/error_text.h"
#include "tests/support/allocation_limit.h"
#include "tests/support/environment.h"

namespace veyrin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// One call of the open function.
struct Opened {
  std::string name;
  AVPixelFormat format;
  std::int64_t bit_rate;
  std::string hw_encoding, scenario;  ///< empty when absent
};

std::string entry(const AVDictionary* options, const char* key) {
  const AVDictionaryEntry* found = av_dict_get(options, key, nullptr, 0);
  return found == nullptr ? "" : found->value;
}

/// A machine with the encoders of the test's choice: `results` maps names to what opening gives, one after
/// another; names that are not in it are not in the library.
class Machine {
 public:
  std::map<std::string, std::vector<int>> results;
  AVPixelFormat opened_format = AV_PIX_FMT_NONE;  ///< what encoders make of their format; none leaves it
  std::string packaged_reason;                    ///< empty: the packaged encoder works
  bool force_software_hevc = false;
  std::vector<std::string> looked_up;
  std::vector<Opened> opened;
  std::vector<BitDepth> packaged_asked;

  EncoderCalls calls() {
    EncoderCalls calls;
    calls.find = [this](const char* name) { return find(name); };
    calls.open = [this](AVCodecContext* context, const AVCodec*, AVDictionary** options) {
      return open(*context, *options);
    };
    calls.packaged_available = [this](BitDepth depth, std::string& error) {
      packaged_asked.push_back(depth);
      return packaged_reason.empty() || fail(error, packaged_reason);
    };
    calls.force_software_hevc = [this] { return force_software_hevc; };
    return calls;
  }

 private:
  // Any encoder that lists 4:2:0 formats serves as the codec behind all names.
  const AVCodec* find(const std::string& name) {
    looked_up.push_back(name);
    if (results.count(name) == 0) return nullptr;
    current_ = name;
    tries_ = 0;
    return avcodec_find_encoder_by_name(name == "prores_ks" ? "prores_ks" : "hevc_nvenc");
  }

  int open(AVCodecContext& context, const AVDictionary* options) {
    opened.push_back({current_, context.pix_fmt, context.bit_rate, entry(options, "hw_encoding"),
                      entry(options, "scenario")});
    if (opened_format != AV_PIX_FMT_NONE) context.pix_fmt = opened_format;
    return results[current_].at(tries_++);
  }

  std::string current_;
  std::size_t tries_ = 0;
};

class EncoderSelection : public testing::Test {
 protected:
  EncoderSelection() {
    request_.canvas = {128, 64};
    request_.bitrate = "55M";
  }

  bool select() { return select(machine_.calls()); }
  bool select(const EncoderCalls& calls) {
    selected_ = select_encoder(request_, error_, calls);
    return selected_.has_value();
  }

  /// Of the encoder that was selected.
  [[nodiscard]] bool is_packaged() const { return std::holds_alternative<PackagedEncoder>(*selected_); }
  [[nodiscard]] bool is_software() const { return acceleration_of(*selected_) == Acceleration::software; }
  [[nodiscard]] const InProcessEncoder& in_process() const { return std::get<InProcessEncoder>(*selected_); }
  [[nodiscard]] std::string name() const { return in_process().candidate.name; }

  std::vector<std::string> opened_names() const {
    std::vector<std::string> names;
    for (const Opened& opened : machine_.opened) names.push_back(opened.name);
    return names;
  }

  Machine machine_;
  EncoderRequest request_;
  std::optional<SelectedEncoder> selected_;
  std::string error_;
};

constexpr int refused = AVERROR(ENOSYS);

TEST_F(EncoderSelection, TheFirstEncoderThatOpensIsTaken) {
  machine_.results = {{"hevc_nvenc", {refused}}, {"hevc_amf", {0}}, {"hevc_mf", {0}}};
  ASSERT_TRUE(select()) << error_;
  EXPECT_EQ(name(), "hevc_amf");
  EXPECT_FALSE(is_packaged());
  EXPECT_FALSE(is_software());
  EXPECT_THAT(machine_.looked_up, ElementsAre("hevc_nvenc", "hevc_qsv", "hevc_amf"));
  EXPECT_THAT(opened_names(), ElementsAre("hevc_nvenc", "hevc_amf"));
  EXPECT_THAT(machine_.packaged_asked, IsEmpty());
}

TEST_F(EncoderSelection, DepthChoosesTheFormat) {
  machine_.results = {{"hevc_nvenc", {0}}};
  ASSERT_TRUE(select());
  EXPECT_EQ(machine_.opened.back().bit_rate, 55000000);
  EXPECT_EQ(machine_.opened.back().format, AV_PIX_FMT_YUV420P);
  request_.depth = BitDepth::ten;
  ASSERT_TRUE(select());
  EXPECT_EQ(machine_.opened.back().format, AV_PIX_FMT_P010LE);
}

TEST_F(EncoderSelection, ABadRateFailsBeforeAnyEncoderIsTried) {
  request_.bitrate = "1.5M";
  EXPECT_FALSE(select());
  EXPECT_EQ(error_, "invalid bitrate: 1.5M");
  EXPECT_THAT(machine_.looked_up, IsEmpty());
  request_.bitrate = "";
  EXPECT_FALSE(select());
  EXPECT_EQ(error_, "bitrate cannot be empty");
}

TEST_F(EncoderSelection, MediaFoundationIsFirstAskedForHardware) {
  request_.codec = SbsCodec::h264;
  machine_.results = {{"h264_mf", {0}}};
  ASSERT_TRUE(select());
  EXPECT_FALSE(is_software());
  ASSERT_EQ(machine_.opened.size(), 1U);
  EXPECT_EQ(machine_.opened[0].hw_encoding, "1");
  EXPECT_EQ(machine_.opened[0].scenario, "archive");
}

TEST_F(EncoderSelection, MediaFoundationsSecondTryIsSoftware) {
  machine_.results = {{"hevc_mf", {refused, 0}}};
  ASSERT_TRUE(select());
  EXPECT_EQ(name(), "hevc_mf");
  EXPECT_TRUE(is_software());
  EXPECT_FALSE(is_packaged());
  ASSERT_EQ(machine_.opened.size(), 2U);
  EXPECT_EQ(machine_.opened[0].hw_encoding, "1");
  EXPECT_EQ(machine_.opened[1].hw_encoding, "0");
}

TEST_F(EncoderSelection, OtherEncodersGetNoMediaFoundationOptionsAndOneTry) {
  machine_.results = {{"hevc_nvenc", {refused}}};
  ASSERT_TRUE(select());
  ASSERT_EQ(machine_.opened.size(), 1U);
  EXPECT_EQ(machine_.opened[0].hw_encoding, "");
  EXPECT_EQ(machine_.opened[0].scenario, "");
}

TEST_F(EncoderSelection, AMediaFoundationFailureIsLoggedOnceWithTheSecondReason) {
  request_.codec = SbsCodec::h264;
  machine_.results = {{"h264_nvenc", {AVERROR(ENOSYS)}}, {"h264_mf", {AVERROR(EINVAL), AVERROR(ENOMEM)}}};
  EXPECT_FALSE(select());
  EXPECT_EQ(error_,
            "no suitable encoder could be opened; attempts:"
            "\n  h264_nvenc: Function not implemented"
            "\n  h264_mf: Cannot allocate memory");
  EXPECT_FALSE(selected_.has_value());
  EXPECT_THAT(machine_.packaged_asked, IsEmpty()) << "the packaged encoder is for HEVC only";
}

TEST_F(EncoderSelection, TenBitHevcPassesMediaFoundationBy) {
  request_.depth = BitDepth::ten;
  machine_.results = {{"hevc_mf", {0, 0}}};
  machine_.packaged_reason = "it is not here";
  EXPECT_FALSE(select());
  EXPECT_EQ(error_,
            "no suitable encoder could be opened; attempts:"
            "\n  hevc_nvenc: not included in this FFmpeg build"
            "\n  hevc_qsv: not included in this FFmpeg build"
            "\n  hevc_amf: not included in this FFmpeg build"
            "\n  hevc_mf: does not support 10-bit HEVC output"
            "\n  packaged software encoder: it is not here");
  EXPECT_THAT(machine_.opened, IsEmpty());
  EXPECT_THAT(machine_.packaged_asked, ElementsAre(BitDepth::ten));

  machine_.packaged_reason = "";
  ASSERT_TRUE(select());
  EXPECT_TRUE(is_packaged());
}

TEST_F(EncoderSelection, SoftwareHevcSkipsAllAndAsksThePackagedEncoder) {
  request_.software = true;
  machine_.results = {{"hevc_nvenc", {0}}};
  machine_.packaged_reason = "packaged GPL FFmpeg executable not found";
  EXPECT_FALSE(select());
  EXPECT_EQ(error_,
            "no suitable encoder could be opened; attempts:"
            "\n  hevc_nvenc: skipped for software encoding"
            "\n  hevc_qsv: skipped for software encoding"
            "\n  hevc_amf: skipped for software encoding"
            "\n  hevc_mf: skipped for software encoding"
            "\n  packaged software encoder: packaged GPL FFmpeg executable not found");
  EXPECT_THAT(machine_.looked_up, IsEmpty());
}

TEST_F(EncoderSelection, SoftwareH264AlwaysFails) {
  request_.codec = SbsCodec::h264;
  request_.software = true;
  machine_.results = {{"h264_nvenc", {0}}, {"h264_mf", {0}}};
  EXPECT_FALSE(select());
  EXPECT_EQ(error_,
            "no suitable encoder could be opened; attempts:"
            "\n  h264_nvenc: skipped for software encoding"
            "\n  h264_mf: skipped for software encoding");
}

TEST_F(EncoderSelection, TheEnvironmentSwitchSkipsHevcEncodersOnly) {
  machine_.force_software_hevc = true;
  machine_.results = {{"hevc_nvenc", {0}}, {"h264_nvenc", {0}}};
  ASSERT_TRUE(select());
  EXPECT_TRUE(is_packaged());
  request_.codec = SbsCodec::h264;
  ASSERT_TRUE(select());
  EXPECT_EQ(name(), "h264_nvenc");
}

TEST_F(EncoderSelection, PackagedEncoderGetsTheSettingsOfAHardwareOne) {
  request_.frame_rate = {24, 1};
  for (const BitDepth depth : {BitDepth::eight, BitDepth::ten}) {
    const bool ten_bit = depth == BitDepth::ten;
    request_.depth = depth;
    ASSERT_TRUE(select());
    EXPECT_TRUE(encoder_report_line(*selected_).starts_with("  encoder: libx265 (packaged FFmpeg CLI) ("));
    EXPECT_TRUE(is_packaged());
    EXPECT_TRUE(is_software());
    const AVCodecContext& settings = *std::get<PackagedEncoder>(*selected_).settings;
    EXPECT_EQ(settings.codec, nullptr);
    EXPECT_EQ(settings.width, 128);
    EXPECT_EQ(settings.height, 64);
    EXPECT_EQ(av_cmp_q(settings.framerate, {24, 1}), 0);
    EXPECT_EQ(settings.pix_fmt, ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P);
    EXPECT_EQ(settings.profile, ten_bit ? 2 : 1);
    EXPECT_EQ(settings.bit_rate, 55000000);
    EXPECT_EQ(settings.color_primaries, ten_bit ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709);
    EXPECT_EQ(settings.color_range, AVCOL_RANGE_JPEG);
  }
  EXPECT_THAT(machine_.packaged_asked, ElementsAre(BitDepth::eight, BitDepth::ten));
}

TEST_F(EncoderSelection, AFormatThatNobodyFillsEndsTheConversion) {
  machine_.results = {{"hevc_nvenc", {0}}};
  machine_.opened_format = AV_PIX_FMT_YUV444P;
  EXPECT_FALSE(select());
  EXPECT_EQ(
      error_,
      "the selected encoder does not accept a supported YUV 4:2:0 format; RGB conversion has been removed");
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_NV12,
                                     AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_P010LE}) {
    machine_.opened_format = format;
    EXPECT_TRUE(select()) << format;
  }
}

TEST_F(EncoderSelection, NoMemoryForASettingEndsTheConversion) {
  std::optional<AllocationLimit> shortage;
  EncoderCalls calls = machine_.calls();
  calls.find = [&](const char* /*name*/) {
    shortage.emplace(no_memory);
    return avcodec_find_encoder_by_name("prores_ks");
  };
  EXPECT_FALSE(select(calls));
  EXPECT_EQ(error_, "could not allocate the video encoder");
  shortage.reset();

  calls = machine_.calls();
  calls.packaged_available = [&](BitDepth /*depth*/, std::string& /*error*/) {
    shortage.emplace(no_memory);
    return true;
  };
  EXPECT_FALSE(select(calls));
  EXPECT_EQ(error_, "could not allocate the software encoder configuration");
}

TEST_F(EncoderSelection, FFmpegOfThisMachineNamesWhatItHasNot) {
  machine_.packaged_reason = "none";
  EncoderCalls calls = system_encoder_calls();
  calls.packaged_available = machine_.calls().packaged_available;
  calls.force_software_hevc = [] { return false; };
  av_log_set_level(AV_LOG_QUIET);
  EXPECT_FALSE(select(calls));
  for (const char* name : {"hevc_nvenc", "hevc_qsv", "hevc_amf", "hevc_mf"}) {
    const std::string absent = std::string("\n  ") + name + ": not included in this FFmpeg build\n";
    EXPECT_THAT(error_, testing::HasSubstr(std::string("\n  ") + name + ": "));
    EXPECT_EQ(error_.find(absent) != std::string::npos, avcodec_find_encoder_by_name(name) == nullptr)
        << error_;
  }
  EXPECT_TRUE(error_.starts_with("no suitable encoder could be opened; attempts:\n")) << error_;
  EXPECT_TRUE(error_.ends_with("\n  packaged software encoder: none")) << error_;
}

TEST_F(EncoderSelection, TheSwitchActsOnlyWhenExactlyOne) {
  for (const char* value : {"true", "yes", "0", "", "11", " 1"}) {
    set_variable("VEYRIN_FORCE_SOFTWARE_HEVC", value);
    EXPECT_FALSE(system_encoder_calls().force_software_hevc()) << value;
  }
  set_variable("VEYRIN_FORCE_SOFTWARE_HEVC", "1");
  EXPECT_TRUE(system_encoder_calls().force_software_hevc());
  remove_variable("VEYRIN_FORCE_SOFTWARE_HEVC");
  EXPECT_FALSE(system_encoder_calls().force_software_hevc());
}

TEST_F(EncoderSelection, ProResOpensHereWithTheStandardProfile) {
  request_.codec = SbsCodec::prores;
  request_.software = true;
  request_.input_colors.range = AVCOL_RANGE_MPEG;
  ASSERT_TRUE(select(system_encoder_calls())) << error_;
  EXPECT_EQ(name(), "prores_ks");
  EXPECT_TRUE(is_software());
  EXPECT_FALSE(is_packaged());
  EXPECT_EQ(in_process().context->pix_fmt, AV_PIX_FMT_YUV422P10LE);
  EXPECT_EQ(in_process().context->profile, AV_PROFILE_PRORES_STANDARD);
  EXPECT_EQ(in_process().context->codec_tag, MKTAG('a', 'p', 'c', 'n'));
}

TEST(EncoderReport, NamesEncoderFormatAndProcessing) {
  struct ReportCase {
    const char* name;  ///< null: the packaged encoder
    AVCodecID codec;
    AVPixelFormat format, software_format;
    const char* line;
  };
  constexpr ReportCase cases[] = {
      {"hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_P010LE, AV_PIX_FMT_NONE,
       "  encoder: hevc_nvenc (p010le, CPU YUV processing)"},
      {"prores_ks", AV_CODEC_ID_PRORES, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_NONE,
       "  encoder: prores_ks (yuv422p10le, CPU YUV processing + 4:2:2 chroma upsampling)"},
      {nullptr, AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE,
       "  encoder: libx265 (packaged FFmpeg CLI) (yuv420p, CPU YUV processing)"},
      {"hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_D3D11, AV_PIX_FMT_P010LE,
       "  encoder: hevc_nvenc (d3d11, GPU-resident P010)"},
      {"h264_nvenc", AV_CODEC_ID_H264, AV_PIX_FMT_D3D11, AV_PIX_FMT_NV12,
       "  encoder: h264_nvenc (d3d11, GPU-resident NV12)"},
  };
  for (const ReportCase& report : cases) {
    CodecContextPtr context(avcodec_alloc_context3(nullptr));
    context->codec_id = report.codec;
    context->pix_fmt = report.format;
    context->sw_pix_fmt = report.software_format;
    const SelectedEncoder encoder =
        report.name == nullptr ? SelectedEncoder(PackagedEncoder{std::move(context)})
                               : SelectedEncoder(InProcessEncoder{std::move(context), {.name = report.name}});
    EXPECT_EQ(encoder_report_line(encoder), report.line);
  }
  EXPECT_EQ(encoder_report_line("libx265", AV_PIX_FMT_P010LE),
            "  encoder: libx265 (p010le, CPU YUV processing)");
  EXPECT_STREQ(packaged_encoder_report_line, "  software_encoder: packaged GPL FFmpeg CLI with libx265");
}

}  // namespace
}  // namespace veyrin::test
