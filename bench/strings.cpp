// String against its peers, side by side in one run: copies against
// std::wstring, UTF-8 conversion and code-page conversion against glibc's
// iconv, compare and find against std::wstring.
#include <orvo/core/CodePage.h>
#include <orvo/core/String.h>
#include <orvo/core/StringHelper.h>

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <atomic>
#include <cstdint>
#include <cwchar>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using orvo::String;
using orvo::StringHelper;
using orvo::StringUtf8;

std::wstring sampleText(std::size_t length) {
  std::wstring text;
  for (std::size_t i = 0; i < length; ++i) text.push_back(static_cast<wchar_t>(L'a' + i % 26));
  return text;
}

// --- Copying --------------------------------------------------------------

void BM_CopyString(benchmark::State& state) {
  const String source(sampleText(static_cast<std::size_t>(state.range(0))).c_str());
  for (auto _ : state) {
    String copy = source;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_CopyString)->Arg(16)->Arg(256)->Arg(4096);

void BM_CopyStdWstring(benchmark::State& state) {
  const std::wstring source = sampleText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::wstring copy = source;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_CopyStdWstring)->Arg(16)->Arg(256)->Arg(4096);

// The floor under a String copy and its destruction once a second thread
// runs: one locked increment and one locked decrement of a count.
void BM_LockedCountUpAndDown(benchmark::State& state) {
  std::atomic<int> count{1};
  for (auto _ : state) {
    count.fetch_add(1, std::memory_order_relaxed);
    benchmark::DoNotOptimize(count.fetch_sub(1, std::memory_order_acq_rel));
  }
}
BENCHMARK(BM_LockedCountUpAndDown);

// --- UTF-8 ----------------------------------------------------------------

constexpr std::size_t kTextBytes = 64 * 1024;

// One non-ASCII character in about 35 bytes, like French or German prose.
std::string mostlyAsciiUtf8() {
  std::string text;
  const char* words[] = {"the ", "quick ", "caf\xC3\xA9 ", "brown ", "fox ", "jumps ", "over ",
                         "lazy ", "dogs ", "na\xC3\xAFve ", "and ", "then ", "sleeps. "};
  for (std::size_t i = 0; text.size() < kTextBytes; ++i) text += words[i % std::size(words)];
  text.resize(kTextBytes);
  while ((static_cast<unsigned char>(text.back()) & 0xC0) == 0x80 ||
         static_cast<unsigned char>(text.back()) >= 0xC0) {
    text.pop_back();
  }
  return text;
}

// Chinese text: three bytes a character.
std::string cjkUtf8() {
  std::string text;
  for (unsigned code = 0x4E00; text.size() + 3 <= kTextBytes; ++code) {
    const unsigned c = 0x4E00 + (code - 0x4E00) % 0x5000;
    text.push_back(static_cast<char>(0xE0 | (c >> 12)));
    text.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    text.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
  return text;
}

const std::string& utf8Sample(int kind) {
  static const std::string ascii = mostlyAsciiUtf8();
  static const std::string cjk = cjkUtf8();
  return kind == 0 ? ascii : cjk;
}

// Throughput in bytes of UTF-8, whichever way the conversion goes.
void reportUtf8Bytes(benchmark::State& state, const std::string& text) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
  state.SetLabel(state.range(0) == 0 ? "mostly-ascii" : "cjk");
}

// iconv with one converter opened beforehand, its best case, into a buffer
// that is big enough.
void iconvRounds(benchmark::State& state, const char* to, const char* from, const void* input,
                 std::size_t inputBytes, std::size_t targetBytes) {
  iconv_t converter = iconv_open(to, from);
  std::vector<char> target(targetBytes);
  for (auto _ : state) {
    char* in = static_cast<char*>(const_cast<void*>(input));
    std::size_t inLeft = inputBytes;
    char* out = target.data();
    std::size_t outLeft = target.size();
    iconv(converter, &in, &inLeft, &out, &outLeft);
    benchmark::DoNotOptimize(target.data());
  }
  iconv_close(converter);
}

void BM_Utf8ToString(benchmark::State& state) {
  const std::string& text = utf8Sample(static_cast<int>(state.range(0)));
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.c_str());
  for (auto _ : state) {
    String wide = StringHelper::utf8ToWide(bytes);
    benchmark::DoNotOptimize(wide);
  }
  reportUtf8Bytes(state, text);
}
BENCHMARK(BM_Utf8ToString)->Arg(0)->Arg(1);

