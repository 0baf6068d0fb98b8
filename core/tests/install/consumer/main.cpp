// A program outside the source tree: it sees only the installed headers and
// the exported symbols of the shared library.
#include <orvo/core.h>

#include <cstdio>
#include <cwchar>

namespace {

struct Collector : orvo::LogListener {
  wchar_t last[64] = L"";
  void onError(const wchar_t* message) override { std::wcsncpy(last, message, 63); }
  void onWarning(const wchar_t*) override {}
  void onInformation(const wchar_t*) override {}
  void onDebug(const wchar_t*) override {}
  void onWhistle(bool) override {}
};

}  // namespace

int main() {
  Collector collector;
  orvo::Log::addListener(&collector);
  orvo::Log::error(L"%s %d", L"consumer", 42);
  orvo::Log::removeListener(&collector);
  if (std::wcscmp(collector.last, L"consumer 42") != 0) {
    std::fprintf(stderr, "log text not delivered\n");
    return 1;
  }
  // Stream values and digests come through the umbrella header too.
  if (orvo::MD5String("", 0) != L"d41d8cd98f00b204e9800998ecf8427e") {
    std::fprintf(stderr, "MD5 of the empty text is wrong\n");
    return 1;
  }
  orvo::Buffer buffer(16);
  return buffer.getBufferSize() == 16 ? 0 : 1;
}
