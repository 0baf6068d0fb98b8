#include "platform/Utf8Vector.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <climits>
#include <cstdint>
#include <cstring>

#include "platform/CpuFeatures.h"
#include "text/Utf8Codec.h"

namespace orvo::platform {
namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }


// The lookup method of Keiser and Lemire ("Validating UTF-8 in less than one
// instruction per byte", 2021): three table lookups on the nibbles of each
// byte and its predecessor flag every error a two-byte window can show; the
// lengths of three- and four-byte sequences are checked separately.
constexpr std::uint8_t kTooShort = 1 << 0;    // A lead not followed by a continuation.
constexpr std::uint8_t kTooLong = 1 << 1;     // A continuation after ASCII.
constexpr std::uint8_t kOverlong3 = 1 << 2;   // E0 80..9F
constexpr std::uint8_t kTooLarge = 1 << 3;    // F4 90..BF, F5..FF
constexpr std::uint8_t kSurrogate = 1 << 4;   // ED A0..BF
constexpr std::uint8_t kOverlong2 = 1 << 5;   // C0, C1
constexpr std::uint8_t kTooLarge1000 = 1 << 6;
constexpr std::uint8_t kOverlong4 = 1 << 6;   // F0 80..8F
constexpr std::uint8_t kTwoConts = 1 << 7;    // A continuation after a continuation.
constexpr std::uint8_t kCarry = kTooShort | kTooLong | kTwoConts;

constexpr std::uint8_t kByte1High[16] = {
    kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong,
    kTwoConts, kTwoConts, kTwoConts, kTwoConts,
    kTooShort | kOverlong2,
    kTooShort,
    kTooShort | kOverlong3 | kSurrogate,
    kTooShort | kTooLarge | kTooLarge1000 | kOverlong4};

constexpr std::uint8_t kByte1Low[16] = {
    kCarry | kOverlong3 | kOverlong2 | kOverlong4,
    kCarry | kOverlong2,
    kCarry,
    kCarry,
    kCarry | kTooLarge,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000 | kSurrogate,
    kCarry | kTooLarge | kTooLarge1000,
    kCarry | kTooLarge | kTooLarge1000};

constexpr std::uint8_t kByte2High[16] = {
    kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort,
    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge1000 | kOverlong4,
    kTooLong | kOverlong2 | kTwoConts | kOverlong3 | kTooLarge,
    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
    kTooLong | kOverlong2 | kTwoConts | kSurrogate | kTooLarge,
    kTooShort, kTooShort, kTooShort, kTooShort};

ORVO_AVX2_INLINE __m256i table(const std::uint8_t (&entries)[16]) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(entries)));
}

ORVO_AVX2_INLINE __m256i highNibbles(__m256i bytes) {
  return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
}

// The bytes of `input` moved up by N, with the last N bytes of `previous`.
template <int N>
ORVO_AVX2_INLINE __m256i shiftedIn(__m256i input, __m256i previous) {
  return _mm256_alignr_epi8(input, _mm256_permute2x128_si256(previous, input, 0x21), 16 - N);
}

class Avx2Validator {
 public:
  ORVO_AVX2 Avx2Validator()
      : _error(_mm256_setzero_si256()),
        _previous(_mm256_setzero_si256()),
        _previousIncomplete(_mm256_setzero_si256()) {}

