#include "common/platform/child_process.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "common/platform/files.h"
#include "common/platform/win32/process_attributes.h"
#include "common/platform/win32/windows_api.h"
#include "common/platform/windows_command_line.h"

namespace veyrin::platform {
namespace {

constexpr DWORD pipe_buffer_bytes = 1048576;
constexpr std::size_t largest_transfer = std::size_t{1} << 30U;
constexpr UINT exit_code_killed = 1;

SECURITY_ATTRIBUTES inheritable() {
  return {.nLength = sizeof(SECURITY_ATTRIBUTES), .lpSecurityDescriptor = nullptr, .bInheritHandle = TRUE};
}

Handle open_null_device() {
  SECURITY_ATTRIBUTES attributes = inheritable();
  return Handle(CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            &attributes, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

/// One of the converter's own standard streams for the child; the null device when the converter has none.
Handle own_stream(DWORD number) {
  const HANDLE own = GetStdHandle(number);
  HANDLE copy = nullptr;
  // The invalid handle has the value that stands for this process, so a copy of it would be made.
  if (own == INVALID_HANDLE_VALUE || DuplicateHandle(GetCurrentProcess(), own, GetCurrentProcess(), &copy, 0,
                                                     TRUE, DUPLICATE_SAME_ACCESS) == 0) {
    return open_null_device();
  }
  return Handle(copy);
}

/// The child's ends of its standard streams.
struct Streams {
  Handle input;
  Handle output;
  Handle error;
};

struct Pipe {
  Handle read_end;
  Handle write_end;
};

/// Both ends reach no child. The pipe's own size is what its writer waits for.
[[nodiscard]] bool open_pipe(Pipe& result) {
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  if (CreatePipe(&reader, &writer, nullptr, pipe_buffer_bytes) == 0) return false;
  result.read_end = Handle(reader);
  result.write_end = Handle(writer);
  return true;
}

[[nodiscard]] bool let_children_inherit(const Handle& handle) {
  return SetHandleInformation(handle.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT) != 0;
}

/// `own` is the other end of the child's input, when that is a pipe.
[[nodiscard]] bool open_input(ChildInput kind, Handle& of_child, Handle& own) {
  if (kind == ChildInput::null_device) {
    of_child = open_null_device();
    return true;
  }
  Pipe pipe;
  if (!open_pipe(pipe) || !let_children_inherit(pipe.read_end)) return false;
  of_child = std::move(pipe.read_end);
  own = std::move(pipe.write_end);
  return true;
}

/// `own` is the other end of the child's output, when that is a pipe.
[[nodiscard]] bool open_output(ChildOutput kind, Handle& of_child, Handle& own) {
  if (kind != ChildOutput::pipe) {
    of_child = kind == ChildOutput::null_device ? open_null_device() : own_stream(STD_OUTPUT_HANDLE);
    return true;
  }
  Pipe pipe;
  if (!open_pipe(pipe) || !let_children_inherit(pipe.write_end)) return false;
  of_child = std::move(pipe.write_end);
  own = std::move(pipe.read_end);
  return true;
}

/// A job whose processes end with its last handle, which the system closes even when the converter is killed.
Handle create_job() {
  Handle job(CreateJobObjectW(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  if (job.valid() &&
      SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits) == 0) {
    job.reset();
  }
  return job;
}

/// The running process; invalid with the reason in GetLastError when there is none.
Handle create_process(const ChildProcessRequest& request, const Streams& streams, HANDLE job) {
  std::vector<HANDLE> inherited{streams.input.get(), streams.output.get(), streams.error.get()};
  const ProcessAttributes attributes(inherited, job);
  if (attributes.get() == nullptr) return {};
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdInput = streams.input.get();
  startup.StartupInfo.hStdOutput = streams.output.get();
  startup.StartupInfo.hStdError = streams.error.get();
  startup.lpAttributeList = attributes.get();

  // The program is started from within its working directory, where a relative name would mean another file.
  const auto executable = std::filesystem::absolute(request.executable).make_preferred();
  const auto directory = std::filesystem::absolute(request.working_directory).make_preferred();
  std::wstring line = wide_from_utf8(windows_command_line(path_to_utf8(executable), request.arguments));
  PROCESS_INFORMATION information{};
  if (CreateProcessW(executable.c_str(), line.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, directory.c_str(),
                     &startup.StartupInfo, &information) == 0) {
    return {};
  }
  CloseHandle(information.hThread);
  return Handle(information.hProcess);
}

}  // namespace

struct ChildProcess::State {
  Handle job;
  Handle process;
  Handle input;
  Handle output;
};

std::unique_ptr<ChildProcess> ChildProcess::start(const ChildProcessRequest& request,
                                                  ChildStartFailure& failure) {
  const auto failed = [&failure](ChildStartFailure::Step step) {
    failure = {step, "Windows error " + std::to_string(GetLastError())};
    return nullptr;
  };
  auto state = std::make_unique<State>();
  Streams streams;
  if (!open_input(request.input, streams.input, state->input) ||
      !open_output(request.output, streams.output, state->output)) {
    return failed(ChildStartFailure::Step::pipe);
  }
  const bool silent = request.output == ChildOutput::null_device;
  streams.error = silent ? open_null_device() : own_stream(STD_ERROR_HANDLE);
  state->job = create_job();
  if (!streams.input.valid() || !streams.output.valid() || !streams.error.valid() || !state->job.valid()) {
    return failed(ChildStartFailure::Step::process);
  }
  state->process = create_process(request, streams, state->job.get());
  if (!state->process.valid()) return failed(ChildStartFailure::Step::process);
  return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(state)));
}

ChildProcess::ChildProcess(std::unique_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
  close_input();
  terminate();
}

bool ChildProcess::write(std::span<const std::span<const std::byte>> pieces) {
  if (!state_->input.valid()) return false;
  for (std::span<const std::byte> rest : pieces) {
    while (!rest.empty()) {
      DWORD written = 0;
      const auto wanted = static_cast<DWORD>(std::min(rest.size(), largest_transfer));
      if (WriteFile(state_->input.get(), rest.data(), wanted, &written, nullptr) == 0 || written == 0)
        return false;
      rest = rest.subspan(written);
    }
  }
  return true;
}

void ChildProcess::close_input() {
  state_->input.reset();
}

std::size_t ChildProcess::read(std::span<std::byte> into) {
  if (!state_->output.valid() || into.empty()) return 0;
  const auto wanted = static_cast<DWORD>(std::min(into.size(), largest_transfer));
  DWORD count = 0;
  // A write of no bytes at the other end is a read of none, which is no end.
  while (count == 0) {
    if (ReadFile(state_->output.get(), into.data(), wanted, &count, nullptr) == 0) return 0;
  }
  return count;
}

std::optional<int> ChildProcess::wait(std::optional<std::chrono::milliseconds> limit) {
  const DWORD milliseconds = limit ? static_cast<DWORD>(limit->count()) : INFINITE;
  if (WaitForSingleObject(state_->process.get(), milliseconds) != WAIT_OBJECT_0) return std::nullopt;
  DWORD code = 0;
  if (GetExitCodeProcess(state_->process.get(), &code) == 0) return std::nullopt;
  return static_cast<int>(code);
}

void ChildProcess::kill() {
  // Refused by the system when the child has ended; its handle keeps the number from being given away.
  TerminateProcess(state_->process.get(), exit_code_killed);
}

void ChildProcess::terminate() {
  kill();
  wait();
}

}  // namespace veyrin::platform
