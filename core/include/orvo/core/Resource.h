// Resource.h: the marker base of classes whose objects stand for a resource.
//
// Resource has no state and no operations of its own: deriving from it
// (virtually, as from Unknown) only tags a class, so that code holding an
// Unknown can ask with dynamicCast<Resource>() whether it has one.
//
// Threads: nothing to share; a Resource has no state.
#pragma once

#include <orvo/core/Export.h>
#include <orvo/core/Unknown.h>

namespace orvo {

class ORVO_API Resource : public virtual Unknown {
 public:
  Resource() = default;
  Resource(const Resource& other) = default;
  Resource& operator=(const Resource& other) = default;

  const wchar_t* getClassName() const override;

 protected:
  ~Resource() override;
};

}  // namespace orvo
