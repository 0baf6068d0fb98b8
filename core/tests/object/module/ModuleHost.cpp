// A class of a module loaded with dlopen is known by name and id while the
// module is loaded, and gone when it is unloaded: the factory keeps no
// creator that points into unmapped code. Host and module share the factory
// of the shared library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <orvo/core/ClassFactory.h>

namespace orvo {
namespace {

using Factory = Unknown::RtFactory;
const String kName(L"ModuleGadget");
const unsigned int kId = Unknown::computeClassId(kName);

// Loads the module, checks its class through both tables and unloads it.
void loadUseAndUnload() {
  void* module = dlopen(ORVO_FACTORY_MODULE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  {
    const THandle<Unknown> byName = Factory::createClassInstance(kName), byId = Factory::createClassInstance(kId);
    ASSERT_NE(byName, nullptr);
    ASSERT_NE(byId, nullptr);
    EXPECT_STREQ(byName->getClassName(), L"ModuleGadget");  // Runs the module's code.
    EXPECT_STREQ(byId->rtCreateInstance()->getClassName(), L"ModuleGadget");
    EXPECT_EQ(byId->getClassType().getClassId(), kId);
  }
  ASSERT_EQ(dlclose(module), 0);
  EXPECT_EQ(dlopen(ORVO_FACTORY_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the module stayed loaded";
  EXPECT_EQ(Factory::createClassInstance(kName), nullptr);
  EXPECT_EQ(Factory::createClassInstance(kId), nullptr);
}

TEST(ClassFactoryModule, ClassesComeAndGoWithTheirModule) {
  EXPECT_EQ(Factory::createClassInstance(kName), nullptr);
  loadUseAndUnload();
  loadUseAndUnload();  // A second load registers the class again.
}

}  // namespace
}  // namespace orvo
