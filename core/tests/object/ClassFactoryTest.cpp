// The class factory: registration and its conflicts, lookups, removal,
// ClassType, teardown, and use from several threads. Registration from a
// module loaded with dlopen: module/ModuleHost.cpp.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <orvo/core/ClassFactory.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "object/ClassFactorySteps.h"

namespace orvo {
using Factory = Unknown::RtFactory;

class Gadget : public virtual Unknown {
  ORVO_RUNTIME_CLASS(Gadget)
};
ORVO_REGISTER_CLASS(Gadget);

namespace impostor {  // Another class that calls itself Gadget.
class Gadget : public virtual Unknown {
  ORVO_RUNTIME_CLASS(Gadget)
};
}  // namespace impostor

// Two names with one id: the bytes at 5 and 11 are added with the same shift.
class Layer1Input2 : public virtual Unknown {
  ORVO_RUNTIME_CLASS(Layer1Input2)
};
class Layer2Input1 : public virtual Unknown {
  ORVO_RUNTIME_CLASS(Layer2Input1)
};

namespace {

const unsigned int kGadgetId = Unknown::computeClassId(L"Gadget");
const unsigned int kLayerId = Unknown::computeClassId(L"Layer1Input2");

std::wstring classOf(const THandle<Unknown>& object) { return object ? object->getClassName() : L"(none)"; }

TEST(ClassFactory, CreatesRegisteredClassesByNameAndById) {
  EXPECT_TRUE(Unknown::_setUpCreator_);
  EXPECT_TRUE(Gadget::_setUpCreator_);
  for (const wchar_t* name : {L"Unknown", L"Gadget"}) {
    EXPECT_EQ(classOf(Factory::createClassInstance(String(name))), name);
    EXPECT_EQ(classOf(Factory::createClassInstance(Unknown::computeClassId(name))), name);
  }
  THandle<Unknown> gadget = Factory::createClassInstance(kGadgetId);
  EXPECT_NE(gadget.dynamicCast<Gadget>(), nullptr);
  EXPECT_EQ(gadget->getReferenceCount(), 1u);
  EXPECT_EQ(classOf(gadget->rtCreateInstance()), L"Gadget");
}

TEST(ClassFactory, UnknownNamesAndIdsGiveEmptyHandlesSilently) {
  LogCollector log;
  CapturedStream out(STDOUT_FILENO);
  for (const wchar_t* name : {L"Nobody", L"", L"gadget", L"Gadget "}) {
    EXPECT_EQ(Factory::createClassInstance(String(name)), nullptr) << name;
    EXPECT_EQ(Factory::createClassInstance(Unknown::computeClassId(name)), nullptr) << name;
  }
  EXPECT_EQ(Factory::createClassInstance(0u), nullptr);
  Factory::unsetupCreator(L"Nobody");
  Factory::unsetupCreator(nullptr);
  EXPECT_EQ(Factory::setupCreator(nullptr), String());
  EXPECT_EQ(out.text(), "");
  EXPECT_TRUE(log.errors.empty());
}

TEST(ClassFactory, RepeatedRegistrationIsNotedOnceAndKeepsOneEntry) {
  LogCollector log;
  CapturedStream out(STDOUT_FILENO);
  EXPECT_EQ(Factory::setupCreator(Factory::creatorOf<Gadget>()), String(L"Gadget"));
  EXPECT_EQ(out.text(), "\nRTTI: (Gadget) has been setup!");
  EXPECT_TRUE(log.errors.empty());
  Factory::unsetupCreator(L"Gadget");  // One removal empties both tables.
  EXPECT_EQ(Factory::createClassInstance(String(L"Gadget")), nullptr);
  EXPECT_EQ(Factory::createClassInstance(kGadgetId), nullptr);
  EXPECT_EQ(Factory::setupCreator(Factory::creatorOf<Gadget>()), String(L"Gadget"));
  EXPECT_EQ(classOf(Factory::createClassInstance(kGadgetId)), L"Gadget");
}

TEST(ClassFactory, ConflictsAreLoggedAndLeaveBothTablesAsTheyWere) {
  ASSERT_EQ(kLayerId, Unknown::computeClassId(L"Layer2Input1"));
  Factory::setupCreator(Factory::creatorOf<Layer1Input2>());
  const struct {
    Factory::Creator creator;
    const wchar_t* name;
    std::wstring message;
  } cases[] = {
      {Factory::creatorOf<impostor::Gadget>(), L"Gadget", L"RTTI: (Gadget) setup error!"},
      {Factory::creatorOf<Layer2Input1>(), L"Layer2Input1",
       L"RTTI: (Layer2Input1) setup error! ClassId(" + std::to_wstring(static_cast<int>(kLayerId)) + L")"},
  };
  for (const auto& conflict : cases) {
    LogCollector log;
    EXPECT_EQ(Factory::setupCreator(conflict.creator), String(conflict.name));
    EXPECT_EQ(log.errors, Texts{conflict.message});
    // The refused module's removal must not take the first class with it.
    Factory::unsetupCreator(conflict.name, conflict.creator);
    Factory::unsetupCreator(L"Layer2Input1");
  }
  EXPECT_EQ(Factory::createClassInstance(String(L"Layer2Input1")), nullptr);
  EXPECT_NE(Factory::createClassInstance(kLayerId).dynamicCast<Layer1Input2>(), nullptr);
  EXPECT_NE(Factory::createClassInstance(kGadgetId).dynamicCast<Gadget>(), nullptr);
  Factory::unsetupCreator(L"Layer1Input2", Factory::creatorOf<Layer1Input2>());
  EXPECT_EQ(Factory::createClassInstance(kLayerId), nullptr);
}

TEST(ClassType, CarriesANameAndItsIdAndCreatesByName) {
  const THandle<Unknown> gadget = Factory::createClassInstance(String(L"Gadget"));
  Unknown::ClassType fromObject, cleared = gadget->getClassType();
  fromObject.setClass(gadget.get());
  cleared.setClass(nullptr);
  const struct {
    Unknown::ClassType type;
    const wchar_t* name;
    unsigned int id;
  } cases[] = {
      {Unknown::ClassType(), L"", 0},          {cleared, L"", 0},
      {Unknown::ClassType(String()), L"", 0xFFFFFFFFu}, {fromObject, L"Gadget", kGadgetId},
      {gadget->getClassType(), L"Gadget", kGadgetId},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.type.getClassName(), String(c.name));
    EXPECT_EQ(c.type.getClassId(), c.id);
  }
  const Unknown::ClassType byName(String(L"Gadget"));
  EXPECT_EQ(classOf(byName.createInstance()), L"Gadget");
  EXPECT_EQ(Unknown::ClassType().createInstance(), nullptr);
}

// In a child process: the exit steps that follow the teardown (removals,
// lookups) must find no tables and touch no freed memory.
TEST(ClassFactoryDeathTest, AfterTeardownLookupsAreEmptyAndRegistrationDoesNothing) {
  auto tornDown = [] {
    classfactory::tearDown();
    const bool empty = !Factory::createClassInstance(String(L"Gadget")) && !Factory::createClassInstance(kGadgetId) &&
                       !Unknown::ClassType(String(L"Unknown")).createInstance();
    const bool inert = Factory::setupCreator(Factory::creatorOf<Gadget>()) == String();
    Factory::unsetupCreator(L"Gadget");
    std::exit(empty && inert ? 0 : 1);
  };
  EXPECT_EXIT(tornDown(), testing::ExitedWithCode(0), "");
}

class Spinner : public virtual Unknown {
  ORVO_RUNTIME_CLASS(Spinner)
};

TEST(ClassFactory, ServesSeveralThreadsAtOnce) {
  std::atomic<bool> wrong{false};
  std::vector<std::thread> threads;
  threads.emplace_back([] {
    for (int i = 0; i < 500; ++i) {
      Factory::setupCreator(Factory::creatorOf<Spinner>());
      Factory::unsetupCreator(L"Spinner");
    }
  });
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&wrong] {
      for (int i = 0; i < 500; ++i) {
        const std::wstring spinner = classOf(Factory::createClassInstance(Unknown::computeClassId(L"Spinner")));
        if (classOf(Factory::createClassInstance(String(L"Gadget"))) != L"Gadget" ||
            (spinner != L"Spinner" && spinner != L"(none)")) {
          wrong = true;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(wrong);
}

}  // namespace
}  // namespace orvo
