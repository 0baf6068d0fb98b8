// Copies of objects made through their creator and their stream hooks.
#include <gtest/gtest.h>

#include <orvo/core/ClassFactory.h>
#include <orvo/core/MemoryStream.h>
#include <orvo/core/Object.h>

#include "diagnostics/LogCollector.h"

namespace orvo {
namespace {

// Its state travels through the hooks; a negative one is not exported, so
// that the import runs short.
class Sample : public virtual Unknown {
 public:
  THandle<Unknown> rtCreateInstance() const override { return THandle<Unknown>(new Sample); }
  void exportTo(OutputStream& stream) const override {
    if (value >= 0) stream << value;
  }
  void importFrom(InputStream& stream) override { stream >> value; }
  std::int32_t value = 42;
};

class Plain : public Object {};  // Keeps the creator of Unknown.

TEST(CloneTest, CopiesWhatTheHooksCarryIntoANewObjectOrLogsWhyItCannot) {
  LogCollector log;
  THandle<Sample> sample(new Sample);
  THandle<Unknown> copy = sample->clone();
  ASSERT_TRUE(copy != sample && copy.dynamicCast<Sample>() != nullptr);
  EXPECT_EQ(copy.dynamicCast<Sample>()->value, 42);
  const THandle<MemoryStream> stream = MemoryStream::createInstance();
  ASSERT_EQ(stream->write("abc", 4), 4);
  copy = stream->clone();
  char copied[8] = {}, source[4] = {};
  ASSERT_TRUE(copy != stream && copy.dynamicCast<MemoryStream>() != nullptr);
  EXPECT_TRUE(copy.dynamicCast<MemoryStream>()->read(copied, 8) == 4 && stream->read(source, 4) == 4);
  EXPECT_TRUE(std::string(copied) == "abc" && std::string(source) == "abc");
  const THandle<Unknown> plain = Unknown::ClassType(L"Unknown").createInstance();
  copy = plain->clone();
  EXPECT_TRUE(copy != plain && copy != nullptr && std::wstring(copy->getClassName()) == L"Unknown");
  sample->value = -1;
  EXPECT_TRUE(THandle<Plain>(new Plain)->clone() == nullptr && sample->clone() == nullptr);
  EXPECT_EQ(log.errors, Texts({L"Call rtCreateInstance(Object) error! typeid(orvo::(anonymous namespace)::Plain)", L"int32_t"}));
}

}  // namespace
}  // namespace orvo