  // Checks the next 32 bytes; answers how many of them are continuations.
  ORVO_AVX2 std::size_t take(__m256i input) {
    const __m256i previous1 = shiftedIn<1>(input, _previous);
    const __m256i specialCases = _mm256_and_si256(
        _mm256_and_si256(_mm256_shuffle_epi8(table(kByte1High), highNibbles(previous1)),
                         _mm256_shuffle_epi8(table(kByte1Low),
                                             _mm256_and_si256(previous1, _mm256_set1_epi8(0x0F)))),
        _mm256_shuffle_epi8(table(kByte2High), highNibbles(input)));
    // Third bytes of three- and four-byte sequences and fourth bytes of
    // four-byte ones must be continuations, and nothing else may follow a
    // continuation as one.
    const __m256i isThird =
        _mm256_subs_epu8(shiftedIn<2>(input, _previous), _mm256_set1_epi8(0xE0 - 0x80));
    const __m256i isFourth =
        _mm256_subs_epu8(shiftedIn<3>(input, _previous), _mm256_set1_epi8(0xF0 - 0x80));
    const __m256i mustContinue = _mm256_and_si256(_mm256_or_si256(isThird, isFourth),
                                                  _mm256_set1_epi8(static_cast<char>(0x80)));
    _error = _mm256_or_si256(_error, _mm256_xor_si256(mustContinue, specialCases));
    _previousIncomplete = incompleteAtEnd(input);
    _previous = input;
    return static_cast<std::size_t>(
        __builtin_popcount(static_cast<unsigned>(_mm256_movemask_epi8(continuationLanes(input)))));
  }

  // The same for 32 bytes known to be ASCII: only a sequence left open
  // before them can be wrong.
  ORVO_AVX2 void takeAscii(__m256i input) {
    _error = _mm256_or_si256(_error, _previousIncomplete);
    _previousIncomplete = _mm256_setzero_si256();
    _previous = input;
  }

  // Checks 128 bytes in which, as in the 32 bytes taken before them, no
  // byte is above 0xDF: ASCII and two-byte sequences only, the common case of
  // Western text. There a byte must be a continuation exactly where the byte
  // before it is a lead, and no lead may be C0 or C1: a few comparisons,
  // without the table lookups of take. `continuations` gains, in its four
  // 64-bit lanes, how many of the bytes are continuations.
  ORVO_AVX2 void takeShort(__m256i a, __m256i b, __m256i c, __m256i d, __m256i& continuations) {
    __m256i counts = _mm256_setzero_si256();
    takeShortBlock(a, counts);
    takeShortBlock(b, counts);
    takeShortBlock(c, counts);
    takeShortBlock(d, counts);
    _previousIncomplete = incompleteAtEnd(d);
    continuations = _mm256_add_epi64(continuations, _mm256_sad_epu8(counts, _mm256_setzero_si256()));
  }

  // Whether takeShort may check a group whose largest bytes, position by
  // position, are `highest`.
  ORVO_AVX2 bool allowsShort(__m256i highest) const {
    const __m256i aboveShort =
        _mm256_subs_epu8(_mm256_max_epu8(highest, _previous), _mm256_set1_epi8(static_cast<char>(0xDF)));
    return _mm256_testz_si256(aboveShort, aboveShort) != 0;
  }

