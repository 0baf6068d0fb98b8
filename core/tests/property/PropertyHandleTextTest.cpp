// The text pair of the handle containers, as a module's own converter calls
// it: each container writes what reads back into the same objects. A null
// element of an array or list has no text and is gone when read back; a null
// in a map keeps its key.
#include <gtest/gtest.h>

#include <list>
#include <string>
#include <map>
#include <vector>

#include <orvo/core/PropertyHandleText.h>

#include "property/PropertyClasses.h"

namespace orvo::testing {
namespace {

template <class Container>
void expectRoundTrip(const Container& value, const wchar_t* expected, std::size_t readBack) {
  String text;
  convertPropertyToString(value, text);
  EXPECT_STREQ(text.getBuffer(), expected);
  Container back;
  convertPropertyToClass(text, back);
  ASSERT_EQ(back.size(), readBack);
  convertPropertyToString(back, text);
  EXPECT_STREQ(text.getBuffer(), expected) << "read back, the objects write another text";
}

TEST(PropertyHandleText, ContainersWriteWhatReadsBack) {
  THandle<Node> warm = Node::createInstance();
  warm->setProperty(L"temperature{215}");
  THandle<Leaf> leaf = Leaf::createInstance();
  leaf->setProperty(L"extra{7}");
  const wchar_t* const warmText = L":Node{child{nil}temperature{215}}";
  const wchar_t* const leafText = L":Leaf{child{nil}extra{7}temperature{0}}";
  expectRoundTrip(std::vector<THandle<Node>>{warm, nullptr, leaf}, (std::wstring(warmText) + leafText).c_str(), 2);
  expectRoundTrip(std::list<THandle<Node>>{leaf, warm}, (std::wstring(leafText) + warmText).c_str(), 2);
  expectRoundTrip(std::map<String, THandle<Node>>{{L"a", warm}, {L"b", nullptr}},
                  (L"a" + std::wstring(warmText) + L"b{nil}").c_str(), 2);
}

}  // namespace
}  // namespace orvo::testing
