// The encoder library's two entry points and the functions that they hand out.
#include <ffnvcodec/nvEncodeAPI.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

#include "simulated_nvenc_export.h"
#include "tests/simulated_nvenc/capabilities.h"
#include "tests/simulated_nvenc/refusal.h"
#include "tests/simulated_nvenc/session.h"

namespace veyrin::simulated_nvenc {
namespace {

/// The sessions that are open, by the handles that callers have.
class SessionTable {
 public:
  void* add(std::shared_ptr<Session> session) {
    const std::lock_guard guard(lock_);
    void* handle = session.get();
    sessions_[handle] = std::move(session);
    return handle;
  }
  std::shared_ptr<Session> find(void* handle) {
    const std::lock_guard guard(lock_);
    const auto found = sessions_.find(handle);
    return found == sessions_.end() ? nullptr : found->second;
  }
  bool remove(void* handle) {
    const std::lock_guard guard(lock_);
    return sessions_.erase(handle) == 1;
  }

 private:
  std::mutex lock_;
  std::map<void*, std::shared_ptr<Session>> sessions_;
};

SessionTable& sessions() {
  static SessionTable table;
  return table;
}

/// Calls `work` with the session of the handle; errors become the status and the last error.
template <typename Work>
NVENCSTATUS on_session(void* handle, Work work) {
  const auto session = sessions().find(handle);
  if (session == nullptr) return NV_ENC_ERR_INVALID_PTR;
  try {
    return work(*session);
  } catch (const Refusal& refusal) {
    session->remember_error(refusal.what());
    log_line(session->settings(), std::string("refused ") + refusal.what());
    return refusal.status();
  } catch (const std::exception& failure) {
    session->remember_error(failure.what());
    log_line(session->settings(), std::string("failed ") + failure.what());
    return NV_ENC_ERR_GENERIC;
  }
}

/// A function of the interface that hands its structure to one member of the session.
template <auto member, typename Parameters>
NVENCSTATUS pass_structure(void* handle, Parameters* parameters) {
  if (parameters == nullptr) return NV_ENC_ERR_INVALID_PTR;
  return on_session(handle, [&](Session& session) {
    (session.*member)(*parameters);
    return NV_ENC_SUCCESS;
  });
}

/// A function of the interface that hands a buffer to one member of the session.
template <auto member>
NVENCSTATUS pass_buffer(void* handle, void* buffer) {
  return on_session(handle, [&](Session& session) {
    (session.*member)(buffer);
    return NV_ENC_SUCCESS;
  });
}

NVENCSTATUS open_session(NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS* parameters, void** handle) {
  if (parameters == nullptr || handle == nullptr) return NV_ENC_ERR_INVALID_PTR;
  *handle = nullptr;
  if (parameters->version != NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS_VER ||
      parameters->apiVersion != NVENCAPI_VERSION) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  if (parameters->device == nullptr) return NV_ENC_ERR_INVALID_DEVICE;
  std::unique_ptr<TextureDevice> textures;
  if (parameters->deviceType == NV_ENC_DEVICE_TYPE_DIRECTX) {
    textures = open_texture_device(parameters->device);
    if (textures == nullptr) return NV_ENC_ERR_UNSUPPORTED_DEVICE;
  } else if (parameters->deviceType != NV_ENC_DEVICE_TYPE_CUDA) {
    return NV_ENC_ERR_UNSUPPORTED_DEVICE;
  }
  Settings settings = settings_from_environment();
  if (settings.open_session_status) {
    log_line(settings, "refused to open a session (as configured)");
    return static_cast<NVENCSTATUS>(*settings.open_session_status);
  }
  *handle = sessions().add(std::make_shared<Session>(std::move(settings), std::move(textures)));
  return NV_ENC_SUCCESS;
}

NVENCSTATUS destroy_session(void* handle) {
  return sessions().remove(handle) ? NV_ENC_SUCCESS : NV_ENC_ERR_INVALID_PTR;
}

NVENCSTATUS codec_count(void* handle, std::uint32_t* count) {
  return on_session(handle, [&](Session& session) {
    *count = static_cast<std::uint32_t>(codecs(session.settings()).size());
    return NV_ENC_SUCCESS;
  });
}

NVENCSTATUS codec_names(void* handle, GUID* names, std::uint32_t room, std::uint32_t* count) {
  return on_session(handle, [&](Session& session) {
    const auto offered = codecs(session.settings());
    *count = std::min(room, static_cast<std::uint32_t>(offered.size()));
    std::copy_n(offered.begin(), *count, names);
    return NV_ENC_SUCCESS;
  });
}

NVENCSTATUS answer_capability(void* handle, GUID codec, NV_ENC_CAPS_PARAM* question, int* answer) {
  return on_session(handle, [&](Session& session) {
    require_version(question->version, NV_ENC_CAPS_PARAM_VER, "capability question");
    *answer = capability(session.settings(), codec, question->capsToQuery);
    return NV_ENC_SUCCESS;
  });
}

NVENCSTATUS preset(void* handle, GUID codec, GUID name, NV_ENC_TUNING_INFO tuning, NV_ENC_PRESET_CONFIG* to) {
  return on_session(handle, [&](Session& session) {
    require_version(to->version, NV_ENC_PRESET_CONFIG_VER, "preset configuration");
    require_version(to->presetCfg.version, NV_ENC_CONFIG_VER, "configuration");
    to->presetCfg = preset_configuration(session.settings(), codec, name, tuning);
    return NV_ENC_SUCCESS;
  });
}

NVENCSTATUS encode_picture(void* handle, NV_ENC_PIC_PARAMS* parameters) {
  if (parameters == nullptr) return NV_ENC_ERR_INVALID_PTR;
  return on_session(handle, [&](Session& session) { return session.encode(*parameters); });
}

NVENCSTATUS set_streams(void* handle, NV_ENC_CUSTREAM_PTR /*input*/, NV_ENC_CUSTREAM_PTR /*output*/) {
  return on_session(handle, [](Session&) { return NV_ENC_SUCCESS; });
}

const char* last_error(void* handle) {
  const auto session = sessions().find(handle);
  return session == nullptr ? "no such session" : session->last_error();
}

/// For functions that this driver does not implement.
template <typename... Arguments>
NVENCSTATUS unimplemented(Arguments... /*ignored*/) {
  return NV_ENC_ERR_UNIMPLEMENTED;
}

}  // namespace
}  // namespace veyrin::simulated_nvenc

