// PropertyTypeTable.h: the rows of the library's converter table, in the
// order in which they register at static initialisation. Each row registers
// a base name and its "Array", "List" and "Map" forms.
#pragma once

#include <span>

#include <orvo/core/String.h>

namespace orvo::property {

struct PropertyTypeRow {
  const wchar_t* name;
  bool (*registerRow)(const String& name);
};

std::span<const PropertyTypeRow> propertyTypeRows();

}  // namespace orvo::property