  // Checks the bytes from `i` to `length`, 32 at a time; answers how many
  // of them are continuations. The last ones are padded with zeros: ASCII,
  // which ends any open sequence as too short.
  ORVO_AVX2 std::size_t takeRest(const unsigned char* text, std::size_t i, std::size_t length) {
    std::size_t count = 0;
    for (; i + 32 <= length; i += 32) count += take(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i)));
    if (i < length) {
      alignas(32) unsigned char tail[32] = {};
      std::memcpy(tail, text + i, length - i);
      count += take(_mm256_load_si256(reinterpret_cast<const __m256i*>(tail)));
    }
    return count;
  }

  // Picks up after bytes that were checked elsewhere: `previous` holds the
  // 32 bytes before the next block.
  ORVO_AVX2 void resume(__m256i previous) {
    _previous = previous;
    _previousIncomplete = incompleteAtEnd(previous);
  }

  ORVO_AVX2 bool finish() {
    _error = _mm256_or_si256(_error, _previousIncomplete);
    return _mm256_testz_si256(_error, _error) != 0;
  }

 private:
  // All ones in the lanes of continuation bytes, 0x80..0xBF.
  ORVO_AVX2_INLINE static __m256i continuationLanes(__m256i input) {
    return _mm256_cmpgt_epi8(_mm256_set1_epi8(-64), input);
  }

  // Non-zero where a lead in the last three bytes needs more bytes than are
  // left.
  ORVO_AVX2_INLINE static __m256i incompleteAtEnd(__m256i input) {
    const __m256i maxValue = _mm256_setr_epi8(
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
        -1, -1, -1, -1, -1, -1, static_cast<char>(0xF0 - 1), static_cast<char>(0xE0 - 1),
        static_cast<char>(0xC0 - 1));
    return _mm256_subs_epu8(input, maxValue);
  }

  // One block of takeShort; `counts` gains one in each byte position that
  // holds a continuation.
  ORVO_AVX2_INLINE void takeShortBlock(__m256i input, __m256i& counts) {
    const __m256i previous1 = shiftedIn<1>(input, _previous);
    // Signed, leads C0..DF are -64..-33 and continuations -128..-65.
    const __m256i leadBefore = _mm256_and_si256(_mm256_cmpgt_epi8(previous1, _mm256_set1_epi8(-65)),
                                                _mm256_cmpgt_epi8(_mm256_setzero_si256(), previous1));
    const __m256i continuation = continuationLanes(input);
    const __m256i overlong = _mm256_cmpeq_epi8(_mm256_and_si256(input, _mm256_set1_epi8(static_cast<char>(0xFE))),
                                               _mm256_set1_epi8(static_cast<char>(0xC0)));
    _error = _mm256_or_si256(_error, _mm256_or_si256(_mm256_xor_si256(continuation, leadBefore), overlong));
    counts = _mm256_sub_epi8(counts, continuation);
    _previous = input;
  }

  __m256i _error;
  __m256i _previous;
  __m256i _previousIncomplete;
};

// True if the bytes are well-formed UTF-8; `continuations` gets the number of
// continuation bytes.
ORVO_AVX2 bool validateAvx2(const unsigned char* text, std::size_t length, std::size_t& continuations) {
  Avx2Validator validator;
  std::size_t count = 0;
  std::size_t i = 0;
  // Continuations in groups that takeShort checked, summed at the end.
  __m256i shortCounts = _mm256_setzero_si256();
  auto* blocks = reinterpret_cast<const __m256i*>(text);
  // ASCII is skipped 128 bytes at a time: a test per 32 bytes would go either
  // way in text with an accent every few words, and mispredict.
  for (; i + 128 <= length; i += 128, blocks += 4) {
    const __m256i a = _mm256_loadu_si256(blocks), b = _mm256_loadu_si256(blocks + 1);
    const __m256i c = _mm256_loadu_si256(blocks + 2), d = _mm256_loadu_si256(blocks + 3);
    // The largest byte in each position tells both whether the group is
    // ASCII and whether any lead opens more than two bytes.
    const __m256i highest = _mm256_max_epu8(_mm256_max_epu8(a, b), _mm256_max_epu8(c, d));
    if (_mm256_testz_si256(highest, _mm256_set1_epi8(static_cast<char>(0x80)))) {
      validator.takeAscii(d);
      continue;
    }
    // Western text goes this way for long runs, CJK text the other.
    if (validator.allowsShort(highest)) {
      validator.takeShort(a, b, c, d, shortCounts);
      continue;
    }
    count += validator.take(a) + validator.take(b) + validator.take(c) + validator.take(d);
  }
  count += validator.takeRest(text, i, length);
  const __m128i half =
      _mm_add_epi64(_mm256_castsi256_si128(shortCounts), _mm256_extracti128_si256(shortCounts, 1));
  continuations = count + static_cast<std::size_t>(_mm_cvtsi128_si64(half) + _mm_extract_epi64(half, 1));
  return validator.finish();
}

