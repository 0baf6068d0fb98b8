#include <orvo/core/PropertyFactory.h>

#include <atomic>
#include <map>

#include <orvo/core/Console.h>
#include <orvo/core/Log.h>
#include <orvo/core/SpinLock.h>

#include "platform/Process.h"
#include "property/PropertyFactoryTables.h"

namespace orvo {
namespace {

using ConverterMap = std::map<String, THandle<IPropertyConverter>>;

// Constant-initialised and never destroyed, so that a registration from any
// static initialiser may come first, and a lookup after the teardown finds
// null maps rather than freed ones. Both maps are made and freed together
// under the lock.
constinit SpinLock factoryLock;
constinit ConverterMap* byType = nullptr;
constinit ConverterMap* byRtti = nullptr;
constinit std::atomic<bool> mapsMade{false};
constinit std::atomic<std::uint64_t> generation{1};

void tableChanged() { generation.fetch_add(1, std::memory_order_release); }

IPropertyConverter* find(ConverterMap* const& map, const String& key) {
  SpinGuard guard(factoryLock);
  if (!map) return nullptr;
  const auto entry = map->find(key);
  return entry == map->end() ? nullptr : entry->second.get();
}

// The exit step of one registration; owns the name it removes.
void tearDownStep(void* name) {
  String* propertyType = static_cast<String*>(name);
  PropertyFactory::tearDownPropertyConverter(*propertyType);
  delete propertyType;
}

}  // namespace

namespace property {

// The first call makes the maps and enters their deletion in the exit steps;
// since that is the first registration's own first step, the maps go after
// every converter's removal.
void makeFactoryTables() {
  if (mapsMade.load(std::memory_order_acquire)) return;
  SpinGuard guard(factoryLock);
  if (mapsMade.load(std::memory_order_relaxed)) return;
  byType = new ConverterMap;
  byRtti = new ConverterMap;
  mapsMade.store(true, std::memory_order_release);
  platform::atExit(&deleteFactoryTables, nullptr);
}

std::uint64_t factoryGeneration() noexcept { return generation.load(std::memory_order_acquire); }

void deleteFactoryTables(void*) {
  ConverterMap* type = nullptr;
  ConverterMap* rtti = nullptr;
  {
    SpinGuard guard(factoryLock);
    type = std::exchange(byType, nullptr);
    rtti = std::exchange(byRtti, nullptr);
    tableChanged();
  }
  // Converters die outside the lock: a dying converter may be a module's
  // class, whose destructor is free to look up the table.
  delete type;
  delete rtti;
}

}  // namespace property

bool PropertyFactory::setUpPropertyConverter(IPropertyConverter* converter) {
  property::makeFactoryTables();
  if (!converter) return true;
  const THandle<IPropertyConverter> kept(converter);
  SpinGuard guard(factoryLock);
  if (!byType || !byRtti) return true;
  const String propertyType = converter->getPropertyType();
  const String rttiClassName = converter->getRttiClassName();
  const auto typeEntry = byType->find(propertyType);
  const auto rttiEntry = byRtti->find(rttiClassName);
  const bool typeKnown = typeEntry != byType->end();
  const bool rttiKnown = rttiEntry != byRtti->end();
  if (!typeKnown && !rttiKnown) {
    byType->emplace(propertyType, kept);
    byRtti->emplace(rttiClassName, kept);
    tableChanged();
  } else if (typeKnown && rttiKnown && typeEntry->second == rttiEntry->second) {
    Console::setTextAttribute(14);
    Console::output(L"\nProperty: (%s) has been setup!", propertyType.getBuffer());
    Console::setTextAttribute(7);
  } else {
    Log::error(L"Property: (%s) has been setup error! RTTI class name(%s)", propertyType.getBuffer(),
               rttiClassName.getBuffer());
  }
  return true;
}

void PropertyFactory::tearDownPropertyConverter(const String& propertyType) {
  THandle<IPropertyConverter> removed;  // Dies after the guard, outside the lock.
  SpinGuard guard(factoryLock);
  if (!byType || !byRtti) return;
  const auto entry = byType->find(propertyType);
  if (entry == byType->end()) return;
  removed = entry->second;
  byType->erase(entry);
  byRtti->erase(removed->getRttiClassName());
  tableChanged();
}

IPropertyConverter* PropertyFactory::getPropertyConverter(const String& propertyType) {
  return find(byType, propertyType);
}

IPropertyConverter* PropertyFactory::getPropertyConverterByRttiClassName(const String& rttiClassName) {
  return find(byRtti, rttiClassName);
}

bool PropertyFactory::registerPropertyConverter(const THandle<IPropertyConverter>& converter) {
  if (!converter) return false;
  const bool done = setUpPropertyConverter(converter.get());
  platform::atExit(&tearDownStep, new String(converter->getPropertyType()));
  return done;
}

// Made here too, in case no converter registers before this file's turn.
static const bool factoryTablesMade = (property::makeFactoryTables(), true);

}  // namespace orvo
