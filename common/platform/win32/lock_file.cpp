#include "common/platform/lock_file.h"

#include <windows.h>

#include <system_error>
#include <utility>

#include "common/platform/win32/windows_api.h"

namespace veyrin::platform {
namespace {

constexpr DWORD most_text = 255;
constexpr std::intptr_t no_handle = -1;

bool is_regular_file(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION information;
  constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  return GetFileType(file) == FILE_TYPE_DISK && GetFileInformationByHandle(file, &information) != 0 &&
         (information.dwFileAttributes & others) == 0;
}

}  // namespace

LockFile::LockFile(std::filesystem::path path) : handle_(no_handle), path_(std::move(path)) {
  inherited_text_.reserve(most_text);
}

void LockFile::read_inherited_text() {
  inherited_text_.resize(most_text);
  DWORD size = 0;
  if (ReadFile(reinterpret_cast<HANDLE>(handle_), inherited_text_.data(), most_text, &size, nullptr) == 0)
    size = 0;
  inherited_text_.resize(size);
}

LockFile::Outcome LockFile::take(const std::filesystem::path& path, std::unique_ptr<LockFile>& lock,
                                 std::string& reason) {
  std::unique_ptr<LockFile> taken(new LockFile(path));
  // Shared with nobody: the system itself refuses a second holder.
  Handle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, OPEN_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file.valid()) {
    const DWORD code = GetLastError();
    // A file that its holder is just removing denies access, even to its attributes.
    const bool is_going = code == ERROR_ACCESS_DENIED &&
                          GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES &&
                          GetLastError() == ERROR_ACCESS_DENIED;
    if (code == ERROR_SHARING_VIOLATION || code == ERROR_DELETE_PENDING || is_going) return Outcome::held;
    reason = std::system_category().message(static_cast<int>(code));
    return Outcome::unavailable;
  }
  if (!is_regular_file(file.get())) {
    reason = "it is not a regular file";
    return Outcome::unavailable;
  }
  taken->handle_ = reinterpret_cast<std::intptr_t>(file.release());
  taken->read_inherited_text();
  lock = std::move(taken);
  return Outcome::taken;
}

LockFile::~LockFile() {
  if (handle_ == no_handle) return;
  const Handle file(reinterpret_cast<HANDLE>(handle_));
  if (!removes_file_) return;
  FILE_DISPOSITION_INFO disposition{.DeleteFile = TRUE};
  SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition, sizeof disposition);
}

bool LockFile::write(const std::string& text) {
  HANDLE file = reinterpret_cast<HANDLE>(handle_);
  DWORD written = 0;
  LARGE_INTEGER beginning{};
  return SetFilePointerEx(file, beginning, nullptr, FILE_BEGIN) != 0 && SetEndOfFile(file) != 0 &&
         WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != 0 &&
         written == text.size();
}

}  // namespace veyrin::platform
