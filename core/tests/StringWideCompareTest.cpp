// The scans under wide comparison, against a plain loop, for every length,
// position and alignment that the vector paths split differently.
#include <gtest/gtest.h>

#include <vector>

#include "WideCompare.h"
#include "platform/CpuFeatures.h"

namespace orvo {
namespace {

std::size_t plainMismatch(const wchar_t* a, const wchar_t* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (a[i] != b[i]) return i;
  }
  return count;
}

// Runs each test with the vector path, if the processor has it, and without.
class WideScan : public ::testing::TestWithParam<platform::Simd> {
 protected:
  WideScan() { platform::limitSimd(GetParam()); }
  ~WideScan() override { platform::limitSimd(platform::Simd::Avx2); }
};

INSTANTIATE_TEST_SUITE_P(Paths, WideScan,
                         ::testing::Values(platform::Simd::Avx2, platform::Simd::Portable),
                         [](const auto& info) { return info.param == platform::Simd::Avx2 ? "Avx2" : "Portable"; });

TEST_P(WideScan, MismatchAtEveryPositionLengthAndAlignment) {
  std::vector<wchar_t> a(160), b(160);
  for (std::size_t shift = 0; shift < 8; ++shift) {
    for (std::size_t count = 1; count <= 100; ++count) {
      for (std::size_t at = 0; at <= count; ++at) {
        wchar_t* x = a.data() + shift;
        wchar_t* y = b.data() + (shift * 3) % 8;
        for (std::size_t i = 0; i < count + 8; ++i) x[i] = y[i] = static_cast<wchar_t>(L'a' + i % 7);
        if (at < count) y[at] = L'#';
        ASSERT_EQ(firstMismatch(x, y, count), plainMismatch(x, y, count)) << shift << " " << count << " " << at;
      }
    }
  }
}

TEST_P(WideScan, DifferenceStopsAtTheFirstTerminatorOfTheFirstText) {
  std::vector<wchar_t> a(160), b(160);
  for (std::size_t count = 1; count <= 100; ++count) {
    for (std::size_t zero = 0; zero < count; ++zero) {
      for (std::size_t i = 0; i < count; ++i) a[i] = b[i] = static_cast<wchar_t>(L'k' + i % 5);
      a[zero] = b[zero] = 0;
      b[count - 1] = 0;
      ASSERT_EQ(firstDifferenceOrEnd(a.data(), b.data(), count), zero) << count << " " << zero;
      if (zero > 0) {
        b[zero - 1] = L'#';
        ASSERT_EQ(firstDifferenceOrEnd(a.data(), b.data(), count), zero - 1) << count << " " << zero;
      }
    }
  }
}

}  // namespace
}  // namespace orvo
