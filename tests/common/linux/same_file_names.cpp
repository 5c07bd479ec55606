#include "tests/common/same_file_names.h"

namespace veyrin::test {

using std::filesystem::path;

std::vector<path> names_of_same_file(const path& input) {
  const path folder = input.parent_path();
  std::filesystem::create_symlink(input.filename(), folder / "symbolic.mov");
  std::filesystem::create_symlink("symbolic.mov", folder / "chain.mov");
  std::filesystem::create_directory(folder / "linked");
  std::filesystem::create_directory_symlink(folder, folder / "linked/back");
  return {folder / "symbolic.mov", folder / "chain.mov", folder / "linked/back" / input.filename()};
}

std::vector<path> names_of_other_files(const path& folder) {
  std::filesystem::create_symlink("nowhere.mov", folder / "dangling.mov");
  std::filesystem::create_symlink("loop.mov", folder / "loop.mov");
  return {folder / "dangling.mov", folder / "loop.mov"};
}

}  // namespace veyrin::test
