// Intel's encoders on a machine without one: what they are told and where their library is looked for.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "common/error_text.h"
#include "common/platform/files.h"
#include "common/platform/program.h"
#include "convert/encoder_selection.h"
#include "convert/encoder_settings.h"
#include "media/video_types.h"
#include "tests/convert/encoder_request.h"
#include "tests/support/environment.h"
#include "tests/support/temporary_folder.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace veyrin::test {
namespace {

CodecContextPtr configured(const AVCodec& encoder, const EncoderRequest& request) {
  CodecContextPtr context(avcodec_alloc_context3(&encoder));
  const AVPixelFormat format = choose_pixel_format(encoder, request.codec, request.depth);
  configure_encoder(request, format, /*bit_rate=*/55000000, *context);
  return context;
}

std::int64_t private_option(const AVCodecContext& context, const char* name) {
  std::int64_t value = -1;
  av_opt_get_int(context.priv_data, name, 0, &value);
  return value;
}

struct QsvCase {
  const char* encoder;
  SbsCodec codec;
  BitDepth depth;
  AVPixelFormat format;
  int profile;  ///< as the encoder's own library numbers it
};

TEST(QsvEncoder, IsInTheLibrariesAndUnderstandsItsSettings) {
  const QsvCase cases[] = {
      {"h264_qsv", SbsCodec::h264, BitDepth::eight, AV_PIX_FMT_NV12, 100},
      {"hevc_qsv", SbsCodec::hevc, BitDepth::eight, AV_PIX_FMT_NV12, 1},
      {"hevc_qsv", SbsCodec::hevc, BitDepth::ten, AV_PIX_FMT_P010LE, 2},
  };
  constexpr std::int64_t main_tier = 0;  // the default is the high one, 0x100
  for (const QsvCase& wanted : cases) {
    SCOPED_TRACE(testing::Message() << wanted.encoder << ", bits " << static_cast<int>(wanted.depth));
    const AVCodec* encoder = avcodec_find_encoder_by_name(wanted.encoder);
    ASSERT_NE(encoder, nullptr);
    const CodecContextPtr context = configured(*encoder, request_for(wanted.codec, wanted.depth));
    EXPECT_STREQ(pixel_format_name(context->pix_fmt), pixel_format_name(wanted.format));
    EXPECT_EQ(private_option(*context, "profile"), wanted.profile);
    if (wanted.codec == SbsCodec::hevc) {
      EXPECT_EQ(private_option(*context, "tier"), main_tier);
    }
  }
}

/// The test program works in a folder of its own, and the stand-in tells when it is loaded.
class QsvLibrarySearch : public testing::Test {
 protected:
  QsvLibrarySearch() : start_(std::filesystem::current_path()) {
    av_log_set_level(AV_LOG_QUIET);
    std::filesystem::copy_file(platform::module_path().parent_path() / "qsv_library_stand_in.dll",
                               folder_ / "libmfx64-gen.dll");
  }
  ~QsvLibrarySearch() override {
    std::filesystem::current_path(start_);
    test::remove_variable(loaded_variable);
  }

  // What the log of attempts says when every other way is barred.
  static std::string attempts() {
    EncoderCalls calls = system_encoder_calls();
    calls.packaged_available = [](BitDepth, std::string& error) { return fail(error, "barred"); };
    std::string error;
    EXPECT_FALSE(select_encoder(request_for(SbsCodec::hevc, BitDepth::ten), error, calls).has_value());
    return error;
  }

  static bool library_was_loaded() { return platform::environment_switch(loaded_variable); }

  static constexpr const char* loaded_variable = "VEYRIN_TEST_QSV_LIBRARY_LOADED";
  test::TemporaryFolder folder_;

 private:
  std::filesystem::path start_;
};

TEST_F(QsvLibrarySearch, WithoutTheLibraryTheNextEncoderIsTried) {
  EXPECT_THAT(attempts(), testing::HasSubstr("\n  hevc_qsv: Unknown error occurred\n  hevc_amf: "));
  EXPECT_FALSE(library_was_loaded());
}

TEST_F(QsvLibrarySearch, TakesALibraryFromTheFolderThatTheUserNames) {
  const test::EnvironmentVariable named("ONEVPL_SEARCH_PATH", platform::path_to_utf8(folder_.path()));
  EXPECT_THAT(attempts(), testing::HasSubstr("\n  hevc_qsv: Unknown error occurred\n  hevc_amf: "));
  EXPECT_TRUE(library_was_loaded());
}

TEST_F(QsvLibrarySearch, TakesNoLibraryFromTheWorkingFolder) {
  std::filesystem::current_path(folder_.path());
  EXPECT_THAT(attempts(), testing::HasSubstr("\n  hevc_qsv: Unknown error occurred\n  hevc_amf: "));
  EXPECT_FALSE(library_was_loaded());
}

}  // namespace
}  // namespace veyrin::test
