// A class of a module loaded with dlopen is known by name and id while the
// module is loaded, and gone when it is unloaded: the factory keeps no
// creator that points into unmapped code. Host and module share the factory
// of the shared library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <orvo/core/ClassFactory.h>

namespace orvo {
namespace {

std::wstring madeByName() {
  const THandle<Unknown> object = Unknown::RtFactory::createClassInstance(String(L"ModuleGadget"));
  return object ? object->getClassName() : L"-";  // The module's own code.
}
std::wstring madeById() {
  const THandle<Unknown> object = Unknown::RtFactory::createClassInstance(Unknown::computeClassId(L"ModuleGadget"));
  return object ? object->rtCreateInstance()->getClassName() : L"-";
}

TEST(ClassFactoryModule, ClassesComeAndGoWithTheirModule) {
  EXPECT_EQ(madeByName() + madeById(), L"--");
  for (int load = 0; load < 2; ++load) {  // A second load registers the class again.
    void* module = dlopen(ORVO_FACTORY_MODULE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    EXPECT_EQ(madeByName() + madeById(), L"ModuleGadgetModuleGadget");
    ASSERT_EQ(dlclose(module), 0);
    EXPECT_EQ(dlopen(ORVO_FACTORY_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the module stayed loaded";
    EXPECT_EQ(madeByName() + madeById(), L"--");
  }
}

}  // namespace
}  // namespace orvo
