#include "thumbnail/transfer_curves.h"

#include <algorithm>
#include <cmath>

namespace veyrin {
namespace {

double srgb_light(double v) {
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

double hlg_light(double v) {
  if (v <= 0.5) return v * v / 3.0;
  return (std::exp((v - 0.5599107) / 0.17883277) + 0.28466892) / 12.0;
}

}  // namespace

TransferCurve transfer_curve(ColorTransfer transfer) {
  switch (transfer) {
    case ColorTransfer::hlg:
      return TransferCurve::hlg;
    case ColorTransfer::bt709:
      return TransferCurve::gamma22;
    default:
      return TransferCurve::srgb;
  }
}

double linear_light(TransferCurve curve, double signal) {
  const double v = std::clamp(signal, 0.0, 1.0);
  double light = 0.0;
  switch (curve) {
    case TransferCurve::hlg:
      light = hlg_light(v);
      break;
    case TransferCurve::gamma22:
      light = std::pow(v, 2.2);
      break;
    case TransferCurve::srgb:
      light = srgb_light(v);
      break;
  }
  return std::clamp(light, 0.0, 1.0);
}

std::array<float, 256> linear_light_table(TransferCurve curve) {
  std::array<float, 256> table{};
  for (std::size_t code = 0; code < table.size(); ++code) {
    table[code] = static_cast<float>(linear_light(curve, static_cast<double>(code) / 255.0));
  }
  return table;
}

}  // namespace veyrin
