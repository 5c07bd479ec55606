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
  std::vector<bool> packaged_asked;

  EncoderServices services() {
    EncoderServices services;
    services.find = [this](const char* name) { return find(name); };
    services.open = [this](AVCodecContext* context, const AVCodec*, AVDictionary** options) {
      return open(*context, *options);
    };
    services.packaged_available = [this](bool ten_bit, std::string& error) {
      packaged_asked.push_back(ten_bit);
      return packaged_reason.empty() || fail(error, packaged_reason);
    };
    services.force_software_hevc = force_software_hevc;
    return services;
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
    request_.canvas = {64, 64};
    request_.sdr_bitrate = "55M";
    request_.hdr_bitrate = "90M";
  }

  bool select() { return select_encoder(request_, machine_.services(), selected_, error_); }

  std::vector<std::string> opened_names() const {
    std::vector<std::string> names;
    for (const Opened& opened : machine_.opened) names.push_back(opened.name);
    return names;
  }

  Machine machine_;
  EncoderRequest request_;
  SelectedEncoder selected_;
  std::string error_;
};

constexpr int refused = AVERROR(ENOSYS);

TEST_F(EncoderSelection, TheFirstEncoderThatOpensIsTaken) {
  machine_.results = {{"hevc_nvenc", {refused}}, {"hevc_amf", {0}}, {"hevc_mf", {0}}};
  ASSERT_TRUE(select()) << error_;
  EXPECT_EQ(selected_.display_name, "hevc_amf");
  EXPECT_FALSE(selected_.packaged);
  EXPECT_FALSE(selected_.software);
  EXPECT_THAT(machine_.looked_up, ElementsAre("hevc_nvenc", "hevc_qsv", "hevc_amf"));
  EXPECT_THAT(opened_names(), ElementsAre("hevc_nvenc", "hevc_amf"));
  EXPECT_THAT(machine_.packaged_asked, IsEmpty());
}

TEST_F(EncoderSelection, DepthChoosesTheRateAndTheFormat) {
  machine_.results = {{"hevc_nvenc", {0}}};
  ASSERT_TRUE(select());
  EXPECT_EQ(machine_.opened.back().bit_rate, 55000000);
  EXPECT_EQ(machine_.opened.back().format, AV_PIX_FMT_YUV420P);
  request_.ten_bit = true;
  ASSERT_TRUE(select());
  EXPECT_EQ(machine_.opened.back().bit_rate, 90000000);
  EXPECT_EQ(machine_.opened.back().format, AV_PIX_FMT_P010LE);
}

TEST_F(EncoderSelection, ABadRateFailsBeforeAnyEncoderIsTried) {
  request_.sdr_bitrate = "1.5M";
  EXPECT_FALSE(select());
  EXPECT_EQ(error_, "invalid bitrate: 1.5M");
  EXPECT_THAT(machine_.looked_up, IsEmpty());
  request_.sdr_bitrate = "";
  EXPECT_FALSE(select());
  EXPECT_EQ(error_, "bitrate cannot be empty");
}

TEST_F(EncoderSelection, OnlyTheRateOfTheDepthIsRead) {
  machine_.results = {{"hevc_nvenc", {0}}};
  request_.hdr_bitrate = "nonsense";
  EXPECT_TRUE(select());
  request_.ten_bit = true;
  EXPECT_FALSE(select());
  EXPECT_EQ(error_, "invalid bitrate: nonsense");
}

TEST_F(EncoderSelection, MediaFoundationIsFirstAskedForHardware) {
  request_.codec = SbsCodec::h264;
  machine_.results = {{"h264_mf", {0}}};
  ASSERT_TRUE(select());
  EXPECT_FALSE(selected_.software);
  ASSERT_EQ(machine_.opened.size(), 1U);
  EXPECT_EQ(machine_.opened[0].hw_encoding, "1");
  EXPECT_EQ(machine_.opened[0].scenario, "archive");
}

TEST_F(EncoderSelection, MediaFoundationsSecondTryIsSoftware) {
  machine_.results = {{"hevc_mf", {refused, 0}}};
  ASSERT_TRUE(select());
  EXPECT_EQ(selected_.display_name, "hevc_mf");
  EXPECT_TRUE(selected_.software);
  EXPECT_FALSE(selected_.packaged);
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
  EXPECT_EQ(selected_.context, nullptr);
  EXPECT_THAT(machine_.packaged_asked, IsEmpty()) << "the packaged encoder is for HEVC only";
}

TEST_F(EncoderSelection, TenBitHevcPassesMediaFoundationBy) {
  request_.ten_bit = true;
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
  EXPECT_THAT(machine_.packaged_asked, ElementsAre(true));

  machine_.packaged_reason = "";
  ASSERT_TRUE(select());
  EXPECT_TRUE(selected_.packaged);
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
  EXPECT_TRUE(selected_.packaged);
  request_.codec = SbsCodec::h264;
  ASSERT_TRUE(select());
  EXPECT_EQ(selected_.display_name, "h264_nvenc");
}

