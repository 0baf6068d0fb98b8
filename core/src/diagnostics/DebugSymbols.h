// DebugSymbols.h: the work behind DebugHelper, on a debug library that the
// caller owns, so that the library's tests can load one of their own.
//
// Functions without state of their own; a DwarfLibrary takes a lock for
// each look-up, so one may be shared between threads.
#pragma once

#include <cstdint>
#include <string>

#include "platform/DwarfLibrary.h"

namespace orvo::detail {

// Opens `libraryName` into `library`; a failure is logged with the name of
// the library, and of the first entry point that is missing, if any.
void openDebugLibrary(platform::DwarfLibrary& library, const char* libraryName);

// The demangled name of the function that holds `address`: from the full
// symbol tables of `library` when it is loaded, otherwise (or when it knows
// none) from the exported symbols.
bool functionName(platform::DwarfLibrary& library, std::uintptr_t address, std::string& name);

}  // namespace orvo::detail
