#include <orvo/core/Mtbl.h>

#include <type_traits>

namespace orvo {
namespace {

const MtblRecord* recordsOf(const Void* table) { return reinterpret_cast<const MtblRecord*>(table); }

template <class Object>
Object& fieldAt(Object& object, std::uint32_t offset) {
  using Byte = std::conditional_t<std::is_const_v<Object>, const unsigned char, unsigned char>;
  return reinterpret_cast<Object&>(reinterpret_cast<Byte*>(&object)[offset]);
}

}  // namespace

Void& writeMtbl(Void& stream, const Void& object, const Void* table) {
  for (const MtblRecord* record = recordsOf(table); record->offset != kMtblEnd; ++record) {
    record->writer(stream, fieldAt(object, record->offset));
  }
  return stream;
}

Void& readMtbl(Void& stream, Void& object, const Void* table) {
  for (const MtblRecord* record = recordsOf(table); record->offset != kMtblEnd; ++record) {
    record->reader(stream, fieldAt(object, record->offset));
  }
  return stream;
}

}  // namespace orvo
