// Callbacks: calling through a handler, and equality by identity text.
#include <gtest/gtest.h>

#include <orvo/core/Callback.h>

namespace orvo {
namespace {

int twice(int value) { return 2 * value; }
int negated(int value) { return -value; }
void ignore(unsigned int) {}

using IntHandler = CallbackHandler<int, int>;

// A callback of another kind, whose identity the test chooses.
class Named : public CallbackBase<int, int> {
 public:
  explicit Named(const wchar_t* name) : name(name) {}
  int invoke(int argument) override { return argument + 1; }
  String getIdentity() override { return name; }
  String name;
};

IntHandler named(const wchar_t* name) { return IntHandler(THandle<CallbackBase<int, int>>(new Named(name))); }

TEST(CallbackTest, AHandlerCallsItsTargetWithTheArgumentUnchanged) {
  const std::tuple<IntHandler, int, int> cases[] = {
      {twice, 21, 42}, {negated, -2147483647, 2147483647}, {named(L"n"), 41, 42}};
  for (const auto& [handler, argument, result] : cases) EXPECT_EQ(handler(argument), result);
  THandle<CallbackFunction<int, int>> callback = CallbackFunction<int, int>::createInstance(twice);
  EXPECT_EQ(callback->invoke(4), 8);
  EXPECT_STREQ(callback->getClassName(), L"CallbackFunction");
  EXPECT_STREQ(callback->CallbackBase::getClassName(), L"CallbackBase");
}

TEST(CallbackTest, HandlersAreEqualWhenTheirIdentitiesAre) {
  String address;
  address.format(L"%p", reinterpret_cast<void*>(twice));
  EXPECT_EQ(IntHandler(twice).getIdentity(), address);
  EXPECT_EQ(IntHandler().getIdentity(), String());
  const std::tuple<IntHandler, IntHandler, bool> cases[] = {
      {twice, twice, true},  // Two wrappers around one function.
      {twice, negated, false},
      {IntHandler(), IntHandler(), true},
      {IntHandler(), twice, false},
      {named(L"x"), named(L"x"), true},
      {named(L"x"), named(L"y"), false},
      {named(address), twice, true},  // The text decides, not the kind of callback.
  };
  for (const auto& [a, b, equal] : cases) {
    EXPECT_EQ(a == b, equal) << a.getIdentity().getBuffer() << " " << b.getIdentity().getBuffer();
    EXPECT_EQ(b == a, equal);
  }
  CallbackHandler<void, unsigned int> exported(ignore), copy = exported;
  EXPECT_TRUE(copy == exported);
}

}  // namespace
}  // namespace orvo
