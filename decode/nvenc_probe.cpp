#include "decode/nvenc_probe.h"

#include "common/platform/shared_library.h"

namespace veyrin {
namespace {

/// An encode session; `is_open` tells whether the driver gave one.
class Session {
 public:
  Session(const nvenc::FunctionList& functions, const NvencDevice& device) : functions_(functions) {
    nvenc::SessionParameters parameters;
    parameters.device_type = device.type();
    parameters.device = device.handle();
    opened_ = functions_.open_session(&parameters, &session_) == nvenc::success && session_ != nullptr;
  }
  // A driver may leave a session behind that it could not open completely; it wants that one destroyed as
  // well.
  ~Session() {
    if (session_ != nullptr) functions_.destroy_session(session_);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  [[nodiscard]] bool is_open() const { return opened_; }

  /// 0 when the driver does not know the capability.
  [[nodiscard]] int hevc_capability(nvenc::Capability capability) const {
    nvenc::CapabilityQuestion question;
    question.capability = capability;
    int answer = 0;
    const nvenc::Status status = functions_.get_capability(session_, nvenc::hevc_codec, &question, &answer);
    return status == nvenc::success ? answer : 0;
  }

 private:
  const nvenc::FunctionList& functions_;
  void* session_ = nullptr;
  bool opened_ = false;
};

}  // namespace

bool encoder_supports_stereo(nvenc::CreateInstance& create_instance, const NvencDevice& device,
                             const StereoEncodeRequest& request) {
  nvenc::FunctionList functions;
  if (create_instance(&functions) != nvenc::success || functions.open_session == nullptr ||
      functions.get_capability == nullptr || functions.destroy_session == nullptr) {
    return false;
  }
  using enum nvenc::Capability;
  const Session session(functions, device);
  return session.is_open() && session.hevc_capability(support_mvhevc_encode) != 0 &&
         session.hevc_capability(width_max) >= request.width &&
         session.hevc_capability(height_max) >= request.height &&
         (!request.ten_bit || session.hevc_capability(support_10bit_encode) != 0);
}

bool probe_stereo_mv_hevc_support(const StereoEncodeRequest& request, const NvencLibraries& libraries) {
  const auto device = open_nvenc_device(libraries);
  if (device == nullptr) return false;
  const platform::SharedLibrary encoder(libraries.encoder);
  auto* create_instance = encoder.function<nvenc::CreateInstance>(nvenc::create_instance_name);
  return create_instance != nullptr && encoder_supports_stereo(*create_instance, *device, request);
}

bool probe_stereo_mv_hevc_support(std::int32_t width, std::int32_t height, bool ten_bit) {
  return probe_stereo_mv_hevc_support({.width = width, .height = height, .ten_bit = ten_bit},
                                      installed_nvenc_libraries());
}

}  // namespace veyrin
