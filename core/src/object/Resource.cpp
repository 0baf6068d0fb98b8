#include <orvo/core/Resource.h>

namespace orvo {

// Out of line, so that the class has one vtable and one type_info, in the
// library.
const wchar_t* Resource::getClassName() const { return L"Resource"; }

Resource::~Resource() = default;

}  // namespace orvo
