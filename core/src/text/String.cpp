#include <orvo/core/String.h>

#include <orvo/core/Character.h>
#include <orvo/core/Log.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <new>
#include <type_traits>

#include "diagnostics/FormattedText.h"
#include "text/CharacterStep.h"
#include "text/CodePageCodec.h"
#include "text/StringBlock.h"
#include "platform/HugePages.h"
#include "platform/WideFormat.h"
#include "platform/WideSearch.h"

namespace orvo {
namespace {

template <class T>
constexpr bool kWide = std::is_same_v<T, wchar_t>;
template <class T>
constexpr bool kUtf8 = std::is_same_v<T, unsigned char>;

// Room for one character and its terminator in every form.
constexpr int kCharacterUnits = 5;

template <class T>
std::size_t unitLength(const T* text) {
  if constexpr (kWide<T>) {
    return std::wcslen(text);
  } else {
    return std::strlen(reinterpret_cast<const char*>(text));
  }
}

// Units before the terminator of a text that may be null.
template <class T>
int unitsOf(const T* text) {
  return text ? static_cast<int>(unitLength(text)) : 0;
}

template <class T>
void copyUnits(T* target, const T* source, std::size_t units) {
  std::memcpy(target, source, units * sizeof(T));
}

// The code unit as a non-negative number.
template <class T>
std::uint32_t unitValue(T unit) {
  return static_cast<std::uint32_t>(static_cast<std::make_unsigned_t<T>>(unit));
}

// The six ASCII white-space characters, whatever the locale.
bool isAsciiSpace(int code) { return code == ' ' || (code >= '\t' && code <= '\r'); }

int foldCase(int code) { return code >= 'A' && code <= 'Z' ? code + 32 : code; }
std::uint32_t foldUnit(std::uint32_t unit) { return unit - 'A' < 26 ? unit + 32 : unit; }
int keepCase(int code) { return code; }

// The first occurrence of `needle` in `text` at or after unit `from`, or -1.
template <class T>
long long findUnits(const T* text, std::size_t length, const T* needle, std::size_t needleLength,
                    std::size_t from) {
  if (needleLength == 0 || from > length || length - from < needleLength) return -1;
  if constexpr (kWide<T>) {
    const wchar_t* p = text + from;
    const wchar_t* const last = text + (length - needleLength);
    if (needleLength == 1) {
      p = std::wmemchr(p, needle[0], static_cast<std::size_t>(last - p) + 1);
      return p ? p - text : -1;
    }
    // Positions where the first two units match; the rest is compared at
    // each of them.
    while (p <= last) {
      p = platform::findUnitPair(p, static_cast<std::size_t>(last - p) + 1, needle[0], needle[1]);
      if (!p) return -1;
      if (std::wmemcmp(p + 2, needle + 2, needleLength - 2) == 0) return p - text;
      ++p;
    }
    return -1;
  } else {
    const void* hit = memmem(text + from, length - from, needle, needleLength);
    return hit ? static_cast<const T*>(hit) - text : -1;
  }
}

// Calls `visit` with the position of each occurrence of `needle`, left to
// right and without overlap: after a hit the search goes on behind it.
// Answers the number of occurrences.
template <class T, class Visit>
long long forEachOccurrence(const T* text, std::size_t length, const T* needle, std::size_t needleLength,
                            Visit visit) {
  long long count = 0;
  for (long long hit = findUnits(text, length, needle, needleLength, 0); hit >= 0;
       hit = findUnits(text, length, needle, needleLength, static_cast<std::size_t>(hit) + needleLength)) {
    visit(static_cast<std::size_t>(hit));
    ++count;
  }
  return count;
}

// Whether `text` begins with the characters of `needle`: each of them with
// the same bytes as the character at its place in `text`, so that a cut-off
// sequence never matches the first bytes of a longer character.
template <class T>
bool holdsCharacters(const T* text, const T* needle) {
  while (*needle != 0) {
    const T* const nextNeedle = nextCharacter(needle);
    const T* const nextText = nextCharacter(text);
    const std::ptrdiff_t units = nextNeedle - needle;
    if (nextText - text != units || std::memcmp(text, needle, static_cast<std::size_t>(units) * sizeof(T)) != 0) {
      return false;
    }
    needle = nextNeedle;
    text = nextText;
  }
  return true;
}

// Compares two 8-bit texts character by character through `fold`.
template <class T>
int compareCharacters(const T* a, const T* b, int (*fold)(int)) {
  // ASCII bytes are their own codes in UTF-8 and in most code pages; there
  // the converter is skipped.
  bool asciiIsDirect = kUtf8<T>;
  if constexpr (!kUtf8<T>) asciiIsDirect = codepage::isAsciiCompatible(codepage::activePage());
  for (;;) {
    const std::uint32_t byteA = unitValue(*a), byteB = unitValue(*b);
    if (byteA == 0 && byteB == 0) return 0;
    int codeA, codeB;
    if (asciiIsDirect && byteA < 0x80 && byteB < 0x80) {
      codeA = static_cast<int>(byteA), codeB = static_cast<int>(byteB);
      ++a, ++b;
    } else {
      a = stringChar(a, codeA);
      b = stringChar(b, codeB);
    }
    codeA = fold(codeA), codeB = fold(codeB);
    if (codeA != codeB) return codeA < codeB ? -1 : 1;
  }
}

// -1, 0 or 1: the C library's comparisons answer any sign.
int signOf(int difference) { return (difference > 0) - (difference < 0); }

template <class T>
void freeBlock(typename TString<T>::StringData* data) {
  data->~StringData();
  ::operator delete[](static_cast<void*>(data));
}

// Texts of this many bytes and more start on a 32-byte boundary, where the
// C library's vector routines (wmemcmp, wcslen, memcpy) take their fastest
// path: comparing two such texts of 256 characters takes a fifth less time
// than at the 16-byte offsets the heap gives half the time. The heap aligns
// to 16, so such a block is asked for 16 bytes larger and moved up by 16
// where it has to be.
constexpr std::size_t kAlignedTextBytes = 256;
constexpr std::size_t kTextAlignment = 32;
constexpr std::size_t kHeapAlignment = 16;

// Frees a block that allocate moved up by kHeapAlignment.
template <class T>
void freeMovedBlock(typename TString<T>::StringData* data) {
  data->~StringData();
  ::operator delete[](static_cast<void*>(reinterpret_cast<char*>(data) - kHeapAlignment));
}

// Memory for a block of `bytes`, and in `destroy` the way to free it. A block
// of a huge page or more is mapped on its own in huge pages where the kernel
// offers them (platform/HugePages.h says why); the heap serves the rest, with
// a long text moved to the boundary kAlignedTextBytes speaks of.
template <class T>
void* allocateBlockMemory(std::size_t bytes, void (*&destroy)(typename TString<T>::StringData*)) {
  static_assert(sizeof(typename TString<T>::StringData) % kTextAlignment == 0);
  if (platform::wantsHugePages(bytes)) {
    if (void* mapped = platform::mapHugeBlock(bytes)) {
      destroy = &unmapStringBlock<T>;
      return mapped;
    }
  }
  if (bytes - sizeof(typename TString<T>::StringData) < kAlignedTextBytes) {
    return ::operator new[](bytes, std::nothrow);
  }
  auto* memory = static_cast<char*>(::operator new[](bytes + kHeapAlignment, std::nothrow));
  if (memory && reinterpret_cast<std::uintptr_t>(memory) % kTextAlignment != 0) {
    destroy = &freeMovedBlock<T>;
    return memory + kHeapAlignment;
  }
  return memory;
}

}  // namespace

template <class T>
void unmapStringBlock(typename TString<T>::StringData* data) {
  const std::size_t bytes = sizeof(*data) + static_cast<std::size_t>(data->size);
  data->~StringData();
  platform::unmapHugeBlock(data, bytes);
}

// The empty block is constant-initialised: it is in place before any
// constructor of the program runs, so static strings may use it.
template <class T>
constinit typename TString<T>::EmptyBlock TString<T>::_empty = {
    {nullptr, static_cast<int>(sizeof(T)), {0}, {1}, {}}, {0}};

// --- Blocks ---------------------------------------------------------------

template <class T>
typename TString<T>::StringData* TString<T>::allocate(long long units) {
  const long long bytes = static_cast<long long>(sizeof(StringData)) +
                          (units + 1) * static_cast<long long>(sizeof(T));
  void* memory = nullptr;
  void (*destroy)(StringData*) = &freeBlock<T>;
  if (units >= 0 && bytes <= INT_MAX) memory = allocateBlockMemory<T>(static_cast<std::size_t>(bytes), destroy);
  if (!memory) {
    // 64 bits: a request beyond the int range is reported with its size, too.
    Log::error(L"Allocate memory(%I64d) error!", bytes);
    return nullptr;
  }
  auto* data = new (memory) StringData{destroy, static_cast<int>((units + 1) * sizeof(T)), {-1}, {1}, {}};
  bufferOf(data)[units] = 0;
  return data;
}

template <class T>
typename TString<T>::StringData* TString<T>::newBlock(const T* text, long long units) {
  StringData* data = units > 0 ? allocate(units) : nullptr;
  if (!data) {
    addReference(&_empty.data);
    return &_empty.data;
  }
  copyUnits(bufferOf(data), text, static_cast<std::size_t>(units));
  return data;
}

template <class T>
TString<T> TString<T>::concat(const T* left, int leftUnits, const T* right, int rightUnits) {
  StringData* data = allocate(static_cast<long long>(leftUnits) + rightUnits);
  if (!data) return TString();
  T* target = bufferOf(data);
  copyUnits(target, left, static_cast<std::size_t>(leftUnits));
  copyUnits(target + leftUnits, right, static_cast<std::size_t>(rightUnits));
  return TString(data);
}

template <class T>
void TString<T>::fork() {
  const int units = unitCount();
  StringData* data = allocate(units);
  if (!data) return;
  copyUnits(bufferOf(data), _buffer, static_cast<std::size_t>(units));
  data->length.store(getData()->length.load(std::memory_order_relaxed), std::memory_order_relaxed);
  attach(data);
}

// --- Construction ---------------------------------------------------------

template <class T>
TString<T>::TString(const T* text) : TString(newBlock(text, unitsOf(text))) {
  // Wide text has one character per unit: the length is known already.
  if constexpr (kWide<T>) {
    if (getData() != &_empty.data) getData()->length.store(unitCount(), std::memory_order_relaxed);
  }
}

template <class T>
TString<T>::TString(const T* text, int length) : _buffer(nullptr) {
  // A length beyond the text stops at its terminator, so trailing zero units
  // never enter the block.
  const T* end = text;
  if (text && length > 0) {
    if constexpr (kWide<T>) {
      end = text + ::wcsnlen(text, static_cast<std::size_t>(length));
    } else {
      for (int i = 0; i < length && *end != 0; ++i) end = nextCharacter(end);
    }
  }
  _buffer = bufferOf(newBlock(text, end - text));
}

template <class T>
TString<T>::TString(int character) : _buffer(nullptr) {
  T units[kCharacterUnits];
  const int count = charToString(units, character);
  _buffer = bufferOf(newBlock(units, count > 0 ? count : 0));
}

template <class T>
TString<T>& TString<T>::operator=(const T* text) {
  if (!text) {
    makeEmpty();
    return *this;
  }
  const std::size_t units = unitLength(text);
  StringData* data = getData();
  if (static_cast<long long>((units + 1) * sizeof(T)) == data->size && !isShared()) {
    std::memmove(_buffer, text, (units + 1) * sizeof(T));
    data->length.store(-1, std::memory_order_relaxed);
    return *this;
  }
  StringData* fresh = allocate(static_cast<long long>(units));
  if (!fresh) return *this;
  copyUnits(bufferOf(fresh), text, units);
  attach(fresh);
  return *this;
}

// --- Reading --------------------------------------------------------------

template <class T>
int TString<T>::computeLength() const {
  StringData* data = getData();
  auto measure = [this] {
    if constexpr (kWide<T>) {
      return static_cast<int>(std::wcslen(_buffer));
    } else {
      return stringLength(_buffer);
    }
  };
  if (!isShared()) {
    const int length = measure();
    data->length.store(length, std::memory_order_relaxed);
    return length;
  }
  // Copies on other threads may ask at the same time.
  SpinGuard guard(data->lock);
  int length = data->length.load(std::memory_order_relaxed);
  if (length < 0) {
    length = measure();
    data->length.store(length, std::memory_order_release);
  }
  return length;
}

template <class T>
const T* TString<T>::characterAt(int index) const {
  // A position beyond the text is the caller's error; it ends on the
  // terminator rather than outside the block.
  if (index <= 0) return _buffer;
  if constexpr (kWide<T>) {
    return _buffer + std::min(index, unitCount());
  } else {
    const T* p = _buffer;
    for (int i = 0; i < index && *p != 0; ++i) p = nextCharacter(p);
    return p;
  }
}

template <class T>
int TString<T>::operator[](int index) const {
  if (index < 0) return 0;
  int code;
  stringChar(characterAt(index), code);
  return code;
}

template <class T>
TString<T> TString<T>::getSubString(int start, int length) const {
  if (length < 1) return TString();
  if (start == 0 && length == getLength()) return *this;
  return TString(characterAt(start), length);
}

// --- Comparison -----------------------------------------------------------

template <class T>
int TString<T>::compare(const T* text) const {
  if (!text) text = _empty.terminator;
  if (text == _buffer) return 0;
  if constexpr (kWide<T>) {
    return signOf(std::wcscmp(_buffer, text));
  } else {
    return compareCharacters(_buffer, text, keepCase);
  }
}

template <class T>
int TString<T>::compareBlocks(const TString& other) const {
  if constexpr (kWide<T>) {
    if (other._buffer == _buffer) return 0;
    return signOf(std::wcscmp(_buffer, other._buffer));
  } else {
    return compare(other._buffer);
  }
}

template <class T>
int TString<T>::compareNoCase(const T* text) const {
  if (!text) text = _empty.terminator;
  if (text == _buffer) return 0;
  if constexpr (kWide<T>) {
    for (const wchar_t* a = _buffer; ; ++a, ++text) {
      const std::uint32_t codeA = foldUnit(unitValue(*a)), codeB = foldUnit(unitValue(*text));
      if (codeA != codeB) return codeA < codeB ? -1 : 1;
      if (codeA == 0) return 0;
    }
  } else {
    return compareCharacters(_buffer, text, foldCase);
  }
}

// --- Building -------------------------------------------------------------

template <class T>
TString<T> TString<T>::operator+(const TString& other) const {
  const int right = other.unitCount();
  if (right == 0) return *this;
  if (unitCount() == 0) return other;
  return concat(_buffer, unitCount(), other._buffer, right);
}

template <class T>
TString<T> TString<T>::operator+(const T* text) const {
  const int right = unitsOf(text);
  if (right == 0) return *this;
  if (unitCount() == 0) return TString(text);
  return concat(_buffer, unitCount(), text, right);
}

template <class T>
TString<T> operator+(const T* text, const TString<T>& string) {
  const int left = unitsOf(text);
  if (left == 0) return string;
  if (string.unitCount() == 0) return TString<T>(text);
  return TString<T>::concat(text, left, string._buffer, string.unitCount());
}

template <class T>
TString<T>& TString<T>::operator+=(int character) {
  T units[kCharacterUnits];
  const int count = charToString(units, character);
  if (count > 0) *this = concat(_buffer, unitCount(), units, count);
  return *this;
}

template <class T>
TString<T>& TString<T>::trimLeft() {
  const T* p = _buffer;
  for (;;) {
    int code;
    const T* next = stringChar(p, code);
    if (next == p || !isAsciiSpace(code)) break;
    p = next;
  }
  if (p != _buffer) *this = TString(p);
  return *this;
}

template <class T>
TString<T>& TString<T>::trimRight() {
  const T* const end = _buffer + unitLength(_buffer);
  const T* p = end;
  while (p > _buffer) {
    const T* previous = p;
    if (!isAsciiSpace(stringGetLastChar(_buffer, previous))) break;
    p = previous;
  }
  if (p != end) *this = TString(newBlock(_buffer, p - _buffer));
  return *this;
}

template <class T>
TString<T>& TString<T>::trim() {
  trimLeft();
  return trimRight();
}

template <class T>
void TString<T>::changeCase(int first, int last, int shift) {
  const int units = unitCount();
  if (units == 0) return;  // Nothing to change, and never the shared empty block.
  if (isShared()) fork();
  if (isShared()) return;  // No memory for a block of its own.
  for (int i = 0; i < units; ++i) {
    const std::uint32_t value = unitValue(_buffer[i]);
    if (value >= static_cast<std::uint32_t>(first) && value <= static_cast<std::uint32_t>(last)) {
      _buffer[i] = static_cast<T>(static_cast<int>(value) + shift);
    }
  }
}

template <class T>
TString<T>& TString<T>::upperCase() {
  changeCase('a', 'z', -32);
  return *this;
}

template <class T>
TString<T>& TString<T>::lowerCase() {
  changeCase('A', 'Z', 32);
  return *this;
}

// --- Searching ------------------------------------------------------------

template <class T>
int TString<T>::findCharacter(int character, int start) const {
  const int length = getLength();
  if (length < 1 || start < 0 || start > length) return -1;
  if constexpr (kWide<T>) {
    if (character == 0) return length;
    return findUnit(_buffer, start, length, static_cast<wchar_t>(character));
  } else {
    const T* p = _buffer;
    for (int i = 0; i < start; ++i) p = nextCharacter(p);
    // The character 0 is the terminator: a code page may decode a broken
    // byte to 0, which is no hit.
    for (; *p != 0; p = nextCharacter(p)) {
      int code;
      stringChar(p, code);
      if (code == character && character != 0) return static_cast<int>(p - _buffer);
    }
    return character == 0 ? static_cast<int>(p - _buffer) : -1;
  }
}

template <class T>
int TString<T>::find(const T* text, int start) const {
  const int length = getLength();
  if (length < 1 || start < 0 || start > length) return -1;
  if constexpr (kWide<T>) {
    if (*text == 0) return start;
    return static_cast<int>(findUnits(_buffer, static_cast<std::size_t>(length), text,
                                      std::wcslen(text), static_cast<std::size_t>(start)));
  } else {
    const T* p = _buffer;
    for (int i = 0; i < start; ++i) p = nextCharacter(p);
    if (*text == 0) return static_cast<int>(p - _buffer);
    // Give up once fewer characters are left than the text has.
    const int needleCharacters = stringLength(text);
    for (int i = start; length - i >= needleCharacters && *p != 0; ++i) {
      if (*p == *text && holdsCharacters(p, text)) return static_cast<int>(p - _buffer);
      p = nextCharacter(p);
    }
    return -1;
  }
}

// --- Formatting -----------------------------------------------------------

template <class T>
int TString<T>::format(const T* format, ...) {
  va_list args;
  va_start(args, format);
  int length;
  StringData* data = nullptr;
  if constexpr (kWide<T>) {
    // Formatted as the log formats: on a small stack buffer, or once in
    // heap room for the text's bound; then copied into an exact block.
    const FormattedText text(format, args);
    length = text.length();
    if (length == 0) {
      data = newBlock(nullptr, 0);
    } else if (length > 0 && (data = allocate(length)) != nullptr) {
      std::wmemcpy(bufferOf(data), text.get(), static_cast<std::size_t>(length));
    }
  } else {
    const char* narrowFormat = reinterpret_cast<const char*>(format);
    va_list measuring;
    va_copy(measuring, args);
    length = std::vsnprintf(nullptr, 0, narrowFormat, measuring);
    va_end(measuring);
    if (length == 0) {
      data = newBlock(nullptr, 0);
    } else if (length > 0 && (data = allocate(length)) != nullptr) {
      std::vsnprintf(reinterpret_cast<char*>(bufferOf(data)), static_cast<std::size_t>(length) + 1,
                     narrowFormat, args);
    }
  }
  va_end(args);
  // The old text goes only now, so an argument may have been this string.
  if (data) {
    attach(data);
  } else {
    makeEmpty();
    length = -1;
  }
  return length;
}

// --- Replacing, inserting, removing ---------------------------------------

template <class T>
int TString<T>::replace(const T* from, int fromLength, const T* to, int toLength) {
  if (fromLength <= 0 || toLength < 0) return 0;
  const std::size_t units = static_cast<std::size_t>(unitCount());
  const std::size_t step = static_cast<std::size_t>(fromLength);
  const long long count = forEachOccurrence(_buffer, units, from, step, [](std::size_t) {});
  if (count == 0) return 0;

  auto inside = [this, units](const T* text) { return text >= _buffer && text <= _buffer + units; };
  if (toLength == fromLength && !isShared() && !inside(from) && !inside(to)) {
    forEachOccurrence(_buffer, units, from, step, [&](std::size_t at) { copyUnits(_buffer + at, to, step); });
    getData()->length.store(-1, std::memory_order_relaxed);
    return static_cast<int>(count);
  }

  const long long newUnits = static_cast<long long>(units) + count * (toLength - fromLength);
  if (newUnits == 0) {
    makeEmpty();
    return static_cast<int>(count);
  }
  StringData* data = allocate(newUnits);
  if (!data) return 0;
  T* target = bufferOf(data);
  std::size_t done = 0;
  forEachOccurrence(_buffer, units, from, step, [&](std::size_t at) {
    copyUnits(target, _buffer + done, at - done);
    target += at - done;
    copyUnits(target, to, static_cast<std::size_t>(toLength));
    target += toLength;
    done = at + step;
  });
  copyUnits(target, _buffer + done, units - done);
  attach(data);
  return static_cast<int>(count);
}

template <class T>
int TString<T>::remove(const T* text, int length) {
  return replace(text, length, text, 0);
}

template <class T>
int TString<T>::insert(int position, const T* text, int length) {
  const int units = unitCount();
  if (length <= 0) return units;
  // Positions are the caller's to get right; a wrong one must still not
  // write outside the block.
  if (position < 0) position = 0;
  if (position > units) position = units;
  StringData* data = allocate(static_cast<long long>(units) + length);
  if (!data) return units;
  T* target = bufferOf(data);
  copyUnits(target, _buffer, static_cast<std::size_t>(position));
  copyUnits(target + position, text, static_cast<std::size_t>(length));
  copyUnits(target + position + length, _buffer + position, static_cast<std::size_t>(units - position));
  attach(data);
  return units + length;
}

template <class T>
int TString<T>::erase(int position, int count) {
  if (count < 1) return count;
  const int units = unitCount();
  if (position < 0) position = 0;
  if (position > units) position = units;
  const int erased = count < units - position ? count : units - position;
  if (erased == 0) return count;
  const int rest = units - position - erased;
  StringData* data = units - erased > 0 ? allocate(units - erased) : nullptr;
  if (data) {
    copyUnits(bufferOf(data), _buffer, static_cast<std::size_t>(position));
    copyUnits(bufferOf(data) + position, _buffer + position + erased, static_cast<std::size_t>(rest));
    attach(data);
  } else if (units - erased == 0) {
    makeEmpty();
  }
  return count;
}

// --- The public forms of replace, insert and remove -----------------------

template <class T>
int TString<T>::replace(int from, int to) {
  T fromUnits[kCharacterUnits], toUnits[kCharacterUnits];
  const int fromLength = charToString(fromUnits, from);
  const int toLength = charToString(toUnits, to);
  return replace(fromUnits, fromLength, toUnits, toLength);
}

template <class T>
int TString<T>::replace(const T* from, const T* to) {
  return replace(from, unitsOf(from), to, unitsOf(to));
}

template <class T>
int TString<T>::replace(const TString& from, const TString& to) {
  return replace(from._buffer, from.unitCount(), to._buffer, to.unitCount());
}

template <class T>
int TString<T>::replace(const T* from, const TString& to) {
  return replace(from, unitsOf(from), to._buffer, to.unitCount());
}

template <class T>
int TString<T>::replace(const TString& from, const T* to) {
  return replace(from._buffer, from.unitCount(), to, unitsOf(to));
}

template <class T>
int TString<T>::insert(int position, int character) {
  T units[kCharacterUnits];
  return insert(position, units, charToString(units, character));
}

template <class T>
int TString<T>::insert(int position, const T* text) {
  return insert(position, text, unitsOf(text));
}

template <class T>
int TString<T>::insert(int position, const TString& text) {
  return insert(position, text._buffer, text.unitCount());
}

template <class T>
int TString<T>::remove(int character) {
  T units[kCharacterUnits];
  return remove(units, charToString(units, character));
}

template <class T>
int TString<T>::remove(const T* text) {
  return remove(text, unitsOf(text));
}

template <class T>
int TString<T>::remove(const TString& text) {
  return remove(text._buffer, text.unitCount());
}

template class TString<char>;
template class TString<unsigned char>;
template class TString<wchar_t>;
template void unmapStringBlock<char>(TString<char>::StringData*);
template void unmapStringBlock<unsigned char>(TString<unsigned char>::StringData*);
template void unmapStringBlock<wchar_t>(TString<wchar_t>::StringData*);
template TString<char> operator+(const char*, const TString<char>&);
template TString<unsigned char> operator+(const unsigned char*, const TString<unsigned char>&);
template TString<wchar_t> operator+(const wchar_t*, const TString<wchar_t>&);

}  // namespace orvo
