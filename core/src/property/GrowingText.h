// GrowingText: the buffer that property texts are written into. It becomes
// a String without a copy: the block is laid out as a string block from the
// start. It grows on the heap until it reaches a huge page, and from there,
// where the kernel offers huge pages, in a block of its own that faults in
// 2 MiB at a time and grows by remapping its pages rather than copying them.
// Writing a large object graph thus touches each page of its text about once
// and costs the kernel a few faults instead of thousands.
#pragma once

#include <cstddef>
#include <string_view>

#include <orvo/core/String.h>

namespace orvo::property {

class GrowingText {
 public:
  GrowingText() = default;
  GrowingText(const GrowingText&) = delete;
  GrowingText& operator=(const GrowingText&) = delete;
  ~GrowingText();

  std::size_t size() const noexcept { return _size; }
  void append(std::wstring_view units);
  void append(const String& text) {
    append(std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength())));
  }
  void push(wchar_t unit) { append(std::wstring_view(&unit, 1)); }
  // "{" part "}": a value in its frame.
  void appendFramed(std::wstring_view part);
  void appendFramed(const String& text) {
    appendFramed(std::wstring_view(text.getBuffer(), static_cast<std::size_t>(text.getLength())));
  }
  // Cuts the text back to `size` units, no more than it has.
  void truncate(std::size_t size) noexcept {
    if (size < _size) _size = size;
  }
  // The text as a String; the buffer is empty afterwards. A text beyond the
  // String's size limit, or without memory, gives an empty String.
  String finish();

 private:
  wchar_t* units() const noexcept;
  bool grow(std::size_t needed);
  // Room for `more` units beyond the text; false once the text has failed.
  bool reserveMore(std::size_t more);
  bool growMapped(std::size_t capacity);
  bool mapped() const noexcept;
  void release() noexcept;

  void* _block = nullptr;
  std::size_t _size = 0;
  std::size_t _capacity = 0;  // units, without the terminator
  bool _failed = false;
};

}  // namespace orvo::property
