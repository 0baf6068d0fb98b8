// The failures of the property subsystem are raised here, so that they carry
// the source name src/property/Property whichever part of it found them.
#include <orvo/core/Exception.h>

#include "property/PropertyTextReader.h"

namespace orvo::property {

void raiseValueFault(ValueFault fault) {
  // One raise site per failure, so that the line tells which one it was.
  if (fault == ValueFault::noFrame) ORVO_THROW("String readPropertyValue(String &)");
  ORVO_THROW("String readPropertyValue(String &)");
}

}  // namespace orvo::property
