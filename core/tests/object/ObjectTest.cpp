// Identified objects, the resource marker and the slot of a singleton class.
#include <gtest/gtest.h>

#include <cstring>

#include <orvo/core/Object.h>
#include <orvo/core/Resource.h>
#include <orvo/core/Singleton.h>

#include "io/TestDevices.h"
#include "object/modules/SingletonService.h"

namespace orvo {
namespace {

class Item : public Object, public Resource {
 public:
  Item() = default;
  explicit Item(const Uuid& id) : Object(id) {}
  Item(const Item& other) = default;
  Item& operator=(const Item& other) = default;
  ~Item() override = default;
  const wchar_t* getClassName() const override { return L"Item"; }
};

Uuid idOf(std::uint8_t fill) {
  Uuid id;
  std::memset(static_cast<void*>(&id), fill, sizeof id);
  return id;
}

TEST(ObjectTest, NewObjectsGetNewIdsAndCopiesKeepTheirs) {
  Item a, b, given(idOf(7));
  EXPECT_NE(a.getId(), b.getId());
  EXPECT_NE(a.getId(), Uuid());
  EXPECT_EQ(given.getId(), idOf(7));
  Item copy(a);
  EXPECT_EQ(copy.getId(), a.getId());
  copy = b;
  EXPECT_EQ(copy.getId(), b.getId());
  copy.setId(idOf(9));
  EXPECT_EQ(copy.getId(), idOf(9));
  EXPECT_STREQ(a.Object::getClassName(), L"Object");
  EXPECT_STREQ(a.Resource::getClassName(), L"Resource");
}

TEST(ObjectTest, StreamFormIsTheSixteenBytesOfTheId) {
  THandle<Item> source(new Item(idOf(3))), target(new Item);
  THandle<QueueDevice> device(new QueueDevice);
  OutputStream out(device.get());
  source->exportTo(out);
  EXPECT_EQ(device->bytes, Bytes(16, 3));
  InputStream in(device.get());
  target->importFrom(in);
  EXPECT_EQ(target->getId(), idOf(3));

  // A short count raises the Uuid's messages; the target keeps its id.
  THandle<QueueDevice> shortDevice(new QueueDevice(Bytes(15, 1)));
  shortDevice->writeLimit = 15;
  Stream stream(shortDevice.get());
  expectRaise([&] { target->importFrom(stream); }, L"Uuid::operator >>", L"core/include/orvo/core/Uuid");
  expectRaise([&] { source->exportTo(stream); }, L"Uuid::operator <<", L"core/include/orvo/core/Uuid");
  EXPECT_EQ(target->getId(), idOf(3));
}

class Local : public Singleton<Local> {};

TEST(SingletonTest, TheSlotHoldsTheLastObjectMadeUntilOneIsDestroyed) {
  EXPECT_EQ(Local::getSingletonPtr(), nullptr);
  {
    Local first;
    EXPECT_EQ(&Local::getSingleton(), &first);
    Local second;
    first = second;
    EXPECT_EQ(Local::getSingletonPtr(), &second) << "the newest object, whatever is assigned";
  }
  EXPECT_EQ(Local::getSingletonPtr(), nullptr);
}

// The provider and the client are shared objects built with hidden
// visibility, as the library is; the client reads the slot through the header
// alone.
TEST(SingletonTest, EverySharedObjectSeesTheProvidersSlot) {
  EXPECT_EQ(clientSeesService(), nullptr);
  SingletonService* service = createService();
  EXPECT_EQ(clientSeesService(), service);
  EXPECT_EQ(SingletonService::getSingletonPtr(), service);
  destroyService();
  EXPECT_EQ(clientSeesService(), nullptr);
}

}  // namespace
}  // namespace orvo
