// The class factory: lookups, registration and its conflicts, removal,
// ClassType, teardown, several threads. Modules loaded with dlopen:
// module/ModuleHost.cpp.
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include <orvo/core/ClassFactory.h>

#include "diagnostics/DiagnosticsSupport.h"
#include "object/ClassFactorySteps.h"

namespace orvo {
using Factory = Unknown::RtFactory;
#define TEST_CLASS(X) \
  class X : public virtual Unknown { ORVO_RUNTIME_CLASS(X) }

TEST_CLASS(Gadget);
ORVO_REGISTER_CLASS(Gadget);
namespace impostor {  // Another class that calls itself Gadget.
TEST_CLASS(Gadget);
}
// Two names with one id: the bytes at 5 and 11 are added with the same shift.
TEST_CLASS(Layer1Input2);
TEST_CLASS(Layer2Input1);
TEST_CLASS(Spinner);

namespace {

std::wstring made(const THandle<Unknown>& object) { return object ? object->getClassName() : L"-"; }
std::wstring byName(const wchar_t* name) { return made(Factory::createClassInstance(String(name))); }
std::wstring byId(const wchar_t* name) { return made(Factory::createClassInstance(Unknown::computeClassId(name))); }

TEST(ClassFactory, CreatesByNameOrIdAndSilentlyNothingForOtherKeys) {
  LogCollector log;
  CapturedStream out(STDOUT_FILENO);
  Factory::unsetupCreator(L"Gadget", nullptr);  // Matches no creator: removes nothing.
  for (auto [name, expected] : {std::pair{L"Unknown", L"Unknown"}, {L"Gadget", L"Gadget"}, {L"gadget", L"-"},
                                {L"Gadget ", L"-"}, {L"", L"-"}}) {
    EXPECT_EQ(byName(name) + byId(name), std::wstring(expected) + expected) << name;
    EXPECT_EQ(made(Unknown::ClassType(String(name)).createInstance()), expected);
  }
  EXPECT_NE(Factory::createClassInstance(String(L"Gadget")).dynamicCast<Gadget>(), nullptr);
  EXPECT_EQ(made(Factory::createClassInstance(String(L"Gadget"))->rtCreateInstance()), L"Gadget");
  EXPECT_TRUE(Unknown::_setUpCreator_ && Gadget::_setUpCreator_);
  EXPECT_EQ(Factory::setupCreator(nullptr), String());
  EXPECT_EQ(Factory::setupCreator([] { return THandle<Unknown>(); }), String());  // Made nothing to name.
  EXPECT_EQ(out.text() + std::to_string(log.errors.size()), "0");
}

TEST(ClassFactory, RepeatsAndConflictsAreReportedAndChangeNoTable) {
  Factory::setupCreator(Factory::creatorOf<Layer1Input2>());
  const struct {
    Factory::Creator creator;
    const wchar_t* name;
    std::string note;
    Texts errors;
  } cases[] = {
      {Factory::creatorOf<Gadget>(), L"Gadget", "\nRTTI: (Gadget) has been setup!", {}},
      {Factory::creatorOf<impostor::Gadget>(), L"Gadget", "\nRTTI: (Gadget) has been setup!", {}},
      {Factory::creatorOf<Layer2Input1>(), L"Layer2Input1", "",
       {L"RTTI: (Layer2Input1) setup error! ClassId(" + std::to_wstring(int(Unknown::computeClassId(L"Layer1Input2"))) + L")"}},
  };
  for (const auto& c : cases) {
    LogCollector log;
    CapturedStream out(STDOUT_FILENO);
    EXPECT_EQ(Factory::setupCreator(c.creator), String(c.name));
    EXPECT_EQ(out.text(), c.note);
    EXPECT_EQ(log.errors, c.errors);
    Factory::unsetupCreator(c.name, Factory::creatorOf<impostor::Gadget>());  // Not its creator: stays.
    Factory::unsetupCreator(L"Layer2Input1");  // Not registered: takes no id entry.
  }
  EXPECT_EQ(byName(L"Gadget") + byId(L"Gadget"), L"GadgetGadget");
  EXPECT_EQ(byName(L"Layer2Input1") + byId(L"Layer2Input1"), L"-Layer1Input2");
  Factory::unsetupCreator(L"Layer1Input2");
  EXPECT_EQ(byName(L"Layer1Input2") + byId(L"Layer1Input2"), L"--");
}

TEST(ClassFactory, RegistrationHoldsTheClassForItsLifetime) {
  {
    const Factory::Registration registration(Factory::creatorOf<Spinner>());
    EXPECT_TRUE(registration.isSetUp());
    EXPECT_EQ(byName(L"Spinner") + byId(L"Spinner"), L"SpinnerSpinner");
  }
  EXPECT_EQ(byName(L"Spinner") + byId(L"Spinner"), L"--");
}

TEST(ClassType, TakesNameAndIdFromAnObjectOrAName) {
  const THandle<Unknown> gadget = Factory::createClassInstance(String(L"Gadget"));
  Unknown::ClassType taken, cleared = gadget->getClassType();
  taken.setClass(gadget.get());
  cleared.setClass(nullptr);
  for (const auto& [type, id] : {std::pair{taken, Unknown::computeClassId(L"Gadget")}, {gadget->getClassType(), gadget->getClassId()},
                                 {cleared, 0u}, {Unknown::ClassType(), 0u}, {Unknown::ClassType(String()), 0xFFFFFFFFu}}) {
    EXPECT_EQ(type.getClassName(), String(id > 0 && id < 0xFFFFFFFFu ? L"Gadget" : L""));
    EXPECT_EQ(type.getClassId(), id);
  }
}

// In a child: the exit steps that follow the teardown must find no tables.
TEST(ClassFactoryDeathTest, AfterTeardownNothingIsFoundOrRegistered) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // A fresh child, with a profile of its own.
  auto tornDown = [] {
    classfactory::removeLibraryClass(const_cast<wchar_t*>(L"Unknown"));
    const bool removed = byName(L"Unknown") + byId(L"Unknown") == L"--";
    classfactory::tearDown();
    const bool inert = Factory::setupCreator(Factory::creatorOf<Gadget>()) == String();
    Factory::unsetupCreator(L"Gadget");
    std::exit(byName(L"Gadget") + byId(L"Gadget") == L"--" && inert && removed ? 0 : 1);
  };
  EXPECT_EXIT(tornDown(), testing::ExitedWithCode(0), "");
}

TEST(ClassFactory, ServesSeveralThreadsAtOnce) {
  std::thread registrar([] {
    for (int i = 0; i < 300; ++i) const Factory::Registration spinner(Factory::creatorOf<Spinner>());
  });
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(byName(L"Gadget"), L"Gadget");
    EXPECT_NE(byId(L"Spinner"), L"Gadget");
  }
  registrar.join();
}

}  // namespace
}  // namespace orvo
