// Reference counting, handles and SharedPtr.
#include <gtest/gtest.h>

#include <orvo/core/SharedPtr.h>
#include <orvo/core/Unknown.h>

namespace orvo {
namespace {

// Counts live instances so that tests see exactly when an object dies.
struct LiveCount {
  static inline int live = 0;
};

class Tracked : public virtual Unknown, public LiveCount {
 public:
  Tracked() { ++live; }
  const wchar_t* getClassName() const override { return L"Tracked"; }
  THandle<Tracked> inner;  // For assignment from inside the old object.

 protected:
  ~Tracked() override { --live; }
};

class Derived : public Tracked {
 public:
  const wchar_t* getClassName() const override { return L"Derived"; }
};

// Reaches Unknown along two paths, as IO does through Input and Output.
class Left : public virtual Unknown {};
class Right : public virtual Unknown {};
class Both : public Left, public Right, public LiveCount {
 public:
  Both() { ++live; }

 protected:
  ~Both() override { --live; }
};

class HandleTest : public ::testing::Test {
 protected:
  void SetUp() override { LiveCount::live = 0; }
  void TearDown() override { EXPECT_EQ(LiveCount::live, 0) << "an object leaked"; }
};

TEST_F(HandleTest, CountStartsAtZeroAndLastHandleFrees) {
  Tracked* raw = new Tracked;
  EXPECT_EQ(raw->getReferenceCount(), 0u);
  {
    THandle<Tracked> first(raw);
    EXPECT_EQ(raw->getReferenceCount(), 1u);
    THandle<Tracked> second = first;
    EXPECT_EQ(raw->getReferenceCount(), 2u);
  }
  EXPECT_EQ(LiveCount::live, 0);
}

TEST_F(HandleTest, SelfAssignmentKeepsSoleOwnerAlive) {
  THandle<Tracked> h(new Tracked);
  Tracked* raw = h.get();
  THandle<Tracked>& alias = h;
  h = alias;
  EXPECT_EQ(h.get(), raw);
  EXPECT_EQ(raw->getReferenceCount(), 1u);
  h = raw;
  EXPECT_EQ(raw->getReferenceCount(), 1u);
  EXPECT_EQ(LiveCount::live, 1);
}

TEST_F(HandleTest, AssigningNullFreesSoleOwner) {
  THandle<Tracked> h(new Tracked);
  h = nullptr;
  EXPECT_TRUE(h == nullptr);
  EXPECT_EQ(LiveCount::live, 0);
}

TEST_F(HandleTest, AssignmentFromInsideTheOldObject) {
  THandle<Tracked> outer(new Tracked);
  outer->inner = new Tracked;
  // The inner handle lives in the object being released: the new reference
  // must be taken before the old object dies.
  outer = outer->inner;
  ASSERT_TRUE(outer != nullptr);
  EXPECT_EQ(outer->getReferenceCount(), 1u);
  EXPECT_EQ(LiveCount::live, 1);
}

TEST_F(HandleTest, MoveLeavesSourceEmptyWithoutTouchingCount) {
  THandle<Tracked> a(new Tracked);
  THandle<Tracked> b(std::move(a));
  EXPECT_TRUE(a == nullptr);
  EXPECT_EQ(b->getReferenceCount(), 1u);
  THandle<Tracked> c(new Tracked);
  c = std::move(b);  // Frees c's old object.
  EXPECT_EQ(LiveCount::live, 1);
  THandle<Tracked>& alias = c;
  c = std::move(alias);
  EXPECT_EQ(LiveCount::live, 1);
}

TEST_F(HandleTest, TwoPathsShareOneCount) {
  Both* both = new Both;
  THandle<Left> asLeft(both);
  THandle<Right> asRight(both);
  EXPECT_EQ(both->getReferenceCount(), 2u);
  asLeft = nullptr;
  EXPECT_EQ(LiveCount::live, 1);
  asRight = nullptr;
  EXPECT_EQ(LiveCount::live, 0);
}

TEST_F(HandleTest, UpcastHandleSharesTheObject) {
  THandle<Derived> derived(new Derived);
  THandle<Tracked> base = derived;
  THandle<Unknown> root = derived;
  EXPECT_EQ(derived->getReferenceCount(), 3u);
  EXPECT_TRUE(base == derived);
}

TEST_F(HandleTest, DynamicCastNeverThrowsAndYieldsNullForOtherClasses) {
  THandle<Unknown> empty;
  EXPECT_EQ(empty.dynamicCast<Tracked>(), nullptr);

  THandle<Unknown> plain(new Tracked);
  EXPECT_EQ(plain.dynamicCast<Derived>(), nullptr);
  EXPECT_NE(plain.dynamicCast<Tracked>(), nullptr);

  THandle<const Unknown> constant(new Derived);
  THandle<Derived> back = constant.dynamicCast<Derived>();
  ASSERT_TRUE(back != nullptr);
  EXPECT_EQ(back->getReferenceCount(), 2u);
}

TEST_F(HandleTest, AssignmentOperatorCopiesNeitherCountNorClassId) {
  THandle<Tracked> a(new Tracked);
  THandle<Tracked> b(new Tracked);
  THandle<Tracked> b2 = b;
  const unsigned int idBefore = a->getClassId();
  *a = *b;
  EXPECT_EQ(a->getReferenceCount(), 1u);
  EXPECT_EQ(b->getReferenceCount(), 2u);
  EXPECT_EQ(a->getClassId(), idBefore);
}

TEST_F(HandleTest, KnownNamesHashAsPublished) {
  EXPECT_EQ(Unknown::computeClassId(L"Unknown"), 0xF528BA83u);
  EXPECT_EQ(Unknown::computeClassId(L"MemoryStream"), 0xD99D97C0u);
  EXPECT_EQ(Unknown::computeClassId(L""), 0xFFFFFFFFu);
  THandle<Unknown> plain = THandle<Tracked>(new Tracked)->Unknown::rtCreateInstance();
  EXPECT_EQ(plain->getClassId(), 0xF528BA83u);
  EXPECT_STREQ(plain->getClassName(), L"Unknown");
}

TEST(ClassIdTest, NonAsciiNamesHashTheirUtf8Bytes) {
  // U+00E9 is C3 A9 in UTF-8: 'A' + (0xC3 << 5) + (0xA9 << 10).
  EXPECT_EQ(Unknown::computeClassId(L"A\u00e9"), 0x41u + (0xC3u << 5) + (0xA9u << 10));
}

struct Payload {
  static inline int destroyed = 0;
  ~Payload() { ++destroyed; }
};

TEST(SharedPtrTest, NullHoldsNoReference) {
  SharedPtr<Payload> empty(nullptr);
  EXPECT_EQ(empty.getReferenceCount(), 0u);
  EXPECT_TRUE(empty == nullptr);
}

TEST(SharedPtrTest, LastCopyDeletesOnce) {
  Payload::destroyed = 0;
  {
    SharedPtr<Payload> first(new Payload);
    {
      SharedPtr<Payload> copy = first;
      EXPECT_EQ(first.getReferenceCount(), 2u);
      EXPECT_EQ(copy.get(), first.get());
    }
    EXPECT_EQ(Payload::destroyed, 0);
    SharedPtr<Payload> moved = std::move(first);
    EXPECT_TRUE(first == nullptr);
    EXPECT_EQ(moved.getReferenceCount(), 1u);
  }
  EXPECT_EQ(Payload::destroyed, 1);
}

}  // namespace
}  // namespace orvo
