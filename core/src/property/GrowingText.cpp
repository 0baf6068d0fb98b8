#include "property/GrowingText.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "platform/HugePages.h"
#include "text/StringBlock.h"

namespace orvo::property {
namespace {

using Data = String::StringData;

constexpr std::size_t kHeader = sizeof(Data);

std::size_t bytesFor(std::size_t units) { return kHeader + (units + 1) * sizeof(wchar_t); }

// The most units that fit a mapping of `bytes`.
std::size_t unitsIn(std::size_t bytes) { return (bytes - kHeader) / sizeof(wchar_t) - 1; }

void freeBlock(Data* data) {
  data->~Data();
  std::free(data);
}

}  // namespace

GrowingText::~GrowingText() { release(); }

void GrowingText::release() noexcept {
  if (mapped()) {
    platform::unmapHugeBlock(_block, bytesFor(_capacity));
  } else {
    std::free(_block);
  }
  _block = nullptr;
  _size = _capacity = 0;
}

// A block is mapped exactly when its capacity wants huge pages: the heap
// serves a block until it would reach a huge page, the mapping from then on.
bool GrowingText::mapped() const noexcept { return platform::wantsHugePages(bytesFor(_capacity)); }

wchar_t* GrowingText::units() const noexcept {
  return reinterpret_cast<wchar_t*>(static_cast<char*>(_block) + kHeader);
}

bool GrowingText::grow(std::size_t needed) {
  if (needed > static_cast<std::size_t>(INT_MAX) / sizeof(wchar_t)) return false;
  std::size_t capacity = _capacity < 64 ? 64 : _capacity * 2;
  if (capacity < needed) capacity = needed;
  if (platform::wantsHugePages(bytesFor(capacity))) return growMapped(capacity);
  void* bigger = std::realloc(_block, bytesFor(capacity));
  if (!bigger) return false;
  _block = bigger;
  _capacity = capacity;
  return true;
}

// Whole huge pages, so that the last one can be a huge page too.
bool GrowingText::growMapped(std::size_t capacity) {
  const std::size_t pages = (bytesFor(capacity) + platform::kHugePageBytes - 1) / platform::kHugePageBytes;
  const std::size_t bytes = pages * platform::kHugePageBytes;
  const bool moving = !mapped();
  void* bigger = moving ? platform::mapHugeBlock(bytes) : platform::resizeHugeBlock(_block, bytesFor(_capacity), bytes);
  if (!bigger) return false;
  if (moving) {
    if (_block) std::memcpy(bigger, _block, bytesFor(_size));
    std::free(_block);
  }
  _block = bigger;
  _capacity = unitsIn(bytes);
  return true;
}

bool GrowingText::reserveMore(std::size_t more) {
  if (_failed) return false;
  if (_size + more > _capacity && !grow(_size + more)) _failed = true;
  return !_failed;
}

void GrowingText::append(std::wstring_view part) {
  if (part.empty() || !reserveMore(part.size())) return;
  std::wmemcpy(units() + _size, part.data(), part.size());
  _size += part.size();
}

void GrowingText::appendFramed(std::wstring_view part) {
  if (!reserveMore(part.size() + 2)) return;
  wchar_t* const out = units() + _size;
  out[0] = L'{';
  if (!part.empty()) std::wmemcpy(out + 1, part.data(), part.size());
  out[part.size() + 1] = L'}';
  _size += part.size() + 2;
}

String GrowingText::finish() {
  if (_failed || _size == 0 || bytesFor(_size) > static_cast<std::size_t>(INT_MAX)) {
    release();
    _failed = false;
    return String();
  }
  // Gives back what the doubling reserved beyond the text.
  const bool isMapped = mapped();
  if (isMapped) {
    void* exact = platform::resizeHugeBlock(_block, bytesFor(_capacity), bytesFor(_size));
    if (!exact) {
      // Too many mappings to split this one: the text is copied instead.
      String copy(units(), static_cast<int>(_size));
      release();
      return copy;
    }
    _block = exact;
  } else if (_capacity > _size + _size / 8) {
    if (void* exact = std::realloc(_block, bytesFor(_size))) _block = exact;
  }
  units()[_size] = 0;
  const int length = static_cast<int>(_size);
  void (*const destroy)(Data*) = isMapped ? &unmapStringBlock<wchar_t> : &freeBlock;
  Data* data = new (_block) Data{destroy, static_cast<int>((_size + 1) * sizeof(wchar_t)), {length}, {1}, {}};
  _block = nullptr;
  _size = _capacity = 0;
  return StringBlock<wchar_t>::adopt(data);
}

}  // namespace orvo::property
