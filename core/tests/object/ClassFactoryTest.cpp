// The class factory: lookups, ClassType, registration and its conflicts,
// removal, teardown, several threads. Modules loaded with dlopen:
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
// What the factory makes from the name, then from its id: "Gadget/Gadget", "-/-".
std::wstring found(const wchar_t* name) {
  return made(Factory::createClassInstance(String(name))) + L"/" +
         made(Factory::createClassInstance(Unknown::computeClassId(name)));
}
// A ClassType's name, what it makes, and its id: "Gadget/Gadget:<id>", "/-:0".
std::wstring typeText(const Unknown::ClassType& type) {
  return type.getClassName().getBuffer() + (L"/" + made(type.createInstance())) + L":" +
         std::to_wstring(type.getClassId());
}

TEST(ClassFactory, CreatesByNameOrIdAndSilentlyNothingForOtherKeys) {
  LogCollector log;
  CapturedStream out(STDOUT_FILENO);
  Factory::unsetupCreator(L"Gadget", nullptr);  // Matches no creator: removes nothing.
  for (auto [name, expected] : {std::pair{L"Unknown", L"Unknown/Unknown"}, {L"Gadget", L"Gadget/Gadget"},
                                {L"gadget", L"-/-"}, {L"Gadget ", L"-/-"}, {L"", L"-/-"}})
    EXPECT_EQ(found(name), expected);
  EXPECT_EQ(Factory::setupCreator(nullptr), String());
  EXPECT_EQ(Factory::setupCreator([] { return THandle<Unknown>(); }), String());  // Made nothing to name.
  EXPECT_EQ(out.text(), "");
  EXPECT_EQ(log.errors, Texts{});
  const THandle<Unknown> gadget = Factory::createClassInstance(String(L"Gadget"));
  EXPECT_EQ(made(gadget->rtCreateInstance()), L"Gadget");
  // A ClassType makes its instance from the name alone.
  Unknown::ClassType type = gadget->getClassType();
  const std::wstring gadgetType = L"Gadget/Gadget:" + std::to_wstring(Unknown::computeClassId(L"Gadget"));
  EXPECT_EQ(typeText(type), gadgetType);
  type.setClass(nullptr);
  EXPECT_EQ(typeText(type), L"/-:0") << "as the empty ClassType";
  type.setClass(gadget.get());
  EXPECT_EQ(typeText(type), gadgetType);
}

TEST(ClassFactory, RepeatsAndConflictsAreReportedAndChangeNoTable) {
  Factory::setupCreator(Factory::creatorOf<Layer1Input2>());
  const std::wstring collision = std::to_wstring(int(Unknown::computeClassId(L"Layer1Input2")));
  const struct { Factory::Creator creator; const wchar_t* name; std::string note; Texts errors; } cases[] = {
      {Factory::creatorOf<Gadget>(), L"Gadget", "\nRTTI: (Gadget) has been setup!", {}},
      {Factory::creatorOf<impostor::Gadget>(), L"Gadget", "\nRTTI: (Gadget) has been setup!", {}},
      {Factory::creatorOf<Layer2Input1>(), L"Layer2Input1", "",
       {L"RTTI: (Layer2Input1) setup error! ClassId(" + collision + L")"}},
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
  EXPECT_EQ(found(L"Gadget"), L"Gadget/Gadget");
  EXPECT_EQ(found(L"Layer2Input1"), L"-/Layer1Input2");
  EXPECT_EQ(made(Unknown::ClassType(String(L"Layer2Input1")).createInstance()), L"-") << "made from the id";
  Factory::unsetupCreator(L"Layer1Input2");
  EXPECT_EQ(found(L"Layer1Input2"), L"-/-");
}

// Another thread registers and removes Spinner over and over meanwhile; how
// a registration lives and goes with its module: module/ModuleHost.cpp.
TEST(ClassFactory, ServesLookupsWhileAnotherThreadRegisters) {
  std::thread registrar([] {
    for (int i = 0; i < 300; ++i) const Factory::Registration spinner(Factory::creatorOf<Spinner>());
  });
  for (int i = 0; i < 300; ++i) EXPECT_EQ(found(L"Gadget"), L"Gadget/Gadget");
  registrar.join();
  EXPECT_EQ(found(L"Spinner"), L"-/-");
}

// In a child: the exit steps that follow the teardown must find no tables.
// The exit code has one bit per thing that went wrong.
TEST(ClassFactoryDeathTest, AfterTeardownNothingIsFoundOrRegistered) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // A fresh child, with a profile of its own.
  auto tornDown = [] {
    classfactory::removeLibraryClass(const_cast<wchar_t*>(L"Unknown"));
    const int kept = found(L"Unknown") == L"-/-" ? 0 : 1;
    classfactory::tearDown();
    // Registers nothing, and its removal finds no table.
    const int registered = Factory::Registration(Factory::creatorOf<Gadget>()).isSetUp() ? 2 : 0;
    std::exit(kept | registered | (found(L"Gadget") == L"-/-" ? 0 : 4));
  };
  EXPECT_EXIT(tornDown(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvo
