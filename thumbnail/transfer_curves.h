// The curves between the stored signal and light.
#pragma once

#include <array>

#include "decode/color_description.h"

namespace veyrin {

enum class TransferCurve { srgb, gamma22, hlg };

/// The curve that a stream's signal is read with. BT.709 material is made for screens that follow a plain
/// power, not for the inverse of its camera curve.
TransferCurve transfer_curve(ColorTransfer transfer);

/// Linear light of a signal value, both 0..1: IEC 61966-2-1, a power of 2.2, or ARIB STD-B67, whose light is
/// that of the scene.
double linear_light(TransferCurve curve, double signal);

/// Linear light of each 8-bit code.
std::array<float, 256> linear_light_table(TransferCurve curve);

}  // namespace veyrin
