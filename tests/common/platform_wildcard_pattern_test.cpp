#include <gtest/gtest.h>

#include <cwctype>

#include "common/platform/wildcard_pattern.h"

namespace veyrin::test {
namespace {

bool same_letter(wchar_t left, wchar_t right) {
  return std::towlower(static_cast<std::wint_t>(left)) == std::towlower(static_cast<std::wint_t>(right));
}

struct PatternCase {
  const wchar_t* name;
  const wchar_t* pattern;
  bool fits;
};

constexpr PatternCase pattern_cases[] = {
    {L"clip.mp4", L"*.mp4", true},
    {L"CLIP.MP4", L"*.mp4", true},
    {L"clip.mp4", L"*.MP4", true},
    {L".mp4", L"*.mp4", true},
    {L"clip.mp4x", L"*.mp4", false},
    {L"clip.mp", L"*.mp4", false},
    {L"clipmp4", L"*.mp4", false},
    {L"a.mp4.mp4", L"*.mp4", true},
    {L"clip 7.mov", L"clip ?.mov", true},
    {L"clip .mov", L"clip ?.mov", false},
    {L"clip 12.mov", L"clip ?.mov", false},
    {L"clip 12.mov", L"clip ??.mov", true},
    {L"", L"*", true},
    {L"anything", L"*", true},
    {L"", L"?", false},
    {L"", L"", true},
    {L"a", L"", false},
    {L"no_dot", L"*.*", true},
    {L"a.b", L"*.*", true},
    {L"no_dot", L"no*.*", false},
    {L"aXbXc", L"a*X*c", true},
    {L"aXbXcd", L"a*X*c", false},
    {L"abcabcabd", L"*abcabd", true},
    {L"abcabcabd", L"a**b*d", true},
    {L"clip", L"clip***", true},
    {L"clip", L"clip*?", false},
    {L"[ab].mp4", L"[ab].mp4", true},
    {L"a.mp4", L"[ab].mp4", false},
    {L"\u8996\u983b.mp4", L"?\u983b.*", true},
};

TEST(WildcardPattern, FitsWholeNames) {
  for (const PatternCase& entry : pattern_cases) {
    EXPECT_EQ(platform::fits_wildcards(entry.name, entry.pattern, same_letter), entry.fits)
        << testing::PrintToString(entry.name) << " and " << testing::PrintToString(entry.pattern);
  }
}

TEST(WildcardPattern, TellsLettersApartAsItIsTold) {
  const auto exactly = [](wchar_t left, wchar_t right) { return left == right; };
  EXPECT_FALSE(platform::fits_wildcards(L"CLIP.MP4", L"*.mp4", exactly));
}

// Each star could begin again at every place: only the last one may.
TEST(WildcardPattern, NeedsNoLongerForManyStars) {
  const std::wstring name(2000, L'a');
  std::wstring pattern;
  for (int i = 0; i < 200; ++i) pattern += L"*a";
  EXPECT_FALSE(platform::fits_wildcards(name, pattern + L"b", same_letter));
  EXPECT_TRUE(platform::fits_wildcards(name, pattern, same_letter));
}

}  // namespace
}  // namespace veyrin::test
