#include "tests/support/program_run.h"

#include <windows.h>

#include <stdexcept>

#include "common/platform/win32/windows_api.h"
#include "common/platform/windows_command_line.h"

namespace veyrin::test {
namespace {

using platform::Handle;
using platform::wide_from_utf8;

constexpr DWORD time_limit = 60000;

Handle open_for_child(const std::filesystem::path& path, DWORD access, DWORD creation) {
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return Handle(CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &attributes, creation,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// This process's variables, replaced by those of `changes`, each terminated by a zero.
std::wstring environment_block(const std::vector<std::string>& changes) {
  std::wstring block;
  for (const std::string& change : changes) block += wide_from_utf8(change) + L'\0';
  wchar_t* const own = GetEnvironmentStringsW();
  for (const wchar_t* entry = own; *entry != L'\0'; entry += wcslen(entry) + 1) {
    const std::wstring_view text(entry);
    const std::wstring_view name = text.substr(0, text.find(L'=', 1) + 1);
    bool changed = false;
    for (const std::string& change : changes) changed = changed || wide_from_utf8(change).starts_with(name);
    if (!changed) block.append(text).push_back(L'\0');
  }
  FreeEnvironmentStringsW(own);
  return block + L'\0';
}

std::string with_line_feeds(std::string text) {
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;) text.erase(at, 1);
  return text;
}

}  // namespace

ProgramRun run_program(const std::string& executable, const std::vector<std::string>& arguments,
                       const std::vector<std::string>& environment) {
  const TemporaryFolder folder;
  const Handle input = open_for_child("NUL", GENERIC_READ, OPEN_EXISTING);
  Handle output = open_for_child(folder / "output", GENERIC_WRITE, CREATE_NEW);
  Handle errors = open_for_child(folder / "errors", GENERIC_WRITE, CREATE_NEW);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input.get();
  startup.hStdOutput = output.get();
  startup.hStdError = errors.get();
  std::wstring line = wide_from_utf8(platform::windows_command_line(executable, arguments));
  std::wstring block = environment_block(environment);
  PROCESS_INFORMATION information{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_UNICODE_ENVIRONMENT, block.data(),
                     nullptr, &startup, &information) == 0) {
    throw std::runtime_error("could not start " + executable);
  }
  const Handle thread(information.hThread);
  const Handle process(information.hProcess);
  if (WaitForSingleObject(process.get(), time_limit) != WAIT_OBJECT_0) TerminateProcess(process.get(), 99);
  WaitForSingleObject(process.get(), INFINITE);
  DWORD status = 0;
  GetExitCodeProcess(process.get(), &status);
  output.reset();
  errors.reset();
  return {static_cast<int>(status), with_line_feeds(file_text(folder / "output")),
          with_line_feeds(file_text(folder / "errors"))};
}

}  // namespace veyrin::test
