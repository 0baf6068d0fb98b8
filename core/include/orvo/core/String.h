// String.h: the library's string, one template in three encodings.
//
//   String (also StringWide)  TString<wchar_t>        one wchar_t per code point
//   StringAnsi                TString<char>           the active code page
//   StringUtf8                TString<unsigned char>  UTF-8
//
// A string is one pointer wide. It points at the first character of a block
// whose header (StringData) lies directly in front of the text, so reading the
// text is a plain load. Copies share the block through a count (atomic once
// the process runs a second thread, see ReferenceCount.h), and a block that
// more than one string points at is never written: the few operations that
// change text in place copy a shared block first. Blocks are as long as
// their text; every empty string shares one static block. A block the
// string takes from the heap for a text of 256 bytes or more starts the text
// on a 32-byte boundary, where the C library's vector routines run fastest
// (for that, 16 bytes more are asked of the heap). A
// block of 2 MiB or more is mapped from the system on its own, in huge pages
// where the kernel offers transparent huge pages, so that a text of
// megabytes costs a few page faults instead of thousands.
//
// Units of measure differ by operation, as in the rest of the library:
// getLength, operator[] and getSubString count characters; erase and insert
// count code units (bytes in the 8-bit forms); find in the 8-bit forms answers
// a byte offset. A position or count beyond the string is the caller's
// error; the string answers as if it ended there (an index past the end reads
// the terminator's 0, a range is cut at the end), never outside its block.
//
//   String name(L"report");
//   String path = L"/tmp/" + name + L".txt";
//   path.replace(L".txt", L".log");
//   String line;
//   line.format(L"%s has %d characters", path.getBuffer(), path.getLength());
//
// Conversions between the three forms are StringHelper and StringConvert.
//
// Threads: a string object is as safe as an int: one thread at a time, or
// behind the caller's lock. Copies that share a block may be used on
// different threads at once: the count is atomic, the length is computed
// under the block's lock, and no thread writes a shared block.
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <type_traits>
#include <utility>

#include <orvo/core/Export.h>
#include <orvo/core/ReferenceCount.h>
#include <orvo/core/SpinLock.h>
#include <orvo/core/Stream.h>

namespace orvo {

template <class T>
class StringBlock;

template <class T>
class ORVO_API TString {
 public:
  // The header in front of every string's text. Its size, 32 bytes, keeps
  // the text as aligned as the block it starts.
  struct alignas(16) StringData {
    // Frees the block; the release path calls it instead of freeing directly.
    // Null for the shared empty string, which is never freed.
    void (*destroy)(StringData* data);
    // Bytes of the buffer, terminator included.
    int size;
    // Characters, or -1 while not yet computed.
    std::atomic<int> length;
    // Strings that point at this block.
    ReferenceCount refCount;
    // Guards the lazy computation of `length` on a shared block.
    SpinLock lock;
  };

  TString() noexcept : _buffer(shareEmpty()) {}
  // Null or an empty text shares the empty string.
  TString(const T* text);
  // `length` counts characters; the copy stops at a terminator, so a length
  // beyond the text takes the whole text.
  TString(const T* text, int length);
  // The string of the one character with this code; 0 gives the empty string.
  explicit TString(int character);
  TString(const TString& other) noexcept : _buffer(other._buffer) { addReference(getData()); }
  TString(TString&& other) noexcept : _buffer(other._buffer) { other._buffer = shareEmpty(); }
  ~TString() { release(getData()); }

  TString& operator=(const TString& other) noexcept {
    StringData* data = other.getData();
    addReference(data);
    attach(data);
    return *this;
  }
  TString& operator=(TString&& other) noexcept {
    std::swap(_buffer, other._buffer);
    return *this;
  }
  // Reuses the block when it is not shared and the new text has its size.
  // Unlike the constructor, an empty non-null text gets a block of its own.
  TString& operator=(const T* text);

  // Characters, computed on first use and cached in the block.
  int getLength() const {
    const int length = getData()->length.load(std::memory_order_acquire);
    return length >= 0 ? length : computeLength();
  }
  // Bytes of the buffer, terminator included.
  int getBufferLength() const noexcept { return getData()->size; }
  const T* getBuffer() const noexcept { return _buffer; }
  operator const T*() const noexcept { return _buffer; }

  // The code of character `index` (characters, walked from the start); 0 for
  // an index outside the text.
  int operator[](int index) const;
  // `start` and `length` count characters; the part beyond the end is cut.
  TString getSubString(int start, int length) const;

