// The storing kernels in plain C++.
#include <algorithm>
#include <cstring>

#include "processing/storing_kernels.h"

namespace veyrin {
namespace {

void average_pairs(const float* in, std::size_t count, float* out) {
  for (std::size_t i = 0; i < count; ++i) out[i] = (in[2 * i] + in[2 * i + 1]) * 0.5F;
}

template <typename Code>
void store_code(float value, const StoreRule& rule, std::uint8_t* out) {
  float scaled = std::clamp(value, 0.0F, rule.source_max);
  if (rule.max_code != rule.source_max) scaled = rule.max_code * scaled / rule.source_max;
  // Not std::round: some run-time libraries round the value just below a half up.
  const auto whole = static_cast<unsigned>(scaled);
  const unsigned rounded = scaled - static_cast<float>(whole) >= 0.5F ? whole + 1 : whole;
  const auto code = static_cast<Code>(rounded << rule.shift);
  std::memcpy(out, &code, sizeof code);
}

template <typename Code>
void store_one(const float* in, std::size_t count, const StoreRule& rule, std::uint8_t* out) {
  for (std::size_t i = 0; i < count; ++i) store_code<Code>(in[i], rule, out + i * sizeof(Code));
}

template <typename Code>
void store_pair(const float* in_first, const float* in_second, std::size_t count, const StoreRule& rule,
                std::uint8_t* out) {
  for (std::size_t i = 0; i < count; ++i) {
    store_code<Code>(in_first[i], rule, out + 2 * i * sizeof(Code));
    store_code<Code>(in_second[i], rule, out + (2 * i + 1) * sizeof(Code));
  }
}

}  // namespace

constinit const StoringKernels scalar_storing = {
    average_pairs,
    {store_one<std::uint8_t>, store_one<std::uint16_t>},
    {store_pair<std::uint8_t>, store_pair<std::uint16_t>},
};

}  // namespace veyrin
