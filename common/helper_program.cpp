#include "common/helper_program.h"

#include <utility>

#include "common/platform/files.h"
#include "common/platform/program.h"

namespace veyrin {

std::optional<std::filesystem::path> named_program(const char* variable) {
  const auto named = platform::environment_value(variable);
  if (!named || named->empty()) return std::nullopt;
  return platform::path_from_utf8(*named);
}

std::filesystem::path program_beside(std::string_view name) {
  const std::filesystem::path converter = platform::module_path();
  if (converter.empty()) return {};
  return converter.parent_path() / platform::executable_file_name(name);
}

platform::ChildProcessRequest request_in_own_folder(const std::filesystem::path& program,
                                                    std::vector<std::string> arguments) {
  platform::ChildProcessRequest request;
  request.executable = std::filesystem::absolute(program);
  request.arguments = std::move(arguments);
  request.working_directory = request.executable.parent_path();
  return request;
}

}  // namespace veyrin