  // -1, 0 or 1 by the first differing character code; null counts as empty.
  // A String holds one code point per wchar_t, not UTF-16 as on Windows, so
  // characters above U+FFFF sort above U+E000..U+FFFF instead of between
  // U+D7FF and U+E000 (as their surrogates would). Values that are no code
  // point at all compare as the C library's wcscmp compares them (signed).
  int compare(const T* text) const;
  int compare(const TString& other) const {
    if constexpr (std::is_same_v<T, wchar_t>) {
      // Wide text whose length is known has no zero unit inside: one wmemcmp
      // over the shorter text and its terminator decides, as std::wstring
      // compares. Inline, so that the common case costs no call of its own.
      const TString& shorter = getData()->size <= other.getData()->size ? *this : other;
      const int units = shorter.unitCount();
      if (shorter.getData()->length.load(std::memory_order_relaxed) == units) {
        const int difference = std::wmemcmp(_buffer, other._buffer, static_cast<std::size_t>(units) + 1);
        return (difference > 0) - (difference < 0);
      }
    }
    return compareBlocks(other);
  }
  // As compare, with the ASCII letters A to Z taken as a to z.
  int compareNoCase(const T* text) const;

  bool operator==(const T* text) const { return compare(text) == 0; }
  bool operator!=(const T* text) const { return compare(text) != 0; }
  bool operator<(const T* text) const { return compare(text) < 0; }
  bool operator>(const T* text) const { return compare(text) > 0; }
  bool operator<=(const T* text) const { return compare(text) <= 0; }
  bool operator>=(const T* text) const { return compare(text) >= 0; }
  bool operator==(const TString& other) const {
    return getData()->size == other.getData()->size && compare(other) == 0;
  }
  bool operator!=(const TString& other) const { return !(*this == other); }

  TString operator+(const TString& other) const;
  TString operator+(const T* text) const;
  TString& operator+=(const TString& other) { return *this = *this + other; }
  TString& operator+=(const T* text) { return *this = *this + text; }
  // Appends one character; 0 appends nothing.
  TString& operator+=(int character);

  // Drop leading, trailing or both kinds of ASCII white space. In UTF-8 a
  // stray byte such as 0x89 or 0x8A stays: it decodes to U+FFFD, where the
  // Windows design reads its low seven bits as a tab or a line feed and
  // trims it.
  TString& trimLeft();
  TString& trimRight();
  TString& trim();
  // Change the ASCII letters only, unit by unit.
  TString& upperCase();
  TString& lowerCase();

  // Position of the character or text at or after character `start`, or -1.
  // A unit index for String, a byte offset for the 8-bit forms.
  int find(int character, int start = 0) const {
    if constexpr (std::is_same_v<T, wchar_t>) {
      // A wide text whose length is known is searched inline, so that the
      // common case costs the C library's wmemchr and no call of its own.
      const int length = getData()->length.load(std::memory_order_acquire);
      if (length > 0 && character != 0 && start >= 0 && start <= length) {
        return findUnit(_buffer, start, length, static_cast<wchar_t>(character));
      }
    }
    return findCharacter(character, start);
  }
  int find(const T* text, int start = 0) const;

  // The string becomes the printf result; an argument may be the string
  // itself. In a wide format "%s" takes a wide string. Returns the units
  // written, or -1 (and the string is empty) if the format fails.
  int format(const T* format, ...);

  // Replaces every occurrence, left to right without overlap. Returns the
  // number of occurrences; an empty search text gives 0.
  int replace(int from, int to);
  int replace(const T* from, const T* to);
  int replace(const TString& from, const TString& to);
  int replace(const T* from, const TString& to);
  int replace(const TString& from, const T* to);

  // Removes `count` code units at code unit `position`, or up to the end if
  // fewer are left; returns `count`.
  int erase(int position, int count);
  // Inserts at code unit `position`; returns the new length in code units.
  int insert(int position, int character);
  int insert(int position, const T* text);
  int insert(int position, const TString& text);
  // Removes every occurrence; returns their number (0 for an empty text).
  int remove(int character);
  int remove(const T* text);
  int remove(const TString& text);

 private:
  template <class U>
  friend class StringBlock;

  // Adopts a block without touching its count.
  explicit TString(StringData* data) noexcept : _buffer(bufferOf(data)) {}

