#include "tests/processing/d3d11/gpu_frames.h"

#include <cstdint>
#include <stdexcept>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_d3d11va.h>
}

namespace veyrin::test {
namespace {

void require(int status, const char* what) {
  if (status < 0) throw std::runtime_error(what);
}

}  // namespace

BufferRefPtr make_gpu_device() {
  AVBufferRef* device = nullptr;
  av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_D3D11VA, nullptr, nullptr, 0);
  return BufferRefPtr(device);
}

BufferRefPtr wrap_gpu_device(ID3D11Device& device) {
  BufferRefPtr wrapped(av_hwdevice_ctx_alloc(AV_HWDEVICE_TYPE_D3D11VA));
  auto* hardware =
      static_cast<AVD3D11VADeviceContext*>(reinterpret_cast<AVHWDeviceContext*>(wrapped->data)->hwctx);
  device.AddRef();
  hardware->device = &device;
  require(av_hwdevice_ctx_init(wrapped.get()), "the device was refused");
  return wrapped;
}

DecoderSurfaces::DecoderSurfaces(AVBufferRef* device, int format, int width, int height, int slices)
    : frames_(av_hwframe_ctx_alloc(device)) {
  auto& frames = *reinterpret_cast<AVHWFramesContext*>(frames_->data);
  frames.format = AV_PIX_FMT_D3D11;
  frames.sw_format = static_cast<AVPixelFormat>(format);
  frames.width = width;
  frames.height = height;
  frames.initial_pool_size = slices;
  static_cast<AVD3D11VAFramesContext*>(frames.hwctx)->BindFlags = D3D11_BIND_DECODER;
  require(av_hwframe_ctx_init(frames_.get()), "decoder surfaces could not be made");
}

FramePtr DecoderSurfaces::upload(const AVFrame& picture) {
  FramePtr surface = take_surface(frames_.get());
  const FramePtr whole = make_frame(picture.format, surface->width, surface->height);
  fill_random(*whole, 99);
  for (const Channel channel : {Channel::y, Channel::u, Channel::v})
    for (int y = 0; y < channel_height(picture, channel); ++y)
      for (int x = 0; x < channel_width(picture, channel); ++x)
        set_sample(*whole, channel, x, y, get_sample(picture, channel, x, y));
  require(av_hwframe_transfer_data(surface.get(), whole.get(), 0), "a frame could not be uploaded");
  surface->width = picture.width;
  surface->height = picture.height;
  return surface;
}

FramePtr take_surface(AVBufferRef* frames) {
  FramePtr surface(av_frame_alloc());
  require(av_hwframe_get_buffer(frames, surface.get(), 0), "no surface is free");
  return surface;
}

int slice_of(const AVFrame& frame) {
  return static_cast<int>(reinterpret_cast<std::intptr_t>(frame.data[1]));
}

FramePtr download(const AVFrame& surface) {
  FramePtr frame(av_frame_alloc());
  require(av_hwframe_transfer_data(frame.get(), &surface, 0), "a frame could not be downloaded");
  return frame;
}

}  // namespace veyrin::test
