#include "tests/common/same_file_names.h"

#include <algorithm>
#include <string>

namespace veyrin::test {

using std::filesystem::path;

std::vector<path> names_of_same_file(const path& input) {
  std::wstring capitals = input.filename().wstring();
  std::transform(capitals.begin(), capitals.end(), capitals.begin(), [](wchar_t letter) {
    return letter >= L'a' && letter <= L'z' ? static_cast<wchar_t>(letter - L'a' + L'A') : letter;
  });
  return {path(input.generic_wstring()), input.parent_path() / capitals};
}

std::vector<path> names_of_other_files(const path& /*folder*/) {
  return {};
}

}  // namespace veyrin::test
