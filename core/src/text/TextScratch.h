// TextScratch.h: a growable run of code units that starts on the stack.
//
// Conversions whose result size is only known afterwards write here first,
// then copy the result into an exact string block. Short texts, the common
// case, never touch the heap.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

namespace orvo {

template <class T, std::size_t InlineUnits = 256>
class TextScratch {
 public:
  TextScratch() = default;
  TextScratch(const TextScratch&) = delete;
  TextScratch& operator=(const TextScratch&) = delete;

  T* data() { return _heap ? _heap.get() : _inline; }
  const T* data() const { return _heap ? _heap.get() : _inline; }
  std::size_t size() const { return _size; }
  void clear() { _size = 0; }

  // Room for at least `units` more units behind the end; returns the end.
  T* reserve(std::size_t units) {
    if (_size + units > _capacity) grow(_size + units);
    return data() + _size;
  }
  // Counts `units` units written behind the end as part of the text.
  void commit(std::size_t units) { _size += units; }

  void push(T unit) {
    *reserve(1) = unit;
    ++_size;
  }
  void append(const T* units, std::size_t count) {
    std::memcpy(reserve(count), units, count * sizeof(T));
    _size += count;
  }

 private:
  void grow(std::size_t needed) {
    std::size_t capacity = _capacity * 2;
    if (capacity < needed) capacity = needed;
    std::unique_ptr<T[]> bigger(new T[capacity]);
    std::memcpy(bigger.get(), data(), _size * sizeof(T));
    _heap = std::move(bigger);
    _capacity = capacity;
  }

  T _inline[InlineUnits];
  std::unique_ptr<T[]> _heap;
  std::size_t _size = 0;
  std::size_t _capacity = InlineUnits;
};

}  // namespace orvo
