// Identified objects, the slot of a singleton class, and callbacks.
#include <gtest/gtest.h>

#include <cwchar>
#include <tuple>

#include <orvo/core/Callback.h>
#include <orvo/core/Object.h>
#include <orvo/core/Resource.h>

#include "io/TestDevices.h"
#include "object/modules/SingletonService.h"

namespace orvo {
namespace {

class Item : public Object, public Resource {
 public:
  Item() = default;
  explicit Item(const Uuid& id) : Object(id) {}
  const wchar_t* getClassName() const override { return L"Item"; }
};

TEST(ObjectTest, IdsAreNewCopiedByCopiesAndStreamedAsTheirSixteenBytes) {
  const Uuid id = {7, 6, 5, 4, 3, {{2, 1}}};
  Item a, b, copy(a);
  EXPECT_TRUE(a.getId() != b.getId() && copy.getId() == a.getId());
  copy = Item(id);
  THandle<QueueDevice> device(new QueueDevice);
  Stream stream(device.get());
  copy.exportTo(stream);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&id);
  EXPECT_EQ(device->bytes, Bytes(bytes, bytes + 16));
  a.importFrom(stream);
  device->bytes.push_back(1);
  expectRaise([&] { a.importFrom(stream); }, L"Uuid::operator >>", L"core/include/orvo/core/Uuid");
  EXPECT_EQ(a.getId(), id) << "lost in the import, or changed by the short read";
  EXPECT_TRUE(!std::wcscmp(a.Object::getClassName(), L"Object") && !std::wcscmp(a.Resource::getClassName(), L"Resource"));
}

// SingletonService comes from a shared object built with hidden visibility,
// as the library is: this program reaches its slot through the header alone.
TEST(SingletonTest, OneSlotPerClassInTheProcessHoldsTheNewestObjectUntilOneGoes) {
  EXPECT_EQ(SingletonService::getSingletonPtr(), nullptr);
  SingletonService* provided = createService();
  EXPECT_EQ(SingletonService::getSingletonPtr(), provided);
  {
    SingletonService local;
    *provided = local;
    EXPECT_EQ(&SingletonService::getSingleton(), &local);
  }
  EXPECT_EQ(SingletonService::getSingletonPtr(), nullptr);
  delete provided;
}

int twice(int value) { return 2 * value; }
int negated(int value) { return -value; }

TEST(CallbackTest, HandlersCallTheirFunctionAndAreEqualWhenTheirIdentitiesAre) {
  using Handler = CallbackHandler<int, int>;
  EXPECT_EQ(Handler(negated)(-2147483647), 2147483647);
  String address;
  address.format(L"%p", reinterpret_cast<void*>(twice));
  EXPECT_EQ(Handler(twice).getIdentity(), address);
  const std::tuple<Handler, Handler, bool> cases[] = {
      {twice, twice, true}, {twice, negated, false}, {{}, {}, true}, {{}, twice, false}};
  for (const auto& [a, b, equal] : cases) EXPECT_EQ(a == b, equal) << a.getIdentity().getBuffer();
  EXPECT_STREQ((CallbackFunction<int, int>::createInstance(twice)->getClassName()), L"CallbackFunction");
}

}  // namespace
}  // namespace orvo
