#include <orvo/core/Unknown.h>

#include <cstring>
#include <string>
#include <typeinfo>

#include <orvo/core/ClassFactory.h>
#include <orvo/core/Log.h>
#include <orvo/core/MemoryStream.h>
#include <orvo/core/StringConvert.h>

#include "object/ClassFactorySteps.h"
#include "platform/Symbols.h"
#include "text/Utf8Codec.h"

namespace orvo {
namespace {

// Adds the UTF-8 bytes of one code point to the class id sum, byte by byte,
// each shifted by 0, 5, 10, 15, 20, 25 bits in turn.
class ClassIdSum {
 public:
  void addCodePoint(std::uint32_t c) {
    unsigned char bytes[4];
    const unsigned char* end = utf8::encodeCodePoint(c, bytes);
    for (const unsigned char* p = bytes; p != end; ++p) addByte(*p);
  }
  // 0 would read as "not computed yet", so no name hashes to it.
  std::uint32_t result() const { return _sum == 0 ? 0xFFFFFFFFu : _sum; }

 private:
  void addByte(std::uint32_t byte) {
    _sum += (byte & 0xFFu) << ((_index % 6) * 5);
    ++_index;
  }

  std::uint32_t _sum = 0;
  std::uint32_t _index = 0;
};

// The name of the object's run-time type as a person reads it.
String readableTypeName(const Unknown& object) {
  const std::string name = platform::demangle(typeid(object).name());
  return StringConvert(reinterpret_cast<const unsigned char*>(name.c_str()));
}

// Types are compared by name rather than by type_info: a class of another
// module may have its own type_info object for the same type.
bool sameType(const Unknown& a, const Unknown& b) { return std::strcmp(typeid(a).name(), typeid(b).name()) == 0; }

}  // namespace

Unknown::Unknown(const Unknown& other) noexcept
    : classId(other.classId.load(std::memory_order_relaxed)) {}

Unknown::~Unknown() = default;

const wchar_t* Unknown::getClassName() const { return L"Unknown"; }

Unknown::THandle<Unknown> Unknown::rtCreateInstance_() { return THandle<Unknown>(new Unknown); }

Unknown::THandle<Unknown> Unknown::rtCreateInstance() const { return rtCreateInstance_(); }

const bool Unknown::_setUpCreator_ = classfactory::registerLibraryClass(&Unknown::rtCreateInstance_, L"Unknown");

Unknown::THandle<Unknown> Unknown::clone() const {
  THandle<Unknown> copy = rtCreateInstance();
  // A class that did not override rtCreateInstance hands back an object of
  // one of its bases, which could not take the state.
  if (copy == nullptr || !sameType(*this, *copy)) {
    Log::error(L"Call rtCreateInstance(%s) error! typeid(%s)", getClassName(), readableTypeName(*this).getBuffer());
    return nullptr;
  }
  try {
    const THandle<MemoryStream> medium = MemoryStream::createInstance();
    OutputStream out(medium.get());
    exportTo(out);
    InputStream in(medium.get());
    copy->importFrom(in);
  } catch (const Exception& e) {
    Log::error(L"%s", e.message.c_str());
    return nullptr;
  }
  return copy;
}

void Unknown::importFrom(InputStream&) {}

void Unknown::exportTo(OutputStream&) const {}

unsigned int Unknown::computeClassId(const wchar_t* className) {
  ClassIdSum sum;
  for (const wchar_t* p = className ? className : L""; *p; ++p) {
    sum.addCodePoint(static_cast<std::uint32_t>(*p));
  }
  return sum.result();
}

Unknown::ClassType Unknown::getClassType() const { return ClassType(String(getClassName())); }

unsigned int Unknown::getClassId() const {
  std::uint32_t id = classId.load(std::memory_order_relaxed);
  if (id == 0) {
    id = computeClassId(getClassName());
    classId.store(id, std::memory_order_relaxed);
  }
  return id;
}

}  // namespace orvo
