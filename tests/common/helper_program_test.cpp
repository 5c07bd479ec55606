#include "common/helper_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "common/platform/files.h"
#include "common/platform/program.h"
#include "tests/support/environment.h"

namespace veyrin::test {
namespace {

constexpr const char* variable = "VEYRIN_TEST_HELPER";

TEST(HelperProgram, IsNamedByAVariableThatIsNotEmpty) {
  remove_variable(variable);
  EXPECT_EQ(named_program(variable), std::nullopt);
  for (const std::string& name : {std::string("nowhere/caf\xc3\xa9"), std::string("x")}) {
    const EnvironmentVariable named(variable, name);
    EXPECT_EQ(named_program(variable), platform::path_from_utf8(name));
  }
  const EnvironmentVariable empty(variable, "");
  EXPECT_EQ(named_program(variable), std::nullopt);
}

TEST(HelperProgram, LiesBesideThisProgram) {
  const std::filesystem::path own = platform::module_path();
  EXPECT_EQ(program_beside("common_test"), own);
  EXPECT_EQ(program_beside("nobody").parent_path(), own.parent_path());
}

TEST(HelperProgram, RunsInItsOwnFolderWhateverItsNameIsRelativeTo) {
  const auto request = request_in_own_folder(std::filesystem::path("some") / "helper", {"a", "b c"});
  EXPECT_EQ(request.executable, std::filesystem::current_path() / "some" / "helper");
  EXPECT_EQ(request.working_directory, std::filesystem::current_path() / "some");
  EXPECT_EQ(request.arguments, (std::vector<std::string>{"a", "b c"}));
  EXPECT_EQ(request.input, platform::ChildInput::null_device);
  EXPECT_EQ(request.output, platform::ChildOutput::inherited);
}

}  // namespace
}  // namespace veyrin::test
