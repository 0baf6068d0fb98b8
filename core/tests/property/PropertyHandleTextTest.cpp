// The text pair of the handle containers, as a module's own converter calls
// it: each container writes what reads back into the same objects. A null
// element of an array or list has no text; a null in a map keeps its key.
#include <gtest/gtest.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include <orvo/core/PropertyHandleText.h>

#include "property/PropertyClasses.h"

namespace orvo::testing {
namespace {

template <class Container>
std::wstring written(const Container& value) {
  String text;
  convertPropertyToString(value, text);
  return text.getBuffer();
}

template <class Container>
Container read(const std::wstring& text) {
  Container value;
  convertPropertyToClass(String(text.c_str()), value);
  return value;
}

TEST(PropertyHandleText, ContainersWriteWhatReadsBack) {
  using Nodes = std::vector<THandle<Node>>;
  using NodeList = std::list<THandle<Node>>;
  using NodeMap = std::map<String, THandle<Node>>;
  THandle<Node> warm = Node::createInstance();
  warm->setProperty(L"temperature{215}");
  THandle<Leaf> leaf = Leaf::createInstance();
  leaf->setProperty(L"extra{7}");
  const std::wstring warmText = L":Node{child{nil}temperature{215}}";
  const std::wstring leafText = L":Leaf{child{nil}extra{7}temperature{0}}";
  EXPECT_EQ(written(Nodes{warm, nullptr, leaf}), warmText + leafText);
  EXPECT_EQ(written(read<Nodes>(warmText + leafText)), warmText + leafText);
  EXPECT_EQ(written(NodeList{leaf, warm}), leafText + warmText);
  EXPECT_EQ(written(read<NodeList>(leafText + warmText)), leafText + warmText);
  const std::wstring mapText = L"a" + warmText + L"b{nil}";
  EXPECT_EQ(written(NodeMap{{L"a", warm}, {L"b", nullptr}}), mapText);
  EXPECT_EQ(read<NodeMap>(mapText).size(), 2u);
  EXPECT_EQ(written(read<NodeMap>(mapText)), mapText);
  // Names, blanks and comments around an element's type are read past, and an
  // element without a type is a bare Property, which is no Node.
  const Nodes spaced = read<Nodes>(L" x :Node{temperature{5}} #c\n y #c\n: Leaf {extra{2}}{temperature{3}}");
  ASSERT_EQ(spaced.size(), 3u);
  EXPECT_EQ(spaced[2], nullptr);
  EXPECT_EQ(written(spaced), L":Node{child{nil}temperature{5}}:Leaf{child{nil}extra{2}temperature{0}}");
}

}  // namespace
}  // namespace orvo::testing
