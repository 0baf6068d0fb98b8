// property_demo: two property classes declared with the library's macros,
// written to text, pretty-printed, and read back into new objects.
#include <orvo/core.h>

#include <cstdio>
#include <vector>

using namespace orvo;

namespace demo {

class Shape : public Property {
  ORVO_PROPERTY_CLASS(Shape, Property)

  String name;
  Point origin;
  std::vector<int> sizes;
  THandle<Shape> next;  // nil, or another Shape or a class derived from it

 protected:
  Shape() = default;
};

class Circle : public Shape {
  ORVO_PROPERTY_CLASS(Circle, Shape)

  double radius = 0;

 protected:
  Circle() = default;
};

ORVO_PROPERTY_BEGIN(Shape)
  ORVO_PROPERTY(name, "name", "Shown to the user")
  ORVO_PROPERTY(origin, "origin", "Top left corner")
  ORVO_PROPERTY(sizes, "sizes", "Edge lengths")
  ORVO_PROPERTY(next, "next", "The following shape")
ORVO_PROPERTY_END(Shape)

ORVO_PROPERTY_BEGIN(Circle)
  ORVO_PROPERTY(radius, "radius", "In pixels")
ORVO_PROPERTY_END(Circle)

}  // namespace demo

namespace {

void print(const char* title, const String& text) {
  std::printf("%s\n%s\n\n", title, StringHelper::wideToUtf8(text.getBuffer()).getBuffer());
}

}  // namespace

int main() {
  THandle<demo::Shape> box = demo::Shape::createInstance();
  box->setProperty(L"name{box \\{1\\}} origin{10, 20} sizes{{3}{4}} next:Circle{radius{2.5} name{ring}}");

  const String text = PropertyWriter::getPropertyString(box.get());
  print("Written:", text);
  print("Pretty-printed:", propertyStringNormalize(text, L""));

  THandle<Property> copy = PropertyReader::getPropertyClass(text);
  const bool same = copy && PropertyWriter::getPropertyString(copy.get()) == text;
  std::printf("Read back as %ls: %s\n", copy ? copy->getClassName() : L"nothing", same ? "same text" : "DIFFERENT");
  return same ? 0 : 1;
}
