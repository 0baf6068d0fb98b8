// PropertyFactory.h: the process-wide table of property converters, by type
// name ("int", "Shape") and by run-time type name.
//
// Converters register at static initialisation, each through
// registerPropertyConverter, which also enters an exit step that removes it
// again; the table itself is made by the first registration and freed by the
// library's exit steps after all removals. Lookups return a pointer without a
// reference, valid until process exit, or null.
//
//   IPropertyConverter* converter = PropertyFactory::getPropertyConverter(L"int");
//
// A second registration of a name whose two keys already hold one converter
// prints "Property: (name) has been setup!" on the console; one whose keys
// disagree logs "Property: (name) has been setup error! RTTI class
// name(rtti)". Neither changes the table.
//
// Threads: every operation may run on any thread; one SpinLock guards the
// table for the length of each operation. A log listener must not call in
// here, since a duplicate's message is written under that lock.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/IPropertyConverter.h>
#include <orvo/core/String.h>
#include <orvo/core/Unknown.h>

namespace orvo {

class ORVO_API PropertyFactory {
 public:
  PropertyFactory() = delete;

  // Enters `converter` under both its names; always true.
  static bool setUpPropertyConverter(IPropertyConverter* converter);
  // Removes the converter of that name from both maps; an unknown name does
  // nothing.
  static void tearDownPropertyConverter(const String& propertyType);
  static IPropertyConverter* getPropertyConverter(const String& propertyType);
  static IPropertyConverter* getPropertyConverterByRttiClassName(const String& rttiClassName);

  // One registration step: setUpPropertyConverter, and an exit step that
  // calls tearDownPropertyConverter with the converter's name. The caller's
  // handle is then the only other reference, and ends with the caller.
  static bool registerPropertyConverter(const THandle<IPropertyConverter>& converter);
};

}  // namespace orvo
