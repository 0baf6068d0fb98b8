// StringBlock.h: builds a string in place, for the library's own conversions.
//
// A conversion that knows the exact size of its result allocates the block
// once, writes the text straight into it and hands it over as a string, with
// no copy in between:
//
//   StringBlock<wchar_t> block(units);
//   if (!block) return String();
//   decodeInto(block.text());
//   return block.finish(units);
//
// It also lets tests look at a string's block (its count, whether it is the
// shared empty one).
#pragma once

#include <orvo/core/String.h>

namespace orvo {

// Destroys a block that lies in a mapping of its own (platform/HugePages.h):
// String's large blocks and the property writer's finished texts.
template <class T>
void unmapStringBlock(typename TString<T>::StringData* data);

template <class T>
class StringBlock {
 public:
  using Data = typename TString<T>::StringData;

  // A block for `units` code units and a terminator. Check it with `ok`.
  explicit StringBlock(long long units) : _data(units > 0 ? TString<T>::allocate(units) : nullptr) {}
  StringBlock(const StringBlock&) = delete;
  StringBlock& operator=(const StringBlock&) = delete;
  ~StringBlock() {
    if (_data) _data->destroy(_data);
  }

  explicit operator bool() const { return _data != nullptr; }
  T* text() const { return TString<T>::bufferOf(_data); }

  // Hands the block over. `length` is its length in characters if the caller
  // knows it, else -1. The terminator is already in place.
  TString<T> finish(int length = -1) {
    _data->length.store(length, std::memory_order_relaxed);
    Data* data = _data;
    _data = nullptr;
    return TString<T>(data);
  }

  // Hands over a block that the caller allocated and laid out itself, with a
  // destroy function that frees it its own way; its count must be 1.
  static TString<T> adopt(Data* data) { return TString<T>(data); }

  static int referenceCount(const TString<T>& string) {
    return string.getData()->refCount.get();
  }
  static bool isSharedEmpty(const TString<T>& string) {
    return string.getData() == &TString<T>::_empty.data;
  }
  static int cachedLength(const TString<T>& string) {
    return string.getData()->length.load(std::memory_order_relaxed);
  }

 private:
  Data* _data;
};

}  // namespace orvo
