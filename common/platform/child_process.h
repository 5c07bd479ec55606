// A child process that is fed through its standard input and heard through its standard output.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace veyrin::platform {

enum class ChildInput { pipe, null_device };
enum class ChildOutput { inherited, null_device, pipe };

/// What is started and how it is connected. Nothing but the three standard streams reaches the child.
struct ChildProcessRequest {
  std::filesystem::path executable;    ///< a file, not searched for
  std::vector<std::string> arguments;  ///< UTF-8, without the executable itself
  std::filesystem::path working_directory;
  ChildInput input = ChildInput::null_device;
  /// Of standard output and standard error. The pipe is standard output only, standard error is inherited.
  ChildOutput output = ChildOutput::inherited;
};

/// Why a child could not be started.
struct ChildStartFailure {
  enum class Step { pipe, process };
  Step step = Step::process;
  std::string system_error;  ///< kind and number: "system error 2", on Windows "Windows error 2"
};

/// One child. The child is killed when its object is destroyed before it has ended and when the process ends,
/// by force included; on some systems also when the thread that started it ends.
///
/// Threads: one may feed the child (`write`, `close_input`) while another reads (`read`) and a third waits
/// for it (`wait`, `terminate`); none of these three roles is played by two threads at once. `kill` may be
/// called by any thread at any time. All calls have returned before the object is destroyed, which waits for
/// the child's end and neither for what it left in a pipe nor for other holders of that pipe.
class ChildProcess {
 public:
  /// Null with the reason in `failure` when the child does not run.
  [[nodiscard]] static std::unique_ptr<ChildProcess> start(const ChildProcessRequest& request,
                                                           ChildStartFailure& failure);

  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Writes all bytes of all pieces, in order, into the child's input, waiting while the pipe (1 MiB where
  /// the system grants it) is full. False when the child no longer reads or its input is closed; never a
  /// signal.
  [[nodiscard]] bool write(std::span<const std::span<const std::byte>> pieces);
  /// The same for one piece.
  [[nodiscard]] bool write(const void* data, std::size_t size) {
    const std::span piece(static_cast<const std::byte*>(data), size);
    return write({&piece, 1});
  }

  /// Ends the child's input.
  void close_input();

  /// Waits until the child has written something into its output pipe and gives how much of it, at most the
  /// size of `into`, was put there. 0 is the end: no process holds the pipe's other end any more and all that
  /// was in it (1 MiB where the system grants it) has been read, or reading failed; also without such a pipe
  /// and when `into` is empty. A child that has ended or was killed is no end as long as a process that it
  /// started lives on with its output.
  [[nodiscard]] std::size_t read(std::span<std::byte> into);

  /// Waits for the end and gives the exit code; a signal counts as 128 plus its number. Nothing when `limit`
  /// passes first; no limit when absent.
  std::optional<int> wait(std::optional<std::chrono::milliseconds> limit = std::nullopt);

  /// Ends the child at once (exit code 1 where the system lets the killer choose) without waiting until it is
  /// gone; nothing happens when it has ended. A write that waits for it then fails, and a read that waits for
  /// it gives 0, unless another process holds the same pipe.
  void kill();

  /// `kill`, then waits until the child is gone.
  void terminate();

 private:
  struct State;
  explicit ChildProcess(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace veyrin::platform