// The extra bytes beyond one per character that UTF-8 needs for the text.
// `done` gets the number of characters looked at; the rest is the caller's.
ORVO_AVX2 std::size_t extraBytesAvx2(const wchar_t* text, std::size_t length, std::size_t& done) {
  // Unsigned comparisons by signed ones on values with the sign bit flipped.
  const __m256i sign = _mm256_set1_epi32(INT_MIN);
  const __m256i above1 = _mm256_set1_epi32(0x7F), above1Flipped = _mm256_set1_epi32(0x7F ^ INT_MIN);
  const __m256i above2 = _mm256_set1_epi32(0x7FF ^ INT_MIN);
  const __m256i above3 = _mm256_set1_epi32(0xFFFF ^ INT_MIN);
  const __m256i beyond = _mm256_set1_epi32(0x10FFFF ^ INT_MIN);
  const __m256i twoBytesOrMore = _mm256_set1_epi32(~0x7FF);
  std::size_t extra = 0;
  std::size_t i = 0;
  // Lanes gain at most 4 a step each; chunks keep them far from overflow.
  constexpr std::size_t kChunk = std::size_t{1} << 24;
  while (length - i >= 32) {
    const std::size_t chunkEnd = length - i > kChunk ? i + kChunk : length;
    // Separate sums, so that the additions do not wait on each other.
    __m256i sum1 = _mm256_setzero_si256(), sum2 = sum1, sum3 = sum1, sum4 = sum1;
    for (; i + 32 <= chunkEnd; i += 32) {
      const auto* block = reinterpret_cast<const __m256i*>(text + i);
      const __m256i a = _mm256_loadu_si256(block), b = _mm256_loadu_si256(block + 1);
      const __m256i c = _mm256_loadu_si256(block + 2), d = _mm256_loadu_si256(block + 3);
      const __m256i any = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
      if (_mm256_testz_si256(any, twoBytesOrMore)) {
        // All below U+0800, the common case: one comparison each.
        sum1 = _mm256_sub_epi32(sum1, _mm256_cmpgt_epi32(a, above1));
        sum2 = _mm256_sub_epi32(sum2, _mm256_cmpgt_epi32(b, above1));
        sum3 = _mm256_sub_epi32(sum3, _mm256_cmpgt_epi32(c, above1));
        sum4 = _mm256_sub_epi32(sum4, _mm256_cmpgt_epi32(d, above1));
        continue;
      }
      const __m256i blocks[4] = {a, b, c, d};
      for (__m256i units : blocks) {
        units = _mm256_xor_si256(units, sign);
        sum1 = _mm256_sub_epi32(sum1, _mm256_cmpgt_epi32(units, above1Flipped));
        sum2 = _mm256_sub_epi32(sum2, _mm256_cmpgt_epi32(units, above2));
        sum3 = _mm256_sub_epi32(sum3, _mm256_cmpgt_epi32(units, above3));
        sum4 = _mm256_add_epi32(sum4, _mm256_cmpgt_epi32(units, beyond));  // Three bytes, not four.
      }
    }
    alignas(32) std::int32_t lanes[4][8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes[0]), sum1);
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes[1]), sum2);
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes[2]), sum3);
    _mm256_store_si256(reinterpret_cast<__m256i*>(lanes[3]), sum4);
    long long chunkExtra = 0;
    for (const auto& row : lanes) {
      for (std::int32_t lane : row) chunkExtra += lane;
    }
    extra += static_cast<std::size_t>(chunkExtra);
  }
  done = i;
  return extra;
}

// Shuffles for pshufb, one for each 8-bit mask, that compact a 128-bit
// lane of eight 16-bit values.
struct LaneShuffles {
  std::uint8_t rows[256][16];
};

// Moves the values whose bit is set to the front, in order.
constexpr LaneShuffles makeValueGather() {
  LaneShuffles table{};
  for (int mask = 0; mask < 256; ++mask) {
    int k = 0;
    for (int lane = 0; lane < 8; ++lane) {
      if ((mask >> lane & 1) == 0) continue;
      table.rows[mask][k++] = static_cast<std::uint8_t>(2 * lane);
      table.rows[mask][k++] = static_cast<std::uint8_t>(2 * lane + 1);
    }
    while (k < 16) table.rows[mask][k++] = 0x80;
  }
  return table;
}

