#include "platform/Symbols.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdlib>

namespace orvo::platform {

bool dynamicSymbolName(std::uintptr_t address, std::string& name) {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(address), &info) == 0 || !info.dli_sname) return false;
  name = demangle(info.dli_sname);
  return true;
}

std::string demangle(const char* symbol) {
  int status = 0;
  char* readable = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
  if (status != 0 || !readable) return symbol;
  std::string result(readable);
  std::free(readable);
  return result;
}

}  // namespace orvo::platform
