// Identified objects, the slot of a singleton class, and callbacks.
#include <gtest/gtest.h>

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
  EXPECT_NE(a.getId(), b.getId());
  EXPECT_EQ(copy.getId(), a.getId());
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
  EXPECT_STREQ(a.Object::getClassName(), L"Object");
  EXPECT_STREQ(a.Resource::getClassName(), L"Resource");
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

void keep(unsigned int) {}

// A callback of another kind, whose identity the test chooses.
class Named : public CallbackBase<void, unsigned int> {
  void invoke(unsigned int) override {}
  String getIdentity() override { return L"named"; }
};

// Calls through handlers, and equality of handlers around plain functions,
// are seen at work in the Tick tests.
TEST(CallbackTest, HandlersAreEqualWhenTheirIdentitiesAre) {
  using Handler = CallbackHandler<void, unsigned int>;
  using Callback = THandle<CallbackBase<void, unsigned int>>;
  String address;
  address.format(L"%p", reinterpret_cast<void*>(keep));
  const Handler handler(keep), named(Callback(new Named));
  EXPECT_EQ(handler.getIdentity(), address) << "when made";
  EXPECT_EQ(handler.getIdentity(), address) << "when kept";
  const std::tuple<Handler, Handler, bool> cases[] = {
      {{}, {}, true}, {{}, keep, false}, {named, Handler(Callback(new Named)), true}, {named, keep, false}};
  for (const auto& [a, b, equal] : cases) EXPECT_EQ(a == b, equal) << a.getIdentity().getBuffer();
  EXPECT_EQ(Handler().getIdentity(), String()) << "an empty handler";
  EXPECT_STREQ((CallbackFunction<void, unsigned int>::createInstance(keep)->getClassName()),
               L"CallbackFunction");
  EXPECT_STREQ(Callback(new Named)->getClassName(), L"CallbackBase");
}

}  // namespace
}  // namespace orvo
