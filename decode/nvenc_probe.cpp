#include "decode/nvenc_probe.h"

#include <optional>
#include <utility>

#include "common/platform/program.h"

namespace veyrin {
namespace {

/// The driver's functions; nothing when it is too old or lacks one that is needed.
std::optional<nvenc::FunctionList> load_functions(nvenc::CreateInstance& create_instance) {
  nvenc::FunctionList functions;
  if (create_instance(&functions) != nvenc::success || functions.open_session == nullptr ||
      functions.get_capability == nullptr || functions.destroy_session == nullptr) {
    return std::nullopt;
  }
  return functions;
}

/// An open encode session.
class Session {
 public:
  /// Null when the driver opens none. The session borrows the functions and the device.
  static std::unique_ptr<Session> open(const nvenc::FunctionList& functions, const NvencDevice& device) {
    nvenc::SessionParameters parameters;
    parameters.device_type = device.type();
    parameters.device = device.handle();
    void* handle = nullptr;
    const nvenc::Status status = functions.open_session(&parameters, &handle);
    if (handle == nullptr) return nullptr;
    // A driver that fails halfway may leave a session behind, which has to be destroyed as well.
    std::unique_ptr<Session> session(new Session(functions, handle));
    return status == nvenc::success ? std::move(session) : nullptr;
  }
  ~Session() { functions_.destroy_session(handle_); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// 0 when the driver does not know the capability.
  [[nodiscard]] int hevc_capability(nvenc::Capability capability) const {
    nvenc::CapabilityQuestion question;
    question.capability = capability;
    int answer = 0;
    const nvenc::Status status = functions_.get_capability(handle_, nvenc::hevc_codec, &question, &answer);
    return status == nvenc::success ? answer : 0;
  }

 private:
  Session(const nvenc::FunctionList& functions, void* handle) : functions_(functions), handle_(handle) {}

  const nvenc::FunctionList& functions_;
  void* handle_;
};

}  // namespace

bool probe_stereo_mv_hevc_support(Size view, BitDepth depth, const NvencLibraries& libraries) {
  const auto device = open_nvenc_device(libraries);
  if (device == nullptr) return false;
  const auto encoder = platform::SharedLibrary::load(libraries.encoder);
  if (encoder == nullptr) return false;
  auto* create_instance = encoder->function<nvenc::CreateInstance>(nvenc::create_instance_name);
  if (create_instance == nullptr) return false;
  const auto functions = load_functions(*create_instance);
  if (!functions) return false;
  const auto session = Session::open(*functions, *device);
  using enum nvenc::Capability;
  return session != nullptr && session->hevc_capability(support_mvhevc_encode) != 0 &&
         session->hevc_capability(width_max) >= view.width &&
         session->hevc_capability(height_max) >= view.height &&
         (depth == BitDepth::eight || session->hevc_capability(support_10bit_encode) != 0);
}

bool probe_stereo_mv_hevc_support(Size view, BitDepth depth) {
  return probe_stereo_mv_hevc_support(view, depth, installed_nvenc_libraries());
}

}  // namespace veyrin
