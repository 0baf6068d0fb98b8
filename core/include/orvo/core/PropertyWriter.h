// PropertyWriter.h: writes an object framed with the name of its class,
// ":Shape{origin{1,2}}", for PropertyReader to read back.
//
// A null object, or one whose attribute text is empty, gives an empty text;
// an object whose class has no converter gives its attribute text without a
// frame.
//
// Threads: any thread, as long as no other thread writes the object.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Property.h>

namespace orvo {

class ORVO_API PropertyWriter {
 public:
  PropertyWriter() = delete;
  static String getPropertyString(const Property* object);
};

}  // namespace orvo