// Keeps the first byte of every value, and its second byte where the bit is
// set.
constexpr LaneShuffles makeByteGather() {
  LaneShuffles table{};
  for (int mask = 0; mask < 256; ++mask) {
    int k = 0;
    for (int lane = 0; lane < 8; ++lane) {
      table.rows[mask][k++] = static_cast<std::uint8_t>(2 * lane);
      if (mask >> lane & 1) table.rows[mask][k++] = static_cast<std::uint8_t>(2 * lane + 1);
    }
    while (k < 16) table.rows[mask][k++] = 0x80;
  }
  return table;
}

constexpr LaneShuffles kValueGather = makeValueGather();
constexpr LaneShuffles kByteGather = makeByteGather();

ORVO_AVX2_INLINE __m128i shuffleRow(const LaneShuffles& table, unsigned mask) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.rows[mask]));
}

// Decodes ASCII and two-byte characters, 32 bytes at a time. The constants
// live in the object, so that a loop loads them once.
class ShortCharacterDecoder {
 public:
  ORVO_AVX2_INLINE ShortCharacterDecoder()
      : _lastContinuation(_mm256_set1_epi16(0xBF)),
        _low5(_mm256_set1_epi16(0x1F)),
        _low6(_mm256_set1_epi16(0x3F)),
        _firstLead(_mm256_set1_epi8(-64)) {
    // The compiler would otherwise build the constants anew in every round
    // of a loop.
    asm("" : "+x"(_lastContinuation), "+x"(_low5), "+x"(_low6), "+x"(_firstLead));
  }

  // Decodes the 32 bytes `block` at `p`, reading one byte more.
  // Continuation bytes are dropped: that of a character whose lead is the
  // last byte before belongs to it. Answers the characters written; up to
  // 32 more units may be overwritten.
  ORVO_AVX2_INLINE std::size_t decode32(const unsigned char* p, __m256i block, wchar_t* out) const {
    // Signed, continuations 0x80..0xBF are the bytes below -64.
    const auto keep = ~static_cast<unsigned>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(_firstLead, block)));
    const std::size_t low = decode16(p, keep & 0xFFFF, out);
    return low + decode16(p + 16, keep >> 16, out + low);
  }

 private:
  // The same for 16 bytes, of which those with a bit in `keep` begin a
  // character.
  ORVO_AVX2_INLINE std::size_t decode16(const unsigned char* p, unsigned keep, wchar_t* out) const {
    const __m256i values = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    const __m256i next = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1)));
    // Every byte decoded as if it began a character: itself, or with the
    // byte behind it if it is a lead.
    const __m256i isLead = _mm256_cmpgt_epi16(values, _lastContinuation);
    const __m256i pair = _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(values, _low5), 6),
                                         _mm256_and_si256(next, _low6));
    const __m256i codes = _mm256_blendv_epi8(values, pair, isLead);
    const unsigned keepLow = keep & 0xFF, keepHigh = keep >> 8;
    const __m256i gather = _mm256_inserti128_si256(_mm256_castsi128_si256(shuffleRow(kValueGather, keepLow)),
                                                   shuffleRow(kValueGather, keepHigh), 1);
    const __m256i kept = _mm256_shuffle_epi8(codes, gather);
    const auto lowCount = static_cast<std::size_t>(__builtin_popcount(keepLow));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_cvtepu16_epi32(_mm256_castsi256_si128(kept)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + lowCount),
                        _mm256_cvtepu16_epi32(_mm256_extracti128_si256(kept, 1)));
    return lowCount + static_cast<std::size_t>(__builtin_popcount(keepHigh));
  }

  __m256i _lastContinuation;
  __m256i _low5;
  __m256i _low6;
  __m256i _firstLead;
};

