#include <orvo/core/ClassFactory.h>

#include <atomic>
#include <cstdint>
#include <map>

#include <orvo/core/Console.h>
#include <orvo/core/Log.h>
#include <orvo/core/SpinLock.h>

#include "object/ClassFactorySteps.h"
#include "platform/Process.h"

namespace orvo {
namespace {

using Creator = Unknown::RtFactory::Creator;
using NameTable = std::map<String, Creator>;
using IdTable = std::map<std::uint32_t, Creator>;

// All constant-initialised, so that any static initialiser of any module may
// register before this file's own initialisers have run, and never destroyed,
// so that a lookup after the teardown finds null tables, not freed ones. The
// two tables are built and freed together under the lock, so one pointer
// tells whether both exist.
constinit SpinLock factoryLock;
constinit NameTable* nameTable = nullptr;
constinit IdTable* idTable = nullptr;
constinit std::atomic<bool> tablesBuilt{false};

// The first call builds the tables and enters the teardown in the exit
// steps; since that is the first registration, the teardown runs after every
// class's removal.
void buildTables() {
  if (tablesBuilt.load(std::memory_order_acquire)) return;
  SpinGuard guard(factoryLock);
  if (tablesBuilt.load(std::memory_order_relaxed)) return;
  nameTable = new NameTable;
  idTable = new IdTable;
  tablesBuilt.store(true, std::memory_order_release);
  platform::atExit(&classfactory::tearDown, nullptr);
}

// Enters the class made by `creator`, or tells why it cannot. Under the lock.
// A name that both tables already hold with one creator is a class that is
// registered: a second module with a class of the same name gets the note
// too, and the first creator stays. Only an id that another name holds, or
// tables that disagree, are errors.
void enterClass(const String& name, std::uint32_t id, Creator creator) {
  const auto byName = nameTable->find(name);
  const auto byId = idTable->find(id);
  const bool nameKnown = byName != nameTable->end();
  const bool idKnown = byId != idTable->end();
  if (!nameKnown && !idKnown) {
    nameTable->emplace(name, creator);
    idTable->emplace(id, creator);
  } else if (nameKnown && idKnown && byName->second == byId->second) {
    Console::setTextAttribute(14);
    Console::output(L"\nRTTI: (%s) has been setup!", name.getBuffer());
    Console::setTextAttribute(7);
  } else if (!nameKnown) {
    Log::error(L"RTTI: (%s) setup error! ClassId(%d)", name.getBuffer(), static_cast<int>(id));
  } else {
    Log::error(L"RTTI: (%s) setup error!", name.getBuffer());
  }
}

// Removes the class of that name and its id entry, which holds the same
// creator: both are entered and removed together. A name that is not
// entered removes nothing, so that a name whose id collides with another
// class's does not take the other class's id entry with it. A null `only`
// removes whatever creator.
void removeClass(const wchar_t* className, Creator only) {
  SpinGuard guard(factoryLock);
  if (!nameTable) return;
  const auto byName = nameTable->find(String(className));
  if (byName == nameTable->end()) return;
  if (only && byName->second != only) return;
  nameTable->erase(byName);
  idTable->erase(Unknown::computeClassId(className));
}

template <class Table, class Key>
THandle<Unknown> createFrom(Table* const& table, const Key& key) {
  SpinGuard guard(factoryLock);
  if (!table) return THandle<Unknown>();
  const auto entry = table->find(key);
  return entry == table->end() ? THandle<Unknown>() : entry->second();
}

}  // namespace

Unknown::ClassType::ClassType(const String& className)
    : className(className), classId(computeClassId(className.getBuffer())) {}

THandle<Unknown> Unknown::ClassType::createInstance() const { return RtFactory::createClassInstance(className); }

void Unknown::ClassType::setClass(const Unknown* object) {
  className = object ? String(object->getClassName()) : String();
  classId = object ? object->getClassId() : 0;
}

String Unknown::RtFactory::setupCreator(Creator creator) {
  buildTables();
  SpinGuard guard(factoryLock);
  if (!nameTable || !creator) return String();
  // The sample is declared after the guard, so it dies under the lock.
  const THandle<Unknown> sample = creator();
  if (!sample) return String();
  const String name(sample->getClassName());
  enterClass(name, sample->getClassId(), creator);
  return name;
}

void Unknown::RtFactory::unsetupCreator(const wchar_t* className) { removeClass(className, nullptr); }

void Unknown::RtFactory::unsetupCreator(const wchar_t* className, Creator creator) {
  if (creator) removeClass(className, creator);
}

THandle<Unknown> Unknown::RtFactory::createClassInstance(unsigned int classId) {
  return createFrom(idTable, static_cast<std::uint32_t>(classId));
}

THandle<Unknown> Unknown::RtFactory::createClassInstance(const String& className) {
  return createFrom(nameTable, className);
}

namespace classfactory {

bool registerLibraryClass(Creator creator, const wchar_t* className) {
  Unknown::RtFactory::setupCreator(creator);
  platform::atExit(&removeLibraryClass, const_cast<wchar_t*>(className));
  return true;
}

void removeLibraryClass(void* className) { Unknown::RtFactory::unsetupCreator(static_cast<const wchar_t*>(className)); }

void tearDown(void*) {
  SpinGuard guard(factoryLock);
  delete nameTable;
  nameTable = nullptr;
  delete idTable;
  idTable = nullptr;
}

}  // namespace classfactory
}  // namespace orvo
