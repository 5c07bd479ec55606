#include "tests/simulated_nvenc/display_message.h"

#include <algorithm>
#include <bit>

#include "tests/simulated_nvenc/refusal.h"

namespace veyrin::simulated_nvenc {
namespace {

class BitWriter {
 public:
  void bits(std::uint32_t value, int count) {
    for (int bit = count - 1; bit >= 0; --bit) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      const std::uint32_t set = count > 32 ? 0 : value >> static_cast<unsigned>(bit) & 1U;
      bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | set << (7 - used_ % 8));
      ++used_;
    }
  }

  /// Exponential Golomb.
  void number(std::int32_t value) {
    const auto coded = static_cast<std::uint32_t>(value) + 1;
    const int length = static_cast<int>(std::bit_width(coded));
    bits(0, length - 1);
    bits(coded, length);
  }

  /// Pads the end of a message with a one and zeros, unless the last byte is full.
  std::vector<std::uint8_t> finished_payload() {
    if (used_ % 8 != 0) bits(1, 1);
    return bytes_;
  }

 private:
  std::vector<std::uint8_t> bytes_;
  unsigned used_ = 0;
};

void floating_number(BitWriter& writer, std::int32_t exponent, std::int32_t mantissa,
                     std::int32_t precision) {
  writer.bits(static_cast<std::uint32_t>(exponent), 6);
  const int length = exponent == 0 ? precision - 30 : exponent + precision - 31;
  writer.bits(static_cast<std::uint32_t>(mantissa), std::max(0, length));
}

std::vector<std::uint8_t> payload(const HEVC_3D_REFERENCE_DISPLAY_INFO& displays) {
  BitWriter writer;
  writer.number(displays.precRefDisplayWidth);
  writer.bits(displays.refViewingDistanceFlag, 1);
  if (displays.refViewingDistanceFlag != 0) writer.number(displays.precRefViewingDist);
  writer.number(displays.numRefDisplaysMinus1);
  for (int display = 0; display <= displays.numRefDisplaysMinus1; ++display) {
    writer.number(displays.leftViewId[display]);
    writer.number(displays.rightViewId[display]);
    floating_number(writer, displays.exponentRefDisplayWidth[display],
                    displays.mantissaRefDisplayWidth[display], displays.precRefDisplayWidth);
    if (displays.refViewingDistanceFlag != 0) {
      floating_number(writer, displays.exponentRefViewingDistance[display],
                      displays.mantissaRefViewingDistance[display], displays.precRefViewingDist);
    }
    writer.bits(displays.additionalShiftPresentFlag[display], 1);
    if (displays.additionalShiftPresentFlag[display] != 0) {
      writer.bits(static_cast<std::uint32_t>(displays.numSampleShiftPlus512[display]), 10);
    }
  }
  writer.bits(displays.threeDimensionalReferenceDisplaysExtensionFlag, 1);
  return writer.finished_payload();
}

}  // namespace

std::vector<std::uint8_t> display_message(const HEVC_3D_REFERENCE_DISPLAY_INFO& displays) {
  require(displays.numRefDisplaysMinus1 >= 0 && displays.numRefDisplaysMinus1 < MULTIVIEW_MAX_NUM_REF_DISPLAY,
          NV_ENC_ERR_INVALID_PARAM, "number of reference displays");
  constexpr std::uint8_t prefix_message = 39U << 1U;
  constexpr std::uint8_t reference_displays = 176;
  const std::vector<std::uint8_t> content = payload(displays);
  std::vector<std::uint8_t> raw{reference_displays, static_cast<std::uint8_t>(content.size())};
  raw.insert(raw.end(), content.begin(), content.end());
  raw.push_back(0x80);
  std::vector<std::uint8_t> unit{0, 0, 0, 1, prefix_message, 1};
  int zeros = 0;
  for (const std::uint8_t byte : raw) {
    // Emulation prevention: nothing inside a NAL unit may look like a start code.
    if (zeros == 2 && byte <= 3) {
      unit.push_back(3);
      zeros = 0;
    }
    unit.push_back(byte);
    zeros = byte == 0 ? zeros + 1 : 0;
  }
  return unit;
}

}  // namespace veyrin::simulated_nvenc