// Decodes the three-byte characters at `p` eight at a time if the next eight
// characters all have three bytes; answers whether it did. Needs 28 bytes to
// read and room for eight characters.
ORVO_AVX2_INLINE bool decodeEightThreeByteCharacters(const unsigned char* p, wchar_t* out) {
  // Each 32-bit lane gets the three bytes of one character, first byte
  // highest: lane = b2 | b1 << 8 | b0 << 16.
  const __m256i gather = _mm256_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1,
                                          2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
  const __m256i bytes = _mm256_inserti128_si256(
      _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))),
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12)), 1);
  const __m256i lanes = _mm256_shuffle_epi8(bytes, gather);
  const __m256i leads = _mm256_cmpeq_epi32(_mm256_and_si256(lanes, _mm256_set1_epi32(0xF00000)),
                                           _mm256_set1_epi32(0xE00000));
  if (_mm256_movemask_epi8(leads) != -1) return false;
  const __m256i code = _mm256_or_si256(
      _mm256_or_si256(_mm256_and_si256(lanes, _mm256_set1_epi32(0x3F)),
                      _mm256_and_si256(_mm256_srli_epi32(lanes, 2), _mm256_set1_epi32(0xFC0))),
      _mm256_and_si256(_mm256_srli_epi32(lanes, 4), _mm256_set1_epi32(0xF000)));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), code);
  return true;
}

// One step where a block holds characters of three or four bytes: eight
// three-byte characters at once if they follow, else one character. Answers
// the position behind them; `out` moves past what it wrote.
ORVO_AVX2_INLINE const unsigned char* decodeLongerCharacters(const unsigned char* p, wchar_t*& out) {
  while (isContinuation(*p)) ++p;  // The end of a character the block before decoded.
  if ((*p & 0xF0) == 0xE0 && decodeEightThreeByteCharacters(p, out)) {
    out += 8;
    return p + 24;
  }
  return utf8::decodeWellFormedCharacter(p, out);
}

// The bulk of decoding well-formed text; the tail behind the last whole
// character is left to the codec. Blocks of 32 bytes without characters of
// three or four bytes, the common case of Western text, are decoded whole:
// no branch depends on where an ASCII run ends, and the next block's bytes
// can be loaded before this one is done. Runs of three-byte characters (CJK)
// go eight at a time.
ORVO_AVX2 std::size_t decodeWellFormedAvx2(const unsigned char* text, std::size_t length, wchar_t* target,
                                           std::size_t units, std::size_t& written) {
  const unsigned char* p = text;
  const unsigned char* const end = text + length;
  wchar_t* out = target;
  wchar_t* const outEnd = target + units;
  const __m256i highestShort = _mm256_set1_epi8(static_cast<char>(0xDF));
  const ShortCharacterDecoder shortCharacters;
  while (end - p >= 36 && outEnd - out >= 32) {
    const __m256i block = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    const __m256i aboveShort = _mm256_subs_epu8(block, highestShort);  // Leads of three bytes or more.
    if (_mm256_testz_si256(aboveShort, aboveShort)) {
      out += shortCharacters.decode32(p, block, out);
      p += 32;
      continue;
    }
    p = decodeLongerCharacters(p, out);
  }
  while (p < end && isContinuation(*p)) ++p;
  written = static_cast<std::size_t>(out - target);
  return static_cast<std::size_t>(p - text);
}

// Decoding stays with the AVX2 loop even where AVX-512 is there: a decoder
// that widened and compacted 64 bytes at a time with vpcompressd took 4.5 us
// for 64 KiB of Western text in some processes and 7.2 us in others, where
// the AVX2 loop takes 6 us in every one; it was no faster on the whole.
#define ORVO_AVX512 __attribute__((target("avx512f,avx512bw,avx2,popcnt")))

// GCC 12's AVX-512 intrinsics start from an undefined vector, which its
// flow analysis takes for an uninitialised variable.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

