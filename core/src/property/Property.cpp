// The failures of the property subsystem are raised here, so that they carry
// the source name src/property/Property whichever part of it found them.
#include <orvo/core/Exception.h>

#include "property/PropertyTextReader.h"

namespace orvo::property {

void raiseValueFault(ValueFault fault) {
  if (fault == ValueFault::noFrame) ORVO_THROW("String readPropertyValue(String &)");
  ORVO_THROW("String readPropertyValue(String &)");
}

}  // namespace orvo::property
