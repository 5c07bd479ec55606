#include "common/platform/output_file.h"

#include <windows.h>

#include <algorithm>

namespace veyrin::platform {
namespace {

HANDLE handle_of(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

[[nodiscard]] bool fail_with_last_error(std::error_code& reason) {
  reason.assign(static_cast<int>(GetLastError()), std::system_category());
  // Callers tell their users in the words of the generic category, as those of libraries do.
  const std::error_condition meaning = reason.default_error_condition();
  if (meaning.category() == std::generic_category()) reason.assign(meaning.value(), std::generic_category());
  return false;
}

}  // namespace

OutputFile::OutputFile(std::intptr_t handle)
    : handle_(handle), seekable_(GetFileType(handle_of(handle)) == FILE_TYPE_DISK) {}

OutputFile::~OutputFile() {
  if (open_) CloseHandle(handle_of(handle_));
}

std::unique_ptr<OutputFile> OutputFile::open(const std::filesystem::path& path, Opening opening,
                                             std::error_code& reason) {
  const DWORD how = opening == Opening::create ? CREATE_NEW : CREATE_ALWAYS;
  HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, how,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE)
    return std::unique_ptr<OutputFile>(new OutputFile(reinterpret_cast<std::intptr_t>(file)));
  static_cast<void>(fail_with_last_error(reason));
  return nullptr;
}

bool OutputFile::write(const std::uint8_t* data, std::size_t size, std::error_code& reason) {
  constexpr std::size_t most_bytes = std::size_t{1} << 30U;
  while (size > 0) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(size, most_bytes));
    if (WriteFile(handle_of(handle_), data, wanted, &written, nullptr) == 0)
      return fail_with_last_error(reason);
    data += written;
    size -= written;
  }
  return true;
}

bool OutputFile::seek(std::int64_t position, std::error_code& reason) {
  LARGE_INTEGER target;
  target.QuadPart = position;
  return SetFilePointerEx(handle_of(handle_), target, nullptr, FILE_BEGIN) != 0 ||
         fail_with_last_error(reason);
}

std::int64_t OutputFile::size() const {
  LARGE_INTEGER bytes;
  return GetFileSizeEx(handle_of(handle_), &bytes) != 0 ? bytes.QuadPart : -1;
}

bool OutputFile::close(std::error_code& reason) {
  open_ = false;
  return CloseHandle(handle_of(handle_)) != 0 || fail_with_last_error(reason);
}

}  // namespace veyrin::platform