// With AVX-512 (F and BW), blocks of 64 bytes in which no byte is above
// 0xDF, and no longer character is left open before them, are checked in
// mask registers: a byte must be a continuation exactly where the byte
// before it is a lead, and no lead may be C0 or C1. That is all that can go
// wrong in ASCII and two-byte characters, the whole of Western text, and it
// takes two thirds of the AVX2 check's time on such text. Blocks with longer
// characters go to the AVX2 validator, which resumes after the 32 bytes
// before them.
ORVO_AVX512 bool validateAvx512(const unsigned char* text, std::size_t length, std::size_t& continuations) {
  const __m512i highestShort = _mm512_set1_epi8(static_cast<char>(0xDF));
  const __m512i firstLead = _mm512_set1_epi8(static_cast<char>(0xC0));
  const __m512i firstValidLead = _mm512_set1_epi8(static_cast<char>(0xC2));
  Avx2Validator validator;
  // Whether the validator has seen the bytes right before position i.
  bool validatorCurrent = true;
  // Whether the three bytes before i open no character of three or four
  // bytes, and whether the last of them is a lead.
  bool shortBefore = true;
  std::uint64_t leadBefore = 0;
  std::uint64_t errors = 0;
  std::size_t count = 0;
  std::size_t i = 0;
  for (; i + 64 <= length; i += 64) {
    const __m512i block = _mm512_loadu_si512(text + i);
    const std::uint64_t longer = _mm512_cmpgt_epu8_mask(block, highestShort);
    if (longer == 0 && shortBefore) {
      // Signed, continuations are the bytes below 0xC0 and above 0x7F.
      const std::uint64_t continuation = _mm512_cmplt_epi8_mask(block, firstLead);
      const std::uint64_t leads = _mm512_cmpge_epu8_mask(block, firstLead);
      errors |= continuation ^ ((leads << 1) | leadBefore);
      errors |= _mm512_mask_cmplt_epu8_mask(leads, block, firstValidLead);
      leadBefore = leads >> 63;
      count += static_cast<std::size_t>(__builtin_popcountll(continuation));
      validatorCurrent = false;
      continue;
    }
    if (!validatorCurrent) validator.resume(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i - 32)));
    count += validator.take(_mm512_castsi512_si256(block));
    count += validator.take(_mm512_extracti64x4_epi64(block, 1));
    validatorCurrent = true;
    shortBefore = (longer >> 61) == 0;
    leadBefore = text[i + 63] >= 0xC0;
  }
  if (!validatorCurrent) validator.resume(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i - 32)));
  continuations = count + validator.takeRest(text, i, length);
  return validator.finish() && errors == 0;
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

// Encodes characters below U+0800, one or two bytes each, eight at a time.
// The constants live in the object, so that a loop loads them once.
class ShortCharacterEncoder {
 public:
  ORVO_AVX2_INLINE ShortCharacterEncoder()
      : _lastAscii(_mm256_set1_epi32(0x7F)),
        _low6(_mm256_set1_epi32(0x3F)),
        _marks(_mm256_set1_epi32(0x80C0)) {
    // The compiler would otherwise build the constants anew in every round
    // of a loop, three instructions each.
    asm("" : "+x"(_lastAscii), "+x"(_low6), "+x"(_marks));
  }

