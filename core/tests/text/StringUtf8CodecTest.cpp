// The library's own UTF-8 codec: strict decoding, exact measuring, and the
// vector paths agreeing with the portable ones.
#include <orvo/core/Character.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "text/Utf8Codec.h"
#include "platform/CpuFeatures.h"

namespace orvo {
namespace {

std::wstring decodeAll(const std::string& bytes) {
  const auto* text = reinterpret_cast<const unsigned char*>(bytes.data());
  const utf8::Measure measure = utf8::measureDecoded(text, bytes.size());
  std::wstring out(measure.units, L'\0');
  utf8::decode(text, bytes.size(), out.data(), measure);
  return out;
}

std::string encodeAll(const std::wstring& text) {
  std::string out(utf8::encodedLength(text.data(), text.size()), '\0');
  utf8::encode(text.data(), text.size(), reinterpret_cast<unsigned char*>(out.data()), out.size());
  return out;
}

// Runs each test once with the vector paths and once without.
class Utf8Codec : public ::testing::TestWithParam<bool> {
 protected:
  Utf8Codec() { platform::limitSimd(GetParam() ? platform::Simd::Portable : platform::Simd::Avx2); }
  ~Utf8Codec() override { platform::limitSimd(platform::Simd::Avx2); }
};

INSTANTIATE_TEST_SUITE_P(Paths, Utf8Codec, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Portable" : "Vector"; });

TEST_P(Utf8Codec, EveryScalarValueRoundTrips) {
  std::wstring all;
  for (wchar_t c = 1; c <= 0x10FFFF; ++c) {
    if (c < 0xD800 || c > 0xDFFF) all.push_back(c);
  }
  const std::string bytes = encodeAll(all);
  EXPECT_EQ(decodeAll(bytes), all);
}

TEST_P(Utf8Codec, StandardFormsAndOneReplacementPerMaximalBrokenPart) {
  EXPECT_EQ(encodeAll(L"\u007F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
  const wchar_t invalid[] = {0xD800, 0xDFFF, static_cast<wchar_t>(0x110000), static_cast<wchar_t>(-1)};
  EXPECT_EQ(encodeAll(std::wstring(invalid, 4)), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
  // The example of the Unicode standard, section 3.9.
  EXPECT_EQ(decodeAll("\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64"),
            L"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd");
  EXPECT_EQ(decodeAll("\xE0\x80\x80\xF5\x80\xFF\xE2\x82"), std::wstring(6, L'\uFFFD'));
}

TEST_P(Utf8Codec, BrokenSequencesAtEveryPositionOfALongText) {
  // Each broken form, placed at every offset around the 32-byte blocks of
  // the vector check and at the very end.
  const char* broken[] = {"\xC3", "\xE2\x82", "\xF0\x9F\x98", "\x80", "\xC0\xAF", "\xED\xA0\x80",
                          "\xF4\x90\x80\x80", "\xF8", "\xE0\x9F\xBF"};
  for (const char* piece : broken) {
    for (std::size_t at = 0; at < 70; ++at) {
      std::string bytes(at, 'a');
      bytes += piece;
      std::string padded = bytes + std::string(70 - at, 'b');
      for (const std::string& text : {bytes, padded}) {
        const auto* data = reinterpret_cast<const unsigned char*>(text.data());
        const utf8::Measure measure = utf8::measureDecoded(data, text.size());
        ASSERT_FALSE(measure.wellFormed) << at << " " << text.size();
        const std::wstring decoded = decodeAll(text);
        ASSERT_EQ(decoded.size(), measure.units);
        ASSERT_EQ(decoded.substr(0, at), std::wstring(at, L'a'));
        ASSERT_EQ(decoded[at], L'\uFFFD') << at;
      }
    }
  }
}

TEST_P(Utf8Codec, AsciiRunsOfEveryLengthAroundNonAscii) {
  // The fast paths take sixteen or thirty-two at a time; every split must hold.
  for (std::size_t before = 0; before < 70; ++before) {
    for (const char* piece : {"\xC3\xA9", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80"}) {
      std::string bytes(before, 'a');
      bytes += piece;
      bytes += std::string(before % 37, 'b');
      std::wstring expected(before, L'a');
      expected += decodeAll(piece);
      expected += std::wstring(before % 37, L'b');
      ASSERT_EQ(expected.size(), before + 1 + before % 37);
      ASSERT_EQ(decodeAll(bytes), expected) << before;
      ASSERT_EQ(encodeAll(expected), bytes) << before;
    }
  }
}

// A fixed pseudo-random byte soup, heavy in lead and continuation bytes, with
// a share of well-formed sequences.
std::string byteSoup(unsigned seed, std::size_t length) {
  std::string bytes;
  unsigned state = seed;
  auto next = [&state] {
    state = state * 1103515245 + 12345;
    return (state >> 16) & 0xFF;
  };
  while (bytes.size() < length) {
    const unsigned pick = next();
    if (pick < 0x60) {
      bytes.push_back(static_cast<char>(pick % 0x5F + 0x20));
    } else if (pick < 0xA0) {
      bytes += "\xE4\xB8\xAD";
    } else {
      const unsigned byte = next();
      bytes.push_back(static_cast<char>(byte == 0 ? 0x80 : byte));
    }
  }
  return bytes;
}

TEST_P(Utf8Codec, MeasuresWhatItWritesForArbitraryBytes) {
  for (unsigned seed = 1; seed < 200; ++seed) {
    const std::string bytes = byteSoup(seed, 50 + seed * 7);
    const auto* text = reinterpret_cast<const unsigned char*>(bytes.data());
    const utf8::Measure measure = utf8::measureDecoded(text, bytes.size());
    std::vector<wchar_t> out(measure.units + 1, L'#');
    utf8::decode(text, bytes.size(), out.data(), measure);
    ASSERT_EQ(out[measure.units], L'#') << seed;  // Nothing written past the end.
    // The one-character walk over the same bytes (cut at a zero byte, as a
    // terminated text is) gives the same characters.
    const std::string terminated = bytes.c_str();
    const std::wstring decoded = decodeAll(terminated);
    const auto* p = reinterpret_cast<const unsigned char*>(terminated.c_str());
    ASSERT_EQ(stringLength(p), static_cast<int>(decoded.size())) << seed;
    for (wchar_t expected : decoded) {
      int code;
      p = stringChar(p, code);
      ASSERT_EQ(code, static_cast<int>(expected)) << seed;
    }
    for (std::size_t i = 0; i < measure.units; ++i) {
      ASSERT_NE(out[i], 0);
      ASSERT_LE(static_cast<unsigned>(out[i]), 0x10FFFFu);
      ASSERT_FALSE(out[i] >= 0xD800 && out[i] <= 0xDFFF);
    }
  }
}

// Well-formed text of characters of every length, with one byte changed at a
// pseudo-random place in odd seeds.
std::string mixedText(unsigned seed) {
  std::wstring wide;
  unsigned state = seed;
  const wchar_t samples[] = {L'a', L' ', L'\u00E9', L'\u07FF', L'\u4E2D', L'\uFFFD', 0x10348, 0x10FFFF};
  for (unsigned i = 0; i < 5 + seed % 90; ++i) {
    state = state * 1103515245 + 12345;
    wide.push_back(samples[(state >> 16) % std::size(samples)]);
  }
  std::string bytes = encodeAll(wide);
  if (seed % 2) bytes[(state >> 8) % bytes.size()] = static_cast<char>(0x80 | (state & 0x7F));
  return bytes;
}

// Measures the same bytes with the vector path and without it.
void expectPathsAgree(const std::string& bytes, const std::string& what) {
  const auto* text = reinterpret_cast<const unsigned char*>(bytes.data());
  platform::limitSimd(platform::Simd::Avx2);
  const utf8::Measure vector = utf8::measureDecoded(text, bytes.size());
  platform::limitSimd(platform::Simd::Portable);
  const utf8::Measure portable = utf8::measureDecoded(text, bytes.size());
  platform::limitSimd(platform::Simd::Avx2);
  ASSERT_EQ(vector.units, portable.units) << what;
  ASSERT_EQ(vector.wellFormed, portable.wellFormed) << what;
}

TEST(Utf8CodecPaths, VectorAndPortableMeasuresAgree) {
  for (unsigned seed = 1; seed < 800; ++seed) {
    const std::string bytes = seed % 4 == 0 ? byteSoup(seed * 31, 1 + seed * 3) : mixedText(seed);
    expectPathsAgree(bytes, "seed " + std::to_string(seed));
  }
}

// Western text: ASCII and two-byte characters only, the text the vector
// check takes 128 bytes at a time without its table lookups.
std::string westernText(std::size_t length) {
  const char* words[] = {"caf\xC3\xA9 ", "na\xC3\xAFve ", "the ", "\xC2\xA9 ", "\xDF\xBF", "fox ", ("stra\xC3\x9F" "e ")};
  std::string text;
  for (std::size_t i = 0; text.size() < length; ++i) text += words[(i * 5 + i / 3) % std::size(words)];
  return text;
}

TEST(Utf8CodecPaths, WesternTextWithOneFaultAnywhere) {
  const std::string base = westernText(520);
  expectPathsAgree(base, "unchanged");
  const char faults[] = {'\x80', '\xBF', '\xC0', '\xC1', '\xC3', '\xDF', '\xE2', '\xF0', 'q'};
  for (std::size_t at = 0; at < base.size(); ++at) {
    for (char fault : faults) {
      std::string changed = base;
      changed[at] = fault;
      expectPathsAgree(changed, "byte " + std::to_string(at) + " set to " + std::to_string(fault & 0xFF));
      std::string inserted = base;
      inserted.insert(at, 1, fault);
      expectPathsAgree(inserted, "byte " + std::to_string(fault & 0xFF) + " inserted at " + std::to_string(at));
    }
    // Longer characters inside Western text, whole and cut short.
    for (const char* piece : {"\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE2\x82", "\xED\xA0\x80"}) {
      std::string inserted = base;
      inserted.insert(at, piece);
      expectPathsAgree(inserted, std::string("piece inserted at ") + std::to_string(at));
    }
    // A text that ends at every place, inside a character or not.
    expectPathsAgree(base.substr(0, at), "cut at " + std::to_string(at));
  }
}

TEST(Utf8CodecPaths, WesternTextEndingInALeadBeforeAsciiGroups) {
  // A lead at or near the end of a 128-byte group, then enough ASCII for
  // whole ASCII groups to follow: the open sequence must still count.
  for (std::size_t at = 100; at < 400; ++at) {
    for (const char* lead : {"\xC3", "\xE2\x82", "\xC3\xA9"}) {
      std::string text = westernText(at).substr(0, at) + lead + std::string(300, 'a');
      expectPathsAgree(text, std::string("lead after ") + std::to_string(at) + " bytes");
    }
  }
}

}  // namespace
}  // namespace orvo
