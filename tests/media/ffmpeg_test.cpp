#include "media/ffmpeg.h"

#include <gtest/gtest.h>

#include "common/error_text.h"

extern "C" {
#include <libavutil/error.h>
}

namespace veyrin::test {
namespace {

TEST(LibraryErrorText, IsTheLibrarysOwn) {
  EXPECT_EQ(library_error_text(AVERROR_EOF), "End of file");
  EXPECT_EQ(library_error_text(AVERROR_INVALIDDATA), "Invalid data found when processing input");
  EXPECT_EQ(library_error_text(AVERROR(ENOENT)), "No such file or directory");
}

TEST(LibraryErrorText, IsCutToTheLibrarysBuffer) {
  // Unknown codes get a text too.
  const std::string text = library_error_text(-123456789);
  EXPECT_EQ(text, "Error number -123456789 occurred");
  for (int code = -200; code < 0; ++code) {
    EXPECT_LE(library_error_text(code).size(), 63U);
    EXPECT_FALSE(library_error_text(code).empty());
  }
}

TEST(Fail, StoresItsMessageAndIsFalse) {
  std::string error = "earlier";
  EXPECT_FALSE(fail(error, "could not do it"));
  EXPECT_EQ(error, "could not do it");
}

TEST(FailWithLibraryError, PutsTheLibrarysTextAfterAColon) {
  std::string error;
  EXPECT_FALSE(fail_with_library_error(error, "could not open input", AVERROR_EOF));
  EXPECT_EQ(error, "could not open input: End of file");
  EXPECT_EQ(with_library_error("a", AVERROR_EOF), "a: End of file");
}

}  // namespace
}  // namespace veyrin::test
