#include <orvo/core/Callback.h>

namespace orvo {

template class CallbackBase<void, unsigned int>;
template class CallbackFunction<void, unsigned int, unsigned int>;
template class CallbackHandler<void, unsigned int>;

}  // namespace orvo
