// PropertyClasses: a small hierarchy of property classes for the property
// tests, with a value type of the tests' own (Celsius) added the way a module
// adds one.
//
//   Node          temperature (Celsius), child (Node)
//   Leaf : Node   hides "temperature" with a member of its own, adds "extra"
//   Holder        children (NodeArray), chain (NodeList), named (NodeMap)
//   Stranger      unrelated to Node: temperature, broken (no converter)
//   Orphan : Node mark; its converters are never registered
//   Racer : Leaf  speed; first used by the test of the merge
#pragma once

#include <list>
#include <map>
#include <vector>

#include <orvo/core/PropertyDeclaration.h>

namespace orvo::testing {

// Tenths of a degree, written as a plain number.
struct Celsius {
  int tenths = 0;
  bool operator==(const Celsius&) const = default;
};
void convertPropertyToClass(const String& text, Celsius& value);
void convertPropertyToString(const Celsius& value, String& text);

// A value type with a text pair but no registered converter.
struct Unregistered {
  int value = 0;
};
void convertPropertyToClass(const String& text, Unregistered& value);
void convertPropertyToString(const Unregistered& value, String& text);

class Node : public Property {
  ORVO_PROPERTY_CLASS(Node, Property)

  Celsius _temperature;
  THandle<Node> _child;

 protected:
  Node() = default;
};

class Leaf : public Node {
  ORVO_PROPERTY_CLASS(Leaf, Node)

  Celsius _ownTemperature;
  Celsius _extra;

 protected:
  Leaf() = default;
};

// Containers of handles on Node.
class Holder : public Property {
  ORVO_PROPERTY_CLASS(Holder, Property)

  std::vector<THandle<Node>> _children;
  std::list<THandle<Node>> _chain;
  std::map<String, THandle<Node>> _named;

 protected:
  Holder() = default;
};

class Stranger : public Property {
  ORVO_PROPERTY_CLASS(Stranger, Property)

  Celsius _temperature;
  Unregistered _broken;

 protected:
  Stranger() = default;
};

class Orphan : public Node {
  ORVO_PROPERTY_CLASS(Orphan, Node)

  Celsius _mark;

 protected:
  Orphan() = default;
};

// Used by one test only, so that its first use is the merge.
class Racer : public Leaf {
  ORVO_PROPERTY_CLASS(Racer, Leaf)

  Celsius _speed;
};

}  // namespace orvo::testing
