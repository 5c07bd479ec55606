#include "common/conversion_options.h"

namespace veyrin {

ConversionKind conversion_kind(const ConversionOptions& options) {
  switch (options.output_format) {
    case OutputFormat::sbs:
      return ConversionKind::sbs;
    case OutputFormat::spatial:
      return ConversionKind::spatial;
    case OutputFormat::mono:
      break;
  }
  return options.mono_eye == MonoEye::left ? ConversionKind::mono_left : ConversionKind::mono_right;
}

}  // namespace veyrin
