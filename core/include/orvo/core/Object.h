// Object.h: an Unknown with an identity of its own, a Uuid.
//
// Derive from Object (virtually, as from Unknown) when objects of a class must
// be told apart, or found again, by more than their address. A new object
// gets a new time-based id; a copy takes the id of its source, so that it
// stands for the same thing. The stream form is the 16 bytes of the id.
//
//   class Account : public Object { ... };
//   THandle<Account> a = Account::createInstance();
//   out << *a;                                 // 16 bytes
//   in >> *b;                                  // b now has a's id
//   bool same = a->getId() == b->getId();
//
// Threads: no lock. One thread at a time may change an object's id; reading
// it from several threads is safe while nobody changes it.
#pragma once

#include <concepts>

#include <orvo/core/Export.h>
#include <orvo/core/Stream.h>
#include <orvo/core/Unknown.h>
#include <orvo/core/Uuid.h>

namespace orvo {

class ORVO_API Object : public virtual Unknown {
 public:
  // A copy stands for the same thing: it keeps the id of its source.
  Object(const Object& other);
  Object& operator=(const Object& other);

  const wchar_t* getClassName() const override;
  // Reads and writes the stream form below; a short count raises Exception.
  void importFrom(InputStream& stream) override;
  void exportTo(OutputStream& stream) const override;

  void setId(const Uuid& id) { this->id = id; }
  const Uuid& getId() const { return id; }

 protected:
  // A new time-based id.
  Object();
  explicit Object(const Uuid& id);
  ~Object() override;

 private:
  Uuid id;
};

// The form of Unknown (nothing), then the 16 bytes of the id. On a short read
// the object keeps its id.
template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, Object& object) {
  Uuid id;
  is >> static_cast<Unknown&>(object) >> id;
  object.setId(id);
  return is;
}

template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const Object& object) {
  os << static_cast<const Unknown&>(object) << object.getId();
  return os;
}

}  // namespace orvo
