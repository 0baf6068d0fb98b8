// The scans under wide comparison, against a plain loop, for every length,
// position and alignment that the vector paths split differently.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "text/WideCompare.h"
#include "platform/CpuFeatures.h"

namespace orvo {
namespace {

// The plain reading of both comparisons, unit by unit.
int plainCompare(const wchar_t* a, const wchar_t* b, std::size_t count, bool stopAtTerminator) {
  for (std::size_t i = 0; i < count; ++i) {
    const auto x = static_cast<std::uint32_t>(a[i]), y = static_cast<std::uint32_t>(b[i]);
    if (x != y) return x < y ? -1 : 1;
    if (stopAtTerminator && x == 0) return 0;
  }
  return 0;
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

TEST_P(WideScan, DifferenceAtEveryPositionLengthAndAlignment) {
  // Both signs, one difference at each place (or none), over every block
  // split of the vector path and eight relative alignments of the texts.
  std::vector<wchar_t> a(160), b(160);
  for (std::size_t shift = 0; shift < 8; ++shift) {
    for (std::size_t count = 0; count <= 100; ++count) {
      for (std::size_t at = 0; at <= count; ++at) {
        wchar_t* x = a.data() + shift;
        wchar_t* y = b.data() + (shift * 3) % 8;
        for (std::size_t i = 0; i < count + 8; ++i) x[i] = y[i] = static_cast<wchar_t>(L'a' + i % 7);
        if (at < count) y[at] = at % 2 ? L'#' : L'~';
        ASSERT_EQ(compareUnits(x, y, count), plainCompare(x, y, count, false)) << shift << " " << count << " " << at;
        ASSERT_EQ(compareUnits(y, x, count), plainCompare(y, x, count, false)) << shift << " " << count << " " << at;
      }
    }
  }
}

TEST_P(WideScan, UnitsCompareAsUnsignedNumbers) {
  for (std::size_t count : {1, 5, 8, 13, 31, 40, 77}) {
    std::vector<wchar_t> a(count, L'm'), b(count, L'm');
    b[count - 1] = static_cast<wchar_t>(0x80000000u);
    EXPECT_EQ(compareUnits(a.data(), b.data(), count), -1) << count;
    EXPECT_EQ(compareUnitsToTerminator(b.data(), a.data(), count), 1) << count;
  }
}

TEST_P(WideScan, ATerminatorOfTheFirstTextEndsTheComparison) {
  std::vector<wchar_t> a(160), b(160);
  for (std::size_t count = 1; count <= 100; ++count) {
    for (std::size_t zero = 0; zero < count; ++zero) {
      for (std::size_t i = 0; i < count; ++i) a[i] = b[i] = static_cast<wchar_t>(L'k' + i % 5);
      a[zero] = b[zero] = 0;
      b[count - 1] = 0;
      if (zero + 1 < count) b[zero + 1] = L'z';  // behind the terminator: not looked at
      ASSERT_EQ(compareUnitsToTerminator(a.data(), b.data(), count), 0) << count << " " << zero;
      // The other way round the same texts differ behind it.
      ASSERT_EQ(compareUnitsToTerminator(b.data(), a.data(), count), 0) << count << " " << zero;
      b[zero] = L'#';
      ASSERT_EQ(compareUnitsToTerminator(a.data(), b.data(), count), -1) << count << " " << zero;
      if (zero > 0) {
        b[zero] = 0;
        b[zero - 1] = L'~';
        ASSERT_EQ(compareUnitsToTerminator(a.data(), b.data(), count), -1) << count << " " << zero;
      }
    }
  }
}

}  // namespace
}  // namespace orvo
