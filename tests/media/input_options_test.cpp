#include <gtest/gtest.h>

#include <string>

#include "media/recording_input.h"

namespace veyrin::test {
namespace {

std::string options_for(const char* path) {
  Dictionary options;
  EXPECT_EQ(open_input_options(path, options), 0);
  char* text = nullptr;
  av_dict_get_string(options.get(), &text, '=', ',');
  std::string result = text;
  av_freep(&text);
  return result;
}

TEST(InputOptions, IgnoreEditListsOfRecordingsStillBeingWritten) {
  EXPECT_EQ(options_for("folder/take.mp4.partial"), "advanced_editlist=0");
  EXPECT_EQ(options_for(".mp4.partial"), "advanced_editlist=0");
}

TEST(InputOptions, AreEmptyForOtherNames) {
  for (const char* path : {"take.mp4", "take.MP4.partial", "take.mp4.PARTIAL", "mp4.partial",
                           "take.mp4.partial.mp4", "take.partial", ""}) {
    EXPECT_EQ(options_for(path), "") << path;
  }
}

}  // namespace
}  // namespace veyrin::test
