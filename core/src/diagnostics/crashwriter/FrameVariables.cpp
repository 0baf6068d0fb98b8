#include "diagnostics/crashwriter/FrameVariables.h"

#include <dwarf.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace orvo::crashwriter {
namespace {

constexpr std::size_t kValueSize = 256;  // a rendered value, with its NUL
constexpr int kMostTypeSteps = 64;       // through typedefs, qualifiers and pointers

std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* pattern, ...) {
  char text[kValueSize];
  va_list arguments;
  va_start(arguments, pattern);
  std::vsnprintf(text, sizeof text, pattern, arguments);
  va_end(arguments);
  return text;
}

// Little-endian: the low `size` bytes of the result; unreadable ones are 0.
std::uint64_t readValue(const MemoryReader& read, std::uint64_t address, std::size_t size) {
  std::uint64_t value = 0;
  read(address, &value, std::min(size, sizeof value));
  return value;
}

std::string readText(const MemoryReader& read, std::uint64_t address) {
  char text[kValueSize] = {};
  const std::size_t got = read(address, text, sizeof text - 1);
  return std::string(text, strnlen(text, got));
}

std::string baseValue(const ValueType& type, std::uint64_t address, std::uint64_t pointer,
                      const MemoryReader& read) {
  const auto shown = static_cast<unsigned long long>(pointer);
  if (type.pointers == 1 && type.size == 1)
    return format("0x%016llx \"%s\"", shown, readText(read, pointer).c_str());
  if (type.pointers > 0) return format("0x%016llx", shown);
  const std::uint64_t bits = readValue(read, address, type.size);
  float single;
  double twice;
  std::memcpy(&single, &bits, sizeof single);
  std::memcpy(&twice, &bits, sizeof twice);
  const bool floating = type.encoding == DW_ATE_float;
  switch (type.size) {
    case 1:
    case 2:
      return format("%llx", static_cast<unsigned long long>(bits));
    case 4:  // a 4-byte character cannot hold an address here: plain hex
      if (type.encoding == DW_ATE_signed) return format("%d", static_cast<std::int32_t>(bits));
      return floating ? format("%f", single) : format("%x", static_cast<std::uint32_t>(bits));
    case 8:
      return floating ? format("%f", twice) : format("%llX", static_cast<unsigned long long>(bits));
    default:
      return {};
  }
}

// The type of `die` as rendering sees it.
ValueType typeOf(Dwarf_Die* die) {
  ValueType type;
  Dwarf_Die current = *die;
  Dwarf_Attribute attribute;
  Dwarf_Word size = 0, encoding = 0;  // left alone where missing
  for (int step = 0; step < kMostTypeSteps; ++step) {
    // libdw's calls pass a missing attribute on as a failure.
    if (dw.referencedDie(dw.attribute(&current, DW_AT_type, &attribute), &current) == nullptr) {
      // void: only a pointer to it has a value
      type.kind = type.pointers > 0 ? ValueType::Base : ValueType::Other;
      return type;
    }
    switch (dw.tag(&current)) {
      case DW_TAG_pointer_type:
      case DW_TAG_reference_type:
      case DW_TAG_rvalue_reference_type:
        ++type.pointers;
        [[fallthrough]];
      case DW_TAG_typedef:
      case DW_TAG_const_type:
      case DW_TAG_volatile_type:
      case DW_TAG_restrict_type:
      case DW_TAG_atomic_type:
        continue;
      case DW_TAG_structure_type:
      case DW_TAG_class_type:
      case DW_TAG_union_type:
        type.kind = ValueType::UserDefined;
        if (const char* name = dw.name(&current)) type.name = name;
        return type;
      case DW_TAG_enumeration_type:
        type.kind = ValueType::Enumeration;
        return type;
      case DW_TAG_subroutine_type:
        type.kind = ValueType::Function;
        return type;
      case DW_TAG_base_type:
        type.kind = ValueType::Base;
        dw.unsignedValue(dw.attribute(&current, DW_AT_byte_size, &attribute), &size);
        dw.unsignedValue(dw.attribute(&current, DW_AT_encoding, &attribute), &encoding);
        type.size = size;
        type.encoding = static_cast<int>(encoding);
        return type;
      default:
        return type;
    }
  }
  return type;
}

// Where a frame's variables are: its registers, canonical frame address and
// the frame base of its function, at one address of the module.
class Locator {
 public:
  Locator(const FrameRegisters& registers, Dwarf_Addr address)
      : _registers(registers), _address(address) {}

  void findFrameBase(Dwarf_Die* function) {
    _hasFrameBase = locate(function, DW_AT_frame_base, true, _frameBase);
  }

  // The memory address of a variable that has one at this point of the code.
  bool addressOf(Dwarf_Die* variable, std::uint64_t& result) const {
    return locate(variable, DW_AT_location, false, result);
  }

