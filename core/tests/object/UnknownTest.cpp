// Reference counting, handles, clones, class ids, SharedPtr and the empty
// stream form.
#include <gtest/gtest.h>

#include <orvo/core/MemoryStream.h>
#include <orvo/core/SharedPtr.h>
#include <orvo/core/Stream.h>
#include <orvo/core/Unknown.h>

#include "diagnostics/LogCollector.h"

namespace orvo {
namespace {

int live = 0;  // Objects of the classes below not yet destroyed.

class Tracked : public virtual Unknown {
 public:
  Tracked() { ++live; }
  Tracked(const Tracked& other) : Unknown(other) { ++live; }
  Tracked& operator=(const Tracked&) = default;
  ~Tracked() override { --live; }
  const wchar_t* getClassName() const override { return L"Tracked"; }
  THandle<Tracked> inner;  // For assignment from inside the old object.
};
class Derived : public Tracked {};
// Reaches Unknown along two paths, as IO does through Input and Output.
class Left : public virtual Unknown {};
class Right : public virtual Unknown {};
class Both : public Left, public Right, public Tracked {};

class HandleTest : public ::testing::Test {
 protected:
  void SetUp() override { live = 0; }
  void TearDown() override { EXPECT_EQ(live, 0) << "an object leaked"; }
};

TEST_F(HandleTest, CountsHandlesAndTheLastOneFrees) {
  Tracked* raw = new Tracked;
  EXPECT_EQ(raw->getReferenceCount(), 0u);
  THandle<Tracked> h(raw), copy = h;
  THandle<Tracked>& self = h;
  EXPECT_EQ(raw->getReferenceCount(), 2u);
  h = self;  // Self-assignment, through the handle and through the pointer.
  h = raw;
  copy = nullptr;
  EXPECT_TRUE(copy == nullptr);
  EXPECT_EQ(raw->getReferenceCount(), 1u);
  h->inner = new Tracked;
  h = h->inner;  // The new reference is taken before the old object dies.
  ASSERT_TRUE(h != nullptr);
  EXPECT_EQ(h->getReferenceCount(), 1u);
  EXPECT_EQ(live, 1);
  THandle<Tracked> moved(std::move(h)), other(new Tracked);
  EXPECT_TRUE(h == nullptr);
  other = std::move(moved);  // Frees other's old object.
  THandle<Tracked>& alias = other;
  other = std::move(alias);
  EXPECT_EQ(other->getReferenceCount(), 1u);
  EXPECT_EQ(live, 1);
}

TEST_F(HandleTest, HandlesOfAnyClassShareOneCountAndCastSafely) {
  Both* both = new Both;
  THandle<Left> asLeft(both);
  THandle<Right> asRight(both);
  THandle<Unknown> root = THandle<Tracked>(both);
  EXPECT_EQ(both->getReferenceCount(), 3u);
  EXPECT_EQ(root.dynamicCast<Derived>(), nullptr);
  EXPECT_EQ(THandle<Unknown>().dynamicCast<Tracked>(), nullptr);
  asLeft = nullptr;
  root = nullptr;
  EXPECT_EQ(live, 1);
  THandle<const Unknown> constant(new Derived);
  THandle<Derived> back = constant.dynamicCast<Derived>();
  EXPECT_EQ(back->getReferenceCount(), 2u);
}

TEST_F(HandleTest, CopiesCarryTheClassIdButNoCount) {
  THandle<Tracked> a(new Tracked), b(new Tracked), b2 = b;
  const unsigned int id = a->getClassId();
  *a = *b;  // Changes neither count nor id.
  EXPECT_EQ(a->getReferenceCount(), 1u);
  EXPECT_EQ(a->getClassId(), id);
  Tracked copy(*b);
  EXPECT_EQ(copy.getReferenceCount(), 0u);
  EXPECT_EQ(copy.getClassId(), id);
  THandle<Unknown> plain = a->Unknown::rtCreateInstance();
  EXPECT_STREQ(plain->getClassName(), L"Unknown");
  EXPECT_EQ(plain->getClassId(), 0xF528BA83u);
}

// Its state travels through the hooks; a negative one is not exported, so
// that the import runs short.
class Sample : public Tracked {
 public:
  THandle<Unknown> rtCreateInstance() const override { return THandle<Unknown>(new Sample); }
  void exportTo(OutputStream& stream) const override {
    if (value >= 0) stream << value;
  }
  void importFrom(InputStream& stream) override { stream >> value; }
  std::int32_t value = 42;
};

TEST_F(HandleTest, ClonesCarryWhatTheHooksCarryOrLogWhyTheyCannot) {
  LogCollector log;
  THandle<Sample> sample(new Sample);
  THandle<Unknown> copy = sample->clone();
  ASSERT_TRUE(copy != sample && copy.dynamicCast<Sample>() != nullptr && copy->getReferenceCount() == 1u);
  EXPECT_EQ(copy.dynamicCast<Sample>()->value, 42);
  const THandle<MemoryStream> stream = MemoryStream::createInstance();
  char copied[8] = {};
  ASSERT_TRUE(stream->write("abc", 4) == 4 && (copy = stream->clone()).dynamicCast<MemoryStream>() != nullptr);
  EXPECT_TRUE(copy.dynamicCast<MemoryStream>()->read(copied, 8) == 4 && std::string(copied) == "abc" && stream->available() == 4);
  copy = sample->Unknown::rtCreateInstance()->clone();
  EXPECT_TRUE(copy != nullptr && std::wstring(copy->getClassName()) == L"Unknown");
  sample->value = -1;
  EXPECT_TRUE(THandle<Tracked>(new Tracked)->clone() == nullptr && sample->clone() == nullptr);
  EXPECT_EQ(log.errors, Texts({L"Call rtCreateInstance(Tracked) error! typeid(orvo::(anonymous namespace)::Tracked)", L"int32_t"}));
}

TEST(ClassIdTest, SumsTheUtf8BytesOfTheName) {
  const std::pair<const wchar_t*, unsigned int> cases[] = {
      {L"Unknown", 0xF528BA83u},
      {L"MemoryStream", 0xD99D97C0u},
      {L"", 0xFFFFFFFFu},  // 0 means "not computed", so no name gives it.
      {L"A\u00e9", 0x41u + (0xC3u << 5) + (0xA9u << 10)},
      {L"\u4e2d", 0xE4u + (0xB8u << 5) + (0xADu << 10)},
      {L"\U0001F600", 0xF0u + (0x9Fu << 5) + (0x98u << 10) + (0x80u << 15)},
  };
  for (const auto& [name, id] : cases) EXPECT_EQ(Unknown::computeClassId(name), id);
}

TEST(SharedPtrTest, NullHoldsNothingAndTheLastCopyDeletesOnce) {
  EXPECT_EQ(SharedPtr<Both>(static_cast<Both*>(nullptr)).getReferenceCount(), 0u);
  live = 0;
  {
    SharedPtr<Both> first(new Both), copy = first;  // A plain object to SharedPtr.
    EXPECT_EQ(copy.getReferenceCount(), 2u);
    EXPECT_EQ(copy.get(), first.get());
    copy = SharedPtr<Both>();
    SharedPtr<Both> moved = std::move(first);
    EXPECT_TRUE(first == nullptr);
    SharedPtr<Both>& self = moved;
    moved = std::move(self);
    EXPECT_EQ(moved.getReferenceCount(), 1u);
  }
  EXPECT_EQ(live, 0);
}

TEST(UnknownStreamTest, ReadsAndWritesNothing) {
  Tracked object;
  Stream detached;  // Any read or write would reach a null device.
  EXPECT_EQ(&(detached << object), &detached);
  EXPECT_EQ(&(detached >> object), &detached);
  object.exportTo(detached);
  object.importFrom(detached);
}

}  // namespace
}  // namespace orvo