void BM_Utf8ToWideIconv(benchmark::State& state) {
  const std::string& text = utf8Sample(static_cast<int>(state.range(0)));
  iconvRounds(state, "WCHAR_T", "UTF-8", text.data(), text.size(), (text.size() + 1) * sizeof(wchar_t));
  reportUtf8Bytes(state, text);
}
BENCHMARK(BM_Utf8ToWideIconv)->Arg(0)->Arg(1);

void BM_StringToUtf8(benchmark::State& state) {
  const std::string& text = utf8Sample(static_cast<int>(state.range(0)));
  const String wide = StringHelper::utf8ToWide(reinterpret_cast<const unsigned char*>(text.c_str()));
  for (auto _ : state) {
    StringUtf8 utf8 = StringHelper::wideToUtf8(wide);
    benchmark::DoNotOptimize(utf8);
  }
  reportUtf8Bytes(state, text);
}
BENCHMARK(BM_StringToUtf8)->Arg(0)->Arg(1);

void BM_WideToUtf8Iconv(benchmark::State& state) {
  const std::string& text = utf8Sample(static_cast<int>(state.range(0)));
  const String wide = StringHelper::utf8ToWide(reinterpret_cast<const unsigned char*>(text.c_str()));
  iconvRounds(state, "UTF-8", "WCHAR_T", wide.getBuffer(),
              static_cast<std::size_t>(wide.getLength()) * sizeof(wchar_t), text.size() + 16);
  reportUtf8Bytes(state, text);
}
BENCHMARK(BM_WideToUtf8Iconv)->Arg(0)->Arg(1);

// --- Code pages -----------------------------------------------------------

// Sixteen Chinese characters in GB2312.
const char kGb2312Text[] =
    "\xD6\xD0\xCE\xC4\xD6\xD0\xCE\xC4\xD6\xD0\xCE\xC4\xD6\xD0\xCE\xC4"
    "\xD6\xD0\xCE\xC4\xD6\xD0\xCE\xC4\xD6\xD0\xCE\xC4\xD6\xD0\xCE\xC4";

void BM_CodePageToStringCached(benchmark::State& state) {
  const int saved = orvo::getCodePage();
  orvo::setCodePage(936);
  for (auto _ : state) {
    String wide = StringHelper::ansiToWide(kGb2312Text);
    benchmark::DoNotOptimize(wide);
  }
  orvo::setCodePage(saved);
}
BENCHMARK(BM_CodePageToStringCached);

void BM_CodePageToWideFreshIconv(benchmark::State& state) {
  wchar_t target[64];
  for (auto _ : state) {
    iconv_t converter = iconv_open("WCHAR_T", "CP936");
    char* in = const_cast<char*>(kGb2312Text);
    std::size_t inLeft = sizeof kGb2312Text - 1;
    char* out = reinterpret_cast<char*>(target);
    std::size_t outLeft = sizeof target;
    iconv(converter, &in, &inLeft, &out, &outLeft);
    iconv_close(converter);
    benchmark::DoNotOptimize(target);
  }
}
BENCHMARK(BM_CodePageToWideFreshIconv);

// --- Compare and find -----------------------------------------------------

// Pairs of texts of 16 or 256 characters that differ only in the last one.
// The C library's wmemcmp takes a pair fastest when both texts lie at the same
// offset within 32 bytes, and where each allocation lands is luck. So both
// sides cycle through the same eight placements: the first text at 0, 16, 32
// or 48 bytes into a cache line, the second at 0 or 16, where the type can
// lie there. Eight pairs of 256 characters stay within the first-level cache.
constexpr int kPairs = 8;

std::wstring compareSample(std::size_t length, wchar_t last) {
  std::wstring text = sampleText(length - 1);
  text.push_back(last);
  return text;
}

const wchar_t* textOf(const String& text) { return text.getBuffer(); }
const wchar_t* textOf(const std::wstring& text) { return text.c_str(); }

// A copy of `content` whose text starts `offset` bytes into a cache line if
// one of a few allocations lands there. The misses stay in `taken` so that
// the next try lands elsewhere.
template <class Text>
Text placedText(const std::wstring& content, std::uintptr_t offset, std::vector<Text>& taken) {
  for (int attempt = 0; attempt < 64; ++attempt) {
    Text text(content.c_str());
    if (reinterpret_cast<std::uintptr_t>(textOf(text)) % 64 == offset) return text;
    taken.push_back(std::move(text));
  }
  return Text(content.c_str());
}

