// A class of a module loaded with dlopen is known by name and id while the
// module is loaded, and gone when it is unloaded: the factory keeps no
// creator that points into unmapped code. Host and module share the factory
// of the shared library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <orvo/core/ClassFactory.h>

namespace orvo {
namespace {

// What the factory makes from the name, then from the id through the
// module's own rtCreateInstance: "ModuleGadget/ModuleGadget" or "-/-".
std::wstring found() {
  using Factory = Unknown::RtFactory;
  const THandle<Unknown> byName = Factory::createClassInstance(String(L"ModuleGadget"));
  const THandle<Unknown> byId = Factory::createClassInstance(Unknown::computeClassId(L"ModuleGadget"));
  return (byName ? byName->getClassName() : L"-") + std::wstring(L"/") +
         (byId ? byId->rtCreateInstance()->getClassName() : L"-");
}

TEST(ClassFactoryModule, ClassesComeAndGoWithTheirModule) {
  EXPECT_EQ(found(), L"-/-");
  for (int load = 0; load < 2; ++load) {  // A second load registers the class again.
    void* module = dlopen(ORVO_FACTORY_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    EXPECT_EQ(found(), L"ModuleGadget/ModuleGadget");
    ASSERT_EQ(dlclose(module), 0);
    EXPECT_EQ(dlopen(ORVO_FACTORY_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the module stayed loaded";
    EXPECT_EQ(found(), L"-/-");
  }
}

}  // namespace
}  // namespace orvo