// NOLINTBEGIN(readability-identifier-naming): the names are the driver's.
extern "C" SIMULATED_NVENC_EXPORT NVENCSTATUS NvEncodeAPIGetMaxSupportedVersion(std::uint32_t* version) {
  if (version == nullptr) return NV_ENC_ERR_INVALID_PTR;
  *version = NVENCAPI_MAJOR_VERSION << 4 | NVENCAPI_MINOR_VERSION;
  return NV_ENC_SUCCESS;
}

extern "C" SIMULATED_NVENC_EXPORT NVENCSTATUS
NvEncodeAPICreateInstance(NV_ENCODE_API_FUNCTION_LIST* functions) {
  namespace driver = veyrin::simulated_nvenc;
  using driver::Session;
  if (functions == nullptr) return NV_ENC_ERR_INVALID_PTR;
  if (functions->version != NV_ENCODE_API_FUNCTION_LIST_VER) return NV_ENC_ERR_INVALID_VERSION;
  functions->nvEncOpenEncodeSessionEx = driver::open_session;
  functions->nvEncDestroyEncoder = driver::destroy_session;
  functions->nvEncGetEncodeGUIDCount = driver::codec_count;
  functions->nvEncGetEncodeGUIDs = driver::codec_names;
  functions->nvEncGetEncodeCaps = driver::answer_capability;
  functions->nvEncGetEncodePresetConfigEx = driver::preset;
  functions->nvEncInitializeEncoder = driver::pass_structure<&Session::initialize>;
  functions->nvEncReconfigureEncoder = driver::pass_structure<&Session::reconfigure>;
  functions->nvEncSetIOCudaStreams = driver::set_streams;
  functions->nvEncCreateInputBuffer = driver::pass_structure<&Session::create_input>;
  functions->nvEncDestroyInputBuffer = driver::pass_buffer<&Session::destroy_input>;
  functions->nvEncLockInputBuffer = driver::pass_structure<&Session::lock_input>;
  functions->nvEncUnlockInputBuffer = driver::pass_buffer<&Session::unlock_input>;
  functions->nvEncCreateBitstreamBuffer = driver::pass_structure<&Session::create_output>;
  functions->nvEncDestroyBitstreamBuffer = driver::pass_buffer<&Session::destroy_output>;
  functions->nvEncLockBitstream = driver::pass_structure<&Session::lock_output>;
  functions->nvEncUnlockBitstream = driver::pass_buffer<&Session::unlock_output>;
  functions->nvEncGetSequenceParams = driver::pass_structure<&Session::sequence_parameters>;
  functions->nvEncEncodePicture = driver::encode_picture;
  functions->nvEncGetLastErrorString = driver::last_error;
  functions->nvEncRegisterResource = driver::pass_structure<&Session::register_texture>;
  functions->nvEncUnregisterResource = driver::pass_buffer<&Session::unregister_texture>;
  functions->nvEncMapInputResource = driver::pass_structure<&Session::map_texture>;
  functions->nvEncUnmapInputResource = driver::pass_buffer<&Session::unmap_texture>;
  functions->nvEncGetEncodeStats = driver::unimplemented;
  functions->nvEncInvalidateRefFrames = driver::unimplemented;
  functions->nvEncRegisterAsyncEvent = driver::unimplemented;
  functions->nvEncUnregisterAsyncEvent = driver::unimplemented;
  functions->nvEncCreateMVBuffer = driver::unimplemented;
  functions->nvEncDestroyMVBuffer = driver::unimplemented;
  functions->nvEncRunMotionEstimationOnly = driver::unimplemented;
  functions->nvEncGetSequenceParamEx = driver::unimplemented;
  functions->nvEncRestoreEncoderState = driver::unimplemented;
  functions->nvEncLookaheadPicture = driver::unimplemented;
  return NV_ENC_SUCCESS;
}
// NOLINTEND(readability-identifier-naming)
