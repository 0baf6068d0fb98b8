// PropertyReader.h: makes an object from a text framed with its class name,
// ":Shape{origin{1,2}}", as PropertyWriter writes it.
//
// The class named in the frame chooses the converter that makes the object;
// ":{...}" makes a bare Property, and a text that does not begin with a
// frame, such as "Shape{...}" without the colon, gives a null handle. Only
// the first item counts. A malformed text is logged and gives a null handle;
// nothing raises.
//
// Threads: any thread; the result is the caller's.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Property.h>

namespace orvo {

class ORVO_API PropertyReader {
 public:
  PropertyReader() = delete;
  static THandle<Property> getPropertyClass(const String& text);
};

}  // namespace orvo