 private:
  bool locate(Dwarf_Die* die, unsigned name, bool frameBase, std::uint64_t& result) const {
    Dwarf_Attribute attribute;
    Dwarf_Op* operations = nullptr;
    std::size_t count = 0;
    if (dw.attribute(die, name, &attribute) == nullptr ||
        dw.location(&attribute, _address, &operations, &count, 1) != 1 ||
        !evaluate(operations[0], frameBase, result))
      return false;
    // Offsets added after it, as sanitizers' frames have them.
    for (std::size_t i = 1; i < count; ++i) {
      if (operations[i].atom != DW_OP_plus_uconst) return false;
      result += operations[i].number;
    }
    return true;
  }

  // The first operation: a register or frame base plus an offset; for a frame
  // base also a register's value or the canonical frame address.
  bool evaluate(const Dwarf_Op& operation, bool frameBase, std::uint64_t& result) const {
    const auto offset = static_cast<std::int64_t>(operation.number);
    const unsigned atom = operation.atom;
    if (atom == DW_OP_fbreg && _hasFrameBase) return result = _frameBase + offset, true;
    if (atom >= DW_OP_breg0 && atom <= DW_OP_breg31)
      return registerValue(atom - DW_OP_breg0, result) && (result += offset, true);
    if (!frameBase) return false;
    if (atom >= DW_OP_reg0 && atom <= DW_OP_reg31) return registerValue(atom - DW_OP_reg0, result);
    if (atom == DW_OP_call_frame_cfa && _registers.cfaKnown) return result = _registers.cfa, true;
    return false;
  }

  bool registerValue(unsigned number, std::uint64_t& value) const {
    if (number >= FrameRegisters::kCount || !_registers.known[number]) return false;
    value = _registers.values[number];
    return true;
  }

  const FrameRegisters& _registers;
  Dwarf_Addr _address;
  std::uint64_t _frameBase = 0;
  bool _hasFrameBase = false;
};

// Calls `take(name, value)` for each child of `scope` with `tag` in order;
// false as soon as one is not in memory, which ends the list.
template <class Take>
bool eachVariable(Dwarf_Die* scope, int tag, const Locator& locator, const MemoryReader& read,
                  Take take) {
  Dwarf_Die child;
  if (dw.child(scope, &child) != 0) return true;
  do {
    if (dw.tag(&child) != tag) continue;
    std::uint64_t address = 0;
    if (!locator.addressOf(&child, address)) return false;
    const char* name = dw.name(&child);
    take(name == nullptr ? "" : name, renderValue(typeOf(&child), address, read));
  } while (dw.sibling(&child, &child) == 0);
  return true;
}

// The child of `parent` whose code holds `pc`: a function, found through
// namespaces and classes, or a block inside a function.
bool childHolding(Dwarf_Die* parent, Dwarf_Addr pc, Dwarf_Die& result) {
  Dwarf_Die child;
  if (dw.child(parent, &child) != 0) return false;
  do {
    const int tag = dw.tag(&child);
    if ((tag == DW_TAG_subprogram || tag == DW_TAG_lexical_block) && dw.hasPc(&child, pc) > 0)
      return result = child, true;
    if ((tag == DW_TAG_namespace || tag == DW_TAG_class_type || tag == DW_TAG_structure_type) &&
        childHolding(&child, pc, result))
      return true;
  } while (dw.sibling(&child, &child) == 0);
  return false;
}

}  // namespace

std::string renderValue(const ValueType& type, std::uint64_t address, const MemoryReader& read) {
  const std::uint64_t pointer = type.pointers > 0 ? readValue(read, address, 8) : 0;
  const char* name = type.name.c_str();
  switch (type.kind) {
    case ValueType::UserDefined:
      if (type.pointers == 0)
        return format("(%s) 0x%016llx", name, static_cast<unsigned long long>(address));
      if (type.pointers == 1)
        return format("(%s *) 0x%016llx", name, static_cast<unsigned long long>(pointer));
      return format("(%s **) 0x%016llx", name, static_cast<unsigned long long>(address));
    case ValueType::Enumeration:
      return format("%d", static_cast<std::int32_t>(readValue(read, address, 4)));
    case ValueType::Function:
      return format("0x%016llx", static_cast<unsigned long long>(readValue(read, address, 8)));
    case ValueType::Base:
      return baseValue(type, address, pointer, read);
    default:
      return {};
  }
}

void describeVariables(Dwfl_Module* module, Dwarf_Addr address, const FrameRegisters& registers,
                       const MemoryReader& read, Frame& frame) {
  Dwarf_Addr bias = 0;
  Dwarf_Die* unit = unitOf(module, address, bias);
  Dwarf_Die scope;
  if (unit == nullptr || !childHolding(unit, address - bias, scope)) return;
  Locator locator(registers, address - bias);
  locator.findFrameBase(&scope);
  eachVariable(&scope, DW_TAG_formal_parameter, locator, read,
               [&frame](const char* name, const std::string& value) {
                 frame.parameters +=
                     (frame.parameters.empty() ? "" : ", ") + std::string(name) + "=" + value;
               });
  // The function's locals, then those of each block inside it that holds the code.
  const auto local = [&frame](const char* name, const std::string& value) {
    frame.locals.push_back(std::string(name) + " = " + value);
  };
  while (eachVariable(&scope, DW_TAG_variable, locator, read, local) &&
         childHolding(&scope, address - bias, scope)) {
  }
}

}  // namespace orvo::crashwriter
