// Property classes: writing and reading attributes, the substitution of
// classes, framed texts, containers of handles, the converter table and the
// merge of base attributes.
#include <gtest/gtest.h>
#include <orvo/core/DummyProperty.h>
#include <orvo/core/PropertyReader.h>
#include <orvo/core/PropertyWriter.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>

#include "diagnostics/DiagnosticsSupport.h"
#include "diagnostics/LogCollector.h"
#include "property/GrowingText.h"
#include "property/PropertyClasses.h"
#include "property/PropertyFactoryTables.h"

namespace orvo::testing {
namespace {

std::wstring str(const String& s) { return s.getBuffer(); }
template <class T>
String rttiOf() {
  return IPropertyConverter::rttiClassNameOf<T>();
}
IPropertyConverter* converterOf(const wchar_t* type) { return PropertyFactory::getPropertyConverter(type); }
// Registers a new converter of the kind `Converter` under `type`.
template <class Converter>
bool setUp(const wchar_t* type) {
  return PropertyFactory::setUpPropertyConverter(Converter::createInstance(type).get());
}

const wchar_t* const kSetFault =
    L"IPropertyAttribute::set: void PropertyAttribute::set(Property *,IPropertyConverter *,String const &)";
const wchar_t* const kBadItem = L"Property::setProperty: String readPropertyValue(String &)";
const wchar_t* const kBadCelsius =
    L"IPropertyAttribute::set: void convertPropertyToClass(String const &,Celsius &)";

// The framed text of an object, or "null".
std::wstring framed(const THandle<Property>& object) {
  return object ? str(PropertyWriter::getPropertyString(object.get())) : L"null";
}

// A text read by `read`, what the reading gives, and the one error it logs.
using ReadCase = std::tuple<const wchar_t*, std::wstring, const wchar_t*>;

template <std::size_t N, class Read>
void expectReads(const ReadCase (&cases)[N], Read read) {
  for (const auto& [text, result, error] : cases) {
    SCOPED_TRACE(text);
    LogCollector log;
    EXPECT_EQ(read(text), result);
    EXPECT_EQ(log.errors, error ? Texts{error} : Texts{});
  }
}

// A fresh Node and Leaf read each text and write themselves back; the class
// converter makes an object for any text but "nil".
TEST(PropertyModel, ReadsAndWritesAttributes) {
  const std::wstring fresh = L"child{nil}temperature{0}", freshChild = L"child{" + fresh + L"}";
  const ReadCase cases[] = {
      {L"", fresh, nullptr},
      {L" # only a comment\n\t", fresh, nullptr},
      {L"temperature{5} temperature:{7}", L"child{nil}temperature{7}", nullptr},
      {L"unknown{1} temperature:Celsius{3}", L"child{nil}temperature{3}", nullptr},
      {L"temperature{2} child{ temperature{1} ", L"child{nil}temperature{2}", kBadItem},
      {L"temperature{x} child:Leaf{extra{4}}", L"child:Leaf{child{nil}extra{4}temperature{0}}temperature{0}",
       kBadCelsius},
      {L"child{temperature{1}}", L"child{child{nil}temperature{1}}temperature{0}", nullptr},
      {L"child{temperature{1}} child{ nil\r\n}", fresh, nullptr},
      {L"child{}", freshChild + L"temperature{0}", nullptr},
      {L"child{nil x}", freshChild + L"temperature{0}", kBadItem},
      {L"child:Node{temperature{1}} child:Stranger{temperature{2}}",
       L"child{child{nil}temperature{1}}temperature{0}", kSetFault},
      {L"child:Celsius{1}", fresh, kSetFault},
      {L"temperature:Node{1}", fresh, kSetFault},
      {L"temperature:Nope{1}", fresh, kSetFault},
      {L"child:Orphan{temperature{1}}", fresh, kSetFault}};
  expectReads(cases, [](const wchar_t* text) {
    THandle<Node> node = Node::createInstance();
    node->setProperty(text);
    return str(node->getProperty());
  });

  THandle<Leaf> leaf = Leaf::createInstance();
  leaf->setProperty(L"temperature{3}extra{4}");
  EXPECT_EQ(str(leaf->getProperty()), L"child{nil}extra{4}temperature{3}");
  EXPECT_EQ(leaf->_temperature.tenths, 0) << "the base's hidden member stays";

  THandle<Property> bare = Property::createInstance();
  bare->setProperty(L"a{1}");
  EXPECT_EQ(str(bare->getProperty()), L"");
}

// A text nested deeper than the stack allows stops at the limit.
TEST(PropertyModel, StopsReadingAtTheNestingLimit) {
  std::wstring text;
  for (int level = 0; level < 60; ++level) text += L"child{";
  text += L"temperature{1}" + std::wstring(60, L'}');
  LogCollector log;
  THandle<Node> node = Node::createInstance();
  node->setProperty(text.c_str());
  int depth = 0;
  for (const Node* at = node.get(); at->_child; at = at->_child.get()) ++depth;
  EXPECT_EQ(depth, 32);
  EXPECT_EQ(log.errors, Texts{L"Property::setProperty: objects nested too deep"});
}

// What cannot be written is logged and left out; what has no converter of
// its own is written with an empty type.
TEST(PropertyModel, WritesWhatItCan) {
  LogCollector log;
  THandle<Stranger> stranger = Stranger::createInstance();
  EXPECT_EQ(str(stranger->getProperty()), L"temperature{0}");
  EXPECT_EQ(log.errors, Texts{L"Exception: void PropertyAttribute::get(Property const *,IPropertyConverter "
                              L"*,String &,String &)"});

  THandle<Node> node = Node::createInstance();
  node->_child = Orphan::createInstance();
  EXPECT_EQ(str(node->getProperty()), L"child:{}temperature{0}");
}

// An attribute refuses an object of another class and a missing or unfit
// converter, and leaves its member as it was.
TEST(PropertyModel, AttributeRefusesWhatDoesNotFit) {
  const PropertyAttributes& table = Node::createInstance()->getPropertyAttributes();
  IPropertyAttribute& temperature = *table.at(L"temperature");
  IPropertyConverter* celsius = converterOf(L"Celsius");
  IPropertyConverter* nodes = converterOf(L"Node");
  THandle<Node> node = Node::createInstance();
  THandle<Stranger> stranger = Stranger::createInstance();
  const std::pair<Property*, IPropertyConverter*> calls[] = {
      {stranger.get(), celsius}, {node.get(), nullptr}, {node.get(), nodes}};
  for (const auto& [object, converter] : calls) {
    String type, text;
    EXPECT_THROW(temperature.set(object, converter, L"5"), Exception);
    EXPECT_THROW(temperature.get(object, converter, type, text), Exception);
  }
  EXPECT_EQ(node->_temperature.tenths, 0);
  EXPECT_THROW(table.at(L"child")->set(node.get(), celsius, L"5"), Exception);
}

TEST(PropertyModel, TablesDescribeTheirClasses) {
  const PropertyAttributes& leaf = Leaf::createInstance()->getPropertyAttributes();
  std::wstring names;
  for (const auto& [name, attribute] : leaf)
    names += str(name) + L"=" + str(attribute->getPropertyType()) + L" ";
  EXPECT_EQ(names, L"child=Node extra=Celsius temperature=Celsius ");
  const IPropertyAttribute& hiding = *leaf.at(L"temperature");
  EXPECT_EQ(str(hiding.getPropertyRawName()), str(rttiOf<Leaf>()) + L"::_ownTemperature");
  EXPECT_EQ(str(hiding.getDescription()), L"Hides the base's");
  EXPECT_EQ(str(leaf.at(L"extra")->getDescription()), L"More degrees");
  EXPECT_EQ(str(Leaf::createInstance()->getPropertyType()), L"Leaf");
  EXPECT_EQ(str(DummyProperty::createInstance()->getPropertyAttributes().at(L"property")->getPropertyType()),
            L"Property");
  EXPECT_EQ(str(Property::createInstance()->getPropertyType()), L"Property");
  EXPECT_EQ(hiding.getRttiClassName(), rttiOf<Celsius>());
  EXPECT_STREQ(hiding.getClassName(), L"PropertyAttribute");
  EXPECT_STREQ(hiding.IPropertyAttribute::getClassName(), L"IPropertyAttribute");
  EXPECT_STREQ(converterOf(L"Celsius")->IPropertyConverter::getClassName(), L"IPropertyConverter");
  property::GrowingText out;
  EXPECT_FALSE(converterOf(L"Celsius")->IPropertyConverter::appendValue(&out, out));
  EXPECT_EQ(hiding.IPropertyAttribute::getValueAddress(Leaf::createInstance().get()), nullptr);
}

// An attribute copies its names, and its copy reaches the same member.
TEST(PropertyModel, AttributesCopyTheirFields) {
  using Attribute = PropertyAttribute<Leaf, Celsius>;
  struct Copy : Attribute {
    explicit Copy(const Attribute& other) : Attribute(other) {}
    using Attribute::operator=;
  };
  const PropertyAttributes& table = Leaf::createInstance()->getPropertyAttributes();
  auto* temperature = dynamic_cast<Attribute*>(table.at(L"temperature").get());
  auto* extra = dynamic_cast<Attribute*>(table.at(L"extra").get());
  ASSERT_TRUE(temperature && extra);
  Copy copy(*temperature);
  EXPECT_EQ(str(copy.getPropertyName() + L"/" + copy.getDescription()), L"temperature/Hides the base's");
  copy = *extra;
  EXPECT_EQ(str(copy.getPropertyName() + L"/" + copy.getPropertyRawName()),
            L"extra/" + str(extra->getPropertyRawName()));
  THandle<Leaf> leaf = Leaf::createInstance();
  copy.set(leaf.get(), converterOf(L"Celsius"), L"7");
  EXPECT_EQ(leaf->_extra.tenths, 7);
}

// Threads that meet a class first at the same time merge its base once.
TEST(PropertyModel, MergesBaseAttributesOnceAcrossThreads) {
  std::size_t sizes[2] = {};
  std::thread other([&] { sizes[0] = Racer::classPropertyAttributes_().size(); });
  sizes[1] = Racer::classPropertyAttributes_().size();
  other.join();
  EXPECT_EQ(sizes[0], 4u);
  EXPECT_EQ(sizes[1], 4u);
}

TEST(PropertyModel, ReadsAndWritesFramedTexts) {
  const ReadCase cases[] = {
      {L"", L"null", nullptr},
      {L" \t\n", L"null", nullptr},
      {L" :Node{ nil } ", L"null", nullptr},
      {L":Node{temperature{1}}", L":Node{child{nil}temperature{1}}", nullptr},
      {L":Leaf{extra{2}} :Node{temperature{1}}", L":Leaf{child{nil}extra{2}temperature{0}}", nullptr},
      {L"Node{temperature{1}}", L"null", nullptr},
      {L"#c\n:Node{temperature{1}}", L":Node{child{nil}temperature{1}}", nullptr},
      {L"#c\nabc:Node{}", L"null", kBadItem},
      {L":Node{temperature{1}", L"null", kBadItem},
      {L":Celsius{1}", L"null", kSetFault}};
  expectReads(cases, [](const wchar_t* text) { return framed(PropertyReader::getPropertyClass(text)); });
  const THandle<Property> bare = PropertyReader::getPropertyClass(L":{}");
  ASSERT_TRUE(bare);
  EXPECT_STREQ(bare->getClassName(), L"Property");
  EXPECT_EQ(str(PropertyWriter::getPropertyString(bare.get())), L"");
  EXPECT_EQ(str(PropertyWriter::getPropertyString(nullptr)), L"");
  EXPECT_EQ(str(PropertyWriter::getPropertyString(Orphan::createInstance().get())),
            L"child{nil}mark{0}temperature{0}");
}

TEST(PropertyModel, ContainersOfHandlesKeepClassesAndKeys) {
  THandle<Holder> holder = Holder::createInstance();
  holder->setProperty(
      L"children{:Node{temperature{1}} # note\n :Leaf{extra{2}} {nil} :Stranger{temperature{3}}}"
      L"chain{x:Node{} y{temperature{4}}}"
      L"named{a:Node{temperature{1}} b{nil} c:Stranger{}}");
  ASSERT_EQ(holder->_children.size(), 4u);
  EXPECT_FALSE(holder->_children[2]) << "nil";
  EXPECT_FALSE(holder->_children[3]) << "a Stranger is no Node";
  ASSERT_EQ(holder->_chain.size(), 2u);
  EXPECT_FALSE(holder->_chain.back()) << "an element without a type is a bare Property";
  EXPECT_EQ(str(holder->getProperty()),
            L"chain{:Node{child{nil}temperature{0}}}"
            L"children{:Node{child{nil}temperature{1}}:Leaf{child{nil}extra{2}temperature{0}}}"
            L"named{a:Node{child{nil}temperature{1}}b{nil}c{nil}}");

  LogCollector log;
  holder->setProperty(L"children{a b{1}}");
  EXPECT_EQ(holder->_children.size(), 4u);
  EXPECT_EQ(log.errors, Texts{L"IPropertyAttribute::set: String readPropertyValue(String &)"});

  PropertyHandleText::Writer writer;
  writer.add(L"empty", Property::createInstance().get());
  writer.add(L"orphan", Orphan::createInstance().get());
  writer.add(Property::createInstance().get());
  EXPECT_EQ(str(writer.finish()), L"empty:Property{}orphanchild{nil}mark{0}temperature{0}");
}

TEST(PropertyFactory, FindsConvertersByBothNames) {
  // A type, its run-time type name, whether it converts values, the converter's class.
  const std::tuple<const wchar_t*, String, bool, const wchar_t*> rows[] = {
      {L"Node", rttiOf<Node>(), false, L"PropertyConverter"},
      {L"NodeArray", rttiOf<std::vector<THandle<Node>>>(), true, L"PropertyConverterUnit"},
      {L"Celsius", rttiOf<Celsius>(), true, L"PropertyConverterUnit"},
  };
  for (const auto& [type, rtti, unit, className] : rows) {
    SCOPED_TRACE(type);
    IPropertyConverter* converter = converterOf(type);
    ASSERT_NE(converter, nullptr);
    EXPECT_EQ(PropertyFactory::getPropertyConverterByRttiClassName(rtti), converter);
    EXPECT_EQ(converter->isUnitProperty(), unit);
    EXPECT_STREQ(converter->getClassName(), className);
  }
  EXPECT_EQ(converterOf(L"Orphan"), nullptr);
}

TEST(PropertyFactory, RefusesSecondRegistrations) {
  IPropertyConverter* nodes = converterOf(L"Node");
  LogCollector log;
  {
    // The same converter, or another under the same two keys: a note only.
    CapturedStream out(STDOUT_FILENO);
    EXPECT_TRUE(PropertyFactory::setUpPropertyConverter(nodes));
    EXPECT_TRUE(setUp<PropertyConverter<Node>>(L"Node"));
    EXPECT_EQ(out.text(), "\nProperty: (Node) has been setup!\nProperty: (Node) has been setup!");
  }
  EXPECT_TRUE(log.errors.empty());
  EXPECT_TRUE(setUp<PropertyConverterUnit<Unregistered>>(L"Node"));
  EXPECT_TRUE(setUp<PropertyConverterUnit<Celsius>>(L"Warmth"));
  const auto error = [](const wchar_t* type, const String& rtti) {
    return std::wstring(L"Property: (") + type + L") has been setup error! RTTI class name(" + str(rtti) +
           L")";
  };
  EXPECT_EQ(log.errors, (Texts{error(L"Node", rttiOf<Unregistered>()), error(L"Warmth", rttiOf<Celsius>())}));
  EXPECT_EQ(converterOf(L"Node"), nodes);
  EXPECT_EQ(converterOf(L"Warmth"), nullptr);
  EXPECT_EQ(PropertyFactory::getPropertyConverterByRttiClassName(rttiOf<Unregistered>()), nullptr);
}

TEST(PropertyFactory, TearsDownByName) {
  const IPropertyAttribute& broken = *Stranger::createInstance()->getPropertyAttributes().at(L"broken");
  EXPECT_EQ(str(broken.getPropertyType()), L"");
  setUp<PropertyConverterUnit<Unregistered>>(L"Passing");
  ASSERT_NE(converterOf(L"Passing"), nullptr);
  EXPECT_EQ(str(broken.getPropertyType()), L"Passing") << "attributes see the table as it is now";
  PropertyFactory::tearDownPropertyConverter(L"Passing");
  EXPECT_EQ(str(broken.getPropertyType()), L"");
  PropertyFactory::tearDownPropertyConverter(L"Passing");
  EXPECT_EQ(converterOf(L"Passing"), nullptr);
  EXPECT_EQ(PropertyFactory::getPropertyConverterByRttiClassName(rttiOf<Unregistered>()), nullptr);
  EXPECT_NE(converterOf(L"Celsius"), nullptr);
}

TEST(PropertyFactory, FindsNothingOnceTheTableIsGone) {
  EXPECT_EXIT(
      {
        property::deleteFactoryTables(nullptr);
        PropertyFactory::tearDownPropertyConverter(L"Node");
        setUp<PropertyConverterUnit<Unregistered>>(L"Late");
        const bool empty = !converterOf(L"Node") && !converterOf(L"Late") &&
                           !PropertyFactory::getPropertyConverterByRttiClassName(rttiOf<Node>());
        std::exit(empty ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orvo::testing
