// A module with one class of its own, registered while the module is loaded.
#include <orvo/core/ClassFactory.h>

namespace module {
class ModuleGadget : public virtual orvo::Unknown {
  ORVO_RUNTIME_CLASS(ModuleGadget)
};
}  // namespace module

ORVO_REGISTER_CLASS(module::ModuleGadget);