  // Answers the bytes written; up to 16 bytes may be overwritten.
  ORVO_AVX2_INLINE std::size_t encode8(__m256i units, unsigned char* out) const {
    const __m256i isPair = _mm256_cmpgt_epi32(units, _lastAscii);
    // Each 32-bit lane: the character itself if it is ASCII, else its two
    // bytes, first byte lowest; then narrowed to 16 bits.
    const __m256i pair = _mm256_or_si256(
        _mm256_or_si256(_mm256_srli_epi32(units, 6), _mm256_slli_epi32(_mm256_and_si256(units, _low6), 8)),
        _marks);
    const __m256i lanes = _mm256_blendv_epi8(units, pair, isPair);
    const __m128i words =
        _mm_packus_epi32(_mm256_castsi256_si128(lanes), _mm256_extracti128_si256(lanes, 1));
    const auto twoByte = static_cast<unsigned>(_mm256_movemask_ps(_mm256_castsi256_ps(isPair)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm_shuffle_epi8(words, shuffleRow(kByteGather, twoByte)));
    return 8 + static_cast<std::size_t>(__builtin_popcount(twoByte));
  }

 private:
  __m256i _lastAscii;
  __m256i _low6;
  __m256i _marks;
};

// Encodes eight characters of three bytes each if the next eight all are;
// answers whether it did. Needs room for 28 bytes.
ORVO_AVX2_INLINE bool encodeEightThreeByteCharacters(const wchar_t* text, unsigned char* out) {
  const __m256i units = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
  // All from U+0800 to U+FFFF and none a surrogate (signed comparisons: a
  // value with the sign bit set fails the first).
  const __m256i inRange = _mm256_andnot_si256(_mm256_cmpgt_epi32(units, _mm256_set1_epi32(0xFFFF)),
                                              _mm256_cmpgt_epi32(units, _mm256_set1_epi32(0x7FF)));
  const __m256i surrogate = _mm256_cmpeq_epi32(_mm256_and_si256(units, _mm256_set1_epi32(0xF800)),
                                               _mm256_set1_epi32(0xD800));
  if (_mm256_movemask_epi8(_mm256_andnot_si256(surrogate, inRange)) != -1) return false;
  const __m256i first = _mm256_or_si256(_mm256_srli_epi32(units, 12), _mm256_set1_epi32(0xE0));
  const __m256i second = _mm256_or_si256(
      _mm256_and_si256(_mm256_slli_epi32(units, 2), _mm256_set1_epi32(0x3F00)), _mm256_set1_epi32(0x8000));
  const __m256i third = _mm256_or_si256(
      _mm256_and_si256(_mm256_slli_epi32(units, 16), _mm256_set1_epi32(0x3F0000)),
      _mm256_set1_epi32(0x800000));
  // Twelve bytes from each half, the three of each lane one after another.
  const __m256i compact = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,
                                           0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const __m256i bytes = _mm256_shuffle_epi8(_mm256_or_si256(_mm256_or_si256(first, second), third), compact);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 12), _mm256_extracti128_si256(bytes, 1));
  return true;
}

// The bulk of encode, in the manner of decodeWellFormedAvx2: sixteen
// characters below U+0800 at a time, runs of three-byte characters eight at
// a time, the rest one by one.
ORVO_AVX2 std::size_t encodeAvx2(const wchar_t* text, std::size_t length, unsigned char* target,
                                 std::size_t targetLength, std::size_t& written) {
  unsigned char* out = target;
  unsigned char* const outEnd = target + targetLength;
  const __m256i threeBytesOrMore = _mm256_set1_epi32(~0x7FF);
  const ShortCharacterEncoder shortCharacters;
  std::size_t i = 0;
  while (length - i >= 16 && outEnd - out >= 32) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + i + 8));
    if (_mm256_testz_si256(_mm256_or_si256(a, b), threeBytesOrMore)) {
      out += shortCharacters.encode8(a, out);
      out += shortCharacters.encode8(b, out);
      i += 16;
    } else if (encodeEightThreeByteCharacters(text + i, out)) {
      i += 8;
      out += 24;
    } else {
      out = utf8::encodeCodePoint(static_cast<std::uint32_t>(text[i++]), out);
    }
  }
  written = static_cast<std::size_t>(out - target);
  return i;
}


constexpr Utf8VectorLoops kAvx2Loops = {validateAvx2, decodeWellFormedAvx2, extraBytesAvx2, encodeAvx2};
constexpr Utf8VectorLoops kAvx512Loops = {validateAvx512, decodeWellFormedAvx2, extraBytesAvx2, encodeAvx2};

}  // namespace

const Utf8VectorLoops* utf8VectorLoops() {
  if (hasAvx512()) return &kAvx512Loops;
  return hasAvx2() ? &kAvx2Loops : nullptr;
}

}  // namespace orvo::platform

#else

namespace orvo::platform {
const Utf8VectorLoops* utf8VectorLoops() { return nullptr; }
}  // namespace orvo::platform

#endif
