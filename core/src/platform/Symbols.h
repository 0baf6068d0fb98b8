// Symbols.h: names of code addresses from what every process has loaded,
// without any debug library. The functions keep no state; any thread may
// call them.
#pragma once

#include <cstdint>
#include <string>

namespace orvo::platform {

// The name of the exported symbol that holds `address`, from the dynamic
// symbol table of its module, demangled. False if no exported symbol holds
// it (code of an executable, or a function of hidden visibility).
bool dynamicSymbolName(std::uintptr_t address, std::string& name);

// The readable form of a C++ symbol name; any other name comes back as it is.
std::string demangle(const char* symbol);

}  // namespace orvo::platform
