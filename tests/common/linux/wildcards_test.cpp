#include "common/platform/wildcards.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace veyrin::test {
namespace {

TEST(ExpandWildcards, IsLeftToTheShell) {
  for (const std::string name : {"*", "/bin/*", "a?b", "clip.mp4", ""}) {
    EXPECT_EQ(platform::expand_wildcards(name), std::vector<std::string>{name});
  }
}

}  // namespace
}  // namespace veyrin::test