template <class Text>
std::vector<std::pair<Text, Text>> comparePairs(std::size_t length) {
  std::vector<std::pair<Text, Text>> pairs;
  std::vector<Text> taken;
  for (int i = 0; i < kPairs; ++i) {
    Text a = placedText<Text>(compareSample(length, L'x'), 16 * (i % 4), taken);
    Text b = placedText<Text>(compareSample(length, L'y'), 16 * (i / 4), taken);
    pairs.emplace_back(std::move(a), std::move(b));
  }
  return pairs;
}

template <class Text, class Compare>
void compareRounds(benchmark::State& state, Compare compare) {
  const auto pairs = comparePairs<Text>(static_cast<std::size_t>(state.range(0)));
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& pair = pairs[next++ % kPairs];
    benchmark::DoNotOptimize(compare(pair.first, pair.second));
  }
}

void BM_CompareString(benchmark::State& state) {
  compareRounds<String>(state, [](const String& a, const String& b) { return a.compare(b); });
}
BENCHMARK(BM_CompareString)->Arg(16)->Arg(256);

void BM_CompareStdWstring(benchmark::State& state) {
  compareRounds<std::wstring>(state, [](const std::wstring& a, const std::wstring& b) { return a.compare(b); });
}
BENCHMARK(BM_CompareStdWstring)->Arg(16)->Arg(256);

// The same std::wstring pairs reached through pointers: a String is one
// pointer to a block that holds its size, so its size is one load further
// away than a std::wstring's. This peer pays that load too, to show whether
// the layout alone costs time.
void BM_CompareStdWstringBehindPointer(benchmark::State& state) {
  const auto pairs = comparePairs<std::wstring>(static_cast<std::size_t>(state.range(0)));
  std::vector<std::pair<const std::wstring*, const std::wstring*>> pointers;
  for (const auto& pair : pairs) pointers.emplace_back(&pair.first, &pair.second);
  std::size_t next = 0;
  for (auto _ : state) {
    const auto& pair = pointers[next++ % kPairs];
    benchmark::DoNotOptimize(pair.first->compare(*pair.second));
  }
}
BENCHMARK(BM_CompareStdWstringBehindPointer)->Arg(16)->Arg(256);

void BM_CompareStringWithPointer(benchmark::State& state) {
  compareRounds<String>(state, [](const String& a, const String& b) { return a.compare(b.getBuffer()); });
}
BENCHMARK(BM_CompareStringWithPointer)->Arg(16)->Arg(256);

void BM_CompareStdWstringWithPointer(benchmark::State& state) {
  compareRounds<std::wstring>(state,
                              [](const std::wstring& a, const std::wstring& b) { return a.compare(b.c_str()); });
}
BENCHMARK(BM_CompareStdWstringWithPointer)->Arg(16)->Arg(256);

// A needle near the end of 1024 characters, whose first letter occurs often.
// Like the comparisons, both sides cycle through the same placements of the
// text: 0, 16, 32 and 48 bytes into a cache line.
std::wstring findHaystack() { return sampleText(1000) + L"needle in the text!"; }
constexpr int kHaystacks = 4;

template <class Text, class Needle>
void findRounds(benchmark::State& state, Needle needle) {
  std::vector<Text> haystacks, taken;
  for (int i = 0; i < kHaystacks; ++i) haystacks.push_back(placedText<Text>(findHaystack(), 16 * i, taken));
  std::size_t next = 0;
  for (auto _ : state) benchmark::DoNotOptimize(haystacks[next++ % kHaystacks].find(needle));
}

void BM_FindTextString(benchmark::State& state) { findRounds<String>(state, L"needle"); }
BENCHMARK(BM_FindTextString);

void BM_FindTextStdWstring(benchmark::State& state) { findRounds<std::wstring>(state, L"needle"); }
BENCHMARK(BM_FindTextStdWstring);

void BM_FindCharacterString(benchmark::State& state) { findRounds<String>(state, L'!'); }
BENCHMARK(BM_FindCharacterString);

void BM_FindCharacterStdWstring(benchmark::State& state) { findRounds<std::wstring>(state, L'!'); }
BENCHMARK(BM_FindCharacterStdWstring);

}  // namespace

BENCHMARK_MAIN();