  static T* bufferOf(StringData* data) noexcept {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(data) + sizeof(StringData));
  }
  StringData* getData() const noexcept {
    return reinterpret_cast<StringData*>(reinterpret_cast<char*>(_buffer) - sizeof(StringData));
  }
  static void addReference(StringData* data) noexcept { data->refCount.increment(); }
  static void release(StringData* data) noexcept {
    // The only holder may free without an atomic write: nobody else can
    // reach the block to take a new reference.
    if (data->refCount.get() == 1 || data->refCount.decrement()) {
      data->destroy(data);
    }
  }
  // Points the string at `data`, adopting the caller's reference, then
  // releases the old block.
  void attach(StringData* data) noexcept {
    StringData* old = getData();
    _buffer = bufferOf(data);
    release(old);
  }
  static T* shareEmpty() noexcept {
    addReference(&_empty.data);
    return _empty.terminator;
  }

  template <class U>
  friend TString<U> operator+(const U* text, const TString<U>& string);

  // A block of `units` code units plus a terminator, count 1, length -1;
  // null (logged) if memory is short.
  static StringData* allocate(long long units);
  // A block with a copy of `units` units of `text`, or a reference on the
  // shared empty block when there is nothing to copy or no memory.
  static StringData* newBlock(const T* text, long long units);
  // The two texts one after the other.
  static TString concat(const T* left, int leftUnits, const T* right, int rightUnits);
  // Points the string at the shared empty block.
  void makeEmpty() noexcept {
    addReference(&_empty.data);
    attach(&_empty.data);
  }
  // Units before the terminator that ends the block.
  // (The size is never negative; dividing it unsigned is a plain shift.)
  int unitCount() const noexcept {
    return static_cast<int>(static_cast<unsigned>(getData()->size) / sizeof(T)) - 1;
  }
  bool isShared() const noexcept {
    return getData()->refCount.get() != 1;
  }
  int computeLength() const;
  // compare for blocks whose length is not known yet, and for 8-bit text.
  int compareBlocks(const TString& other) const;
  // find of a character for the cases the inline search leaves.
  int findCharacter(int character, int start) const;
  // The first `unit` among units [start, length) of a wide text, or -1.
  static int findUnit(const wchar_t* text, int start, int length, wchar_t unit) noexcept {
    const wchar_t* hit = std::wmemchr(text + start, unit, static_cast<std::size_t>(length - start));
    return hit ? static_cast<int>(hit - text) : -1;
  }
  // Character `index`, or the terminator for an index beyond the text.
  const T* characterAt(int index) const;
  void fork();
  void changeCase(int first, int last, int shift);

  int replace(const T* from, int fromLength, const T* to, int toLength);
  int insert(int position, const T* text, int length);
  int remove(const T* text, int length);

  T* _buffer;

  // The one block all empty strings of this instantiation share. It is
  // constant-initialised, so it exists before any constructor runs, and its
  // base reference is never given back.
  struct EmptyBlock {
    StringData data;
    T terminator[1];
  };
  static EmptyBlock _empty;
};

using String = TString<wchar_t>;
using StringWide = TString<wchar_t>;
using StringAnsi = TString<char>;
using StringUtf8 = TString<unsigned char>;

// The same as text + string, with the text on the left.
template <class T>
ORVO_API TString<T> operator+(const T* text, const TString<T>& string);

// ---- wire form ---------------------------------------------------------------
// All three strings travel in one form: a 32-bit count of UTF-16 units, then
// the units, little-endian. The 8-bit strings convert through String, so a
// text written from any of the three reads into any of the three.

namespace detail {
// Writes the count and the units; false on a short count of the text. The
// count raises "int32_t" itself.
ORVO_API bool writeStringUnits(OutputStream& os, const wchar_t* text, int codePoints);
// Reads `count` units into `target`; false on a bad count, a failed
// allocation or a short read, with `target` untouched.
ORVO_API bool readStringUnits(InputStream& is, std::int32_t count, String& target);

inline int codePointsOf(const String& text) { return text.getBufferLength() / static_cast<int>(sizeof(wchar_t)) - 1; }
}  // namespace detail

template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const StringWide& text) {
  if (!detail::writeStringUnits(os, text.getBuffer(), detail::codePointsOf(text))) {
    ORVO_THROW("TyOs& operator <<(TyOs&,StringWide&)");
  }
  return os;
}

template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, StringWide& text) {
  std::int32_t count;
  static_cast<InputStream&>(is) >> count;
  if (!detail::readStringUnits(is, count, text)) ORVO_THROW("TyIs& operator >>(TyIs&,StringWide&)");
  return is;
}

extern template class TString<char>;
extern template class TString<unsigned char>;
extern template class TString<wchar_t>;
extern template TString<char> operator+(const char*, const TString<char>&);
extern template TString<unsigned char> operator+(const unsigned char*,
                                                 const TString<unsigned char>&);
extern template TString<wchar_t> operator+(const wchar_t*, const TString<wchar_t>&);

}  // namespace orvo
