// Mtbl.h: structures described by a member table and moved through streams.
//
// A table lists a structure's fields in wire order, each with its offset and
// a function that reads and one that writes it; a record with offset
// kMtblEnd closes it. writeMtbl and readMtbl walk the table and call the
// field functions, so the wire form is simply the fields one after another,
// with no count and no names. Stream, object and table travel as Void so that
// one walker serves every type; mtblReader and mtblWriter make the field
// functions:
//
//   struct Point3 { std::int32_t x, y; String label; };
//   const MtblRecord point3Table[] = {
//     {offsetof(Point3, x), mtblReader<InputStream, std::int32_t>, mtblWriter<OutputStream, std::int32_t>},
//     ...
//     {kMtblEnd, nullptr, nullptr},
//   };
//   writeMtbl(asVoid(out), asVoid(point), asVoid(point3Table));
//
// Threads: the walkers keep no state and a table is constant, so one table
// serves any number of threads; each walk is as safe as its stream.
#pragma once

#include <cstdint>

#include <orvo/core/Export.h>

namespace orvo {

// An empty marker type that erases the types of stream, object and table.
struct Void {};

struct MtblRecord {
  std::uint32_t offset;  // kMtblEnd closes the table.
  Void& (*reader)(Void& stream, Void& field);
  Void& (*writer)(Void& stream, const Void& field);
};

constexpr std::uint32_t kMtblEnd = 0xFFFFFFFFu;

// Calls each record's writer with the field's address, in table order.
ORVO_API Void& writeMtbl(Void& stream, const Void& object, const Void* table);
// Calls each record's reader with the field's address, in table order.
ORVO_API Void& readMtbl(Void& stream, Void& object, const Void* table);

template <class T>
Void& asVoid(T& value) {
  return reinterpret_cast<Void&>(value);
}
template <class T>
const Void& asVoid(const T& value) {
  return reinterpret_cast<const Void&>(value);
}
template <class T>
const Void* asVoid(const T* table) {
  return reinterpret_cast<const Void*>(table);
}

// The field functions for a field of type T read with `Stream >> T` and
// written with `Stream << T`.
template <class Stream, class T>
Void& mtblReader(Void& stream, Void& field) {
  reinterpret_cast<Stream&>(stream) >> reinterpret_cast<T&>(field);
  return stream;
}
template <class Stream, class T>
Void& mtblWriter(Void& stream, const Void& field) {
  reinterpret_cast<Stream&>(stream) << reinterpret_cast<const T&>(field);
  return stream;
}

}  // namespace orvo
