#include <orvo/core/Object.h>

namespace orvo {

// uuid_create cannot fail in a way that the id would show: its result is not
// looked at.
Object::Object() { uuid_create(id); }

Object::Object(const Uuid& id) : id(id) {}

Object::Object(const Object& other) : Unknown(other), id(other.id) {}

Object& Object::operator=(const Object& other) {
  Unknown::operator=(other);
  id = other.id;
  return *this;
}

Object::~Object() = default;

const wchar_t* Object::getClassName() const { return L"Object"; }

void Object::importFrom(InputStream& stream) { stream >> *this; }

void Object::exportTo(OutputStream& stream) const { stream << *this; }

}  // namespace orvo
