#include "property/GrowingText.h"

#include <climits>
#include <cstdlib>
#include <cwchar>
#include <new>

#include "text/StringBlock.h"

namespace orvo::property {
namespace {

using Data = String::StringData;

constexpr std::size_t kHeader = sizeof(Data);

std::size_t bytesFor(std::size_t units) { return kHeader + (units + 1) * sizeof(wchar_t); }

void freeBlock(Data* data) {
  data->~Data();
  std::free(data);
}

}  // namespace

GrowingText::~GrowingText() { std::free(_block); }

wchar_t* GrowingText::units() const noexcept {
  return reinterpret_cast<wchar_t*>(static_cast<char*>(_block) + kHeader);
}

bool GrowingText::grow(std::size_t needed) {
  if (needed > static_cast<std::size_t>(INT_MAX) / sizeof(wchar_t)) return false;
  std::size_t capacity = _capacity < 64 ? 64 : _capacity * 2;
  if (capacity < needed) capacity = needed;
  void* bigger = std::realloc(_block, bytesFor(capacity));
  if (!bigger) return false;
  _block = bigger;
  _capacity = capacity;
  return true;
}

void GrowingText::append(std::wstring_view part) {
  if (_failed || part.empty()) return;
  if (_size + part.size() > _capacity && !grow(_size + part.size())) {
    _failed = true;
    return;
  }
  std::wmemcpy(units() + _size, part.data(), part.size());
  _size += part.size();
}

String GrowingText::finish() {
  if (_failed || _size == 0 || bytesFor(_size) > static_cast<std::size_t>(INT_MAX)) {
    _size = 0;
    _failed = false;
    return String();
  }
  // Gives back what the doubling reserved beyond the text.
  if (_capacity > _size + _size / 8) {
    if (void* exact = std::realloc(_block, bytesFor(_size))) _block = exact;
  }
  units()[_size] = 0;
  const int length = static_cast<int>(_size);
  Data* data = new (_block) Data{&freeBlock, static_cast<int>((_size + 1) * sizeof(wchar_t)), {length}, {1}, {}};
  _block = nullptr;
  _size = _capacity = 0;
  return StringBlock<wchar_t>::adopt(data);
}

}  // namespace orvo::property