TEST_F(EncoderSelection, PackagedEncoderGetsTheSettingsOfAHardwareOne) {
  request_.frame_rate = {24, 1};
  for (const bool ten_bit : {false, true}) {
    request_.ten_bit = ten_bit;
    ASSERT_TRUE(select());
    EXPECT_EQ(selected_.display_name, "libx265 (packaged FFmpeg CLI)");
    EXPECT_TRUE(selected_.packaged);
    EXPECT_TRUE(selected_.software);
    const AVCodecContext& settings = *selected_.context;
    EXPECT_EQ(settings.codec, nullptr);
    EXPECT_EQ(settings.width, 128);
    EXPECT_EQ(settings.height, 64);
    EXPECT_EQ(av_cmp_q(settings.framerate, {24, 1}), 0);
    EXPECT_EQ(settings.pix_fmt, ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_YUV420P);
    EXPECT_EQ(settings.profile, ten_bit ? 2 : 1);
    EXPECT_EQ(settings.bit_rate, ten_bit ? 90000000 : 55000000);
    EXPECT_EQ(settings.color_primaries, ten_bit ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709);
    EXPECT_EQ(settings.color_range, AVCOL_RANGE_JPEG);
  }
  EXPECT_THAT(machine_.packaged_asked, ElementsAre(false, true));
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
  std::optional<test::AllocationLimit> shortage;
  EncoderServices services = machine_.services();
  services.find = [&](const char* /*name*/) {
    shortage.emplace(test::no_memory);
    return avcodec_find_encoder_by_name("prores_ks");
  };
  EXPECT_FALSE(select_encoder(request_, services, selected_, error_));
  EXPECT_EQ(error_, "could not allocate the video encoder");
  shortage.reset();

  services = machine_.services();
  services.packaged_available = [&](bool /*ten_bit*/, std::string& /*error*/) {
    shortage.emplace(test::no_memory);
    return true;
  };
  EXPECT_FALSE(select_encoder(request_, services, selected_, error_));
  EXPECT_EQ(error_, "could not allocate the software encoder configuration");
}

TEST_F(EncoderSelection, FFmpegOfThisMachineNamesWhatItHasNot) {
  machine_.packaged_reason = "none";
  EncoderServices services = system_encoder_services();
  services.packaged_available = machine_.services().packaged_available;
  services.force_software_hevc = false;
  av_log_set_level(AV_LOG_QUIET);
  EXPECT_FALSE(select_encoder(request_, services, selected_, error_));
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
    test::set_variable("VEYRIN_FORCE_SOFTWARE_HEVC", value);
    EXPECT_FALSE(system_encoder_services().force_software_hevc) << value;
  }
  test::set_variable("VEYRIN_FORCE_SOFTWARE_HEVC", "1");
  EXPECT_TRUE(system_encoder_services().force_software_hevc);
  test::remove_variable("VEYRIN_FORCE_SOFTWARE_HEVC");
  EXPECT_FALSE(system_encoder_services().force_software_hevc);
}

TEST_F(EncoderSelection, ProResOpensHereWithTheStandardProfile) {
  request_.codec = SbsCodec::prores;
  request_.software = true;
  request_.input_colors.range = AVCOL_RANGE_MPEG;
  ASSERT_TRUE(select_encoder(request_, selected_, error_)) << error_;
  EXPECT_EQ(selected_.display_name, "prores_ks");
  EXPECT_TRUE(selected_.software);
  EXPECT_FALSE(selected_.packaged);
  EXPECT_EQ(selected_.context->pix_fmt, AV_PIX_FMT_YUV422P10LE);
  EXPECT_EQ(selected_.context->profile, AV_PROFILE_PRORES_STANDARD);
  EXPECT_EQ(selected_.context->codec_tag, MKTAG('a', 'p', 'c', 'n'));
}

TEST(EncoderReport, NamesEncoderFormatAndProcessing) {
  struct ReportCase {
    const char* name;
    AVCodecID codec;
    AVPixelFormat format, software_format;
    const char* line;
  };
  constexpr ReportCase cases[] = {
      {"hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_P010LE, AV_PIX_FMT_NONE,
       "  encoder: hevc_nvenc (p010le, CPU YUV processing)"},
      {"prores_ks", AV_CODEC_ID_PRORES, AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_NONE,
       "  encoder: prores_ks (yuv422p10le, CPU YUV processing + 4:2:2 chroma upsampling)"},
      {"libx265 (packaged FFmpeg CLI)", AV_CODEC_ID_HEVC, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NONE,
       "  encoder: libx265 (packaged FFmpeg CLI) (yuv420p, CPU YUV processing)"},
      {"hevc_nvenc", AV_CODEC_ID_HEVC, AV_PIX_FMT_D3D11, AV_PIX_FMT_P010LE,
       "  encoder: hevc_nvenc (d3d11, GPU-resident P010)"},
      {"h264_nvenc", AV_CODEC_ID_H264, AV_PIX_FMT_D3D11, AV_PIX_FMT_NV12,
       "  encoder: h264_nvenc (d3d11, GPU-resident NV12)"},
  };
  for (const ReportCase& report : cases) {
    SelectedEncoder encoder;
    encoder.context.reset(avcodec_alloc_context3(nullptr));
    encoder.context->codec_id = report.codec;
    encoder.context->pix_fmt = report.format;
    encoder.context->sw_pix_fmt = report.software_format;
    encoder.display_name = report.name;
    EXPECT_EQ(encoder_report_line(encoder), report.line);
  }
  EXPECT_STREQ(packaged_encoder_report_line, "  software_encoder: packaged GPL FFmpeg CLI with libx265");
}

}  // namespace
}  // namespace veyrin::test
