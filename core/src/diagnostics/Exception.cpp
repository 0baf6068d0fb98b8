#include <orvo/core/Exception.h>

#include <string_view>
#include <utility>

#include <orvo/core/CallStack.h>
#include <orvo/core/Log.h>
#include <orvo/core/StringConvert.h>

namespace orvo {

Exception::Exception(const wchar_t* file, int line, const wchar_t* function, int code,
                     const wchar_t* message)
    : file(file), line(line), function(function), code(code), message(message) {}

Exception::Exception(const Exception& other)
    : file(other.file),
      line(other.line),
      function(other.function),
      code(other.code),
      message(other.message),
      callStack(other.callStack) {
  if (callStack) callStack->addRef();
}

Exception::Exception(Exception&& other) noexcept
    : file(std::move(other.file)),
      line(other.line),
      function(std::move(other.function)),
      code(other.code),
      message(std::move(other.message)),
      callStack(std::exchange(other.callStack, nullptr)) {}

Exception& Exception::operator=(const Exception& other) {
  file = other.file;
  line = other.line;
  function = other.function;
  code = other.code;
  message = other.message;
  // The new reference first, so that assigning an exception to itself, or to
  // a copy sharing its stack, cannot free the stack in between.
  if (other.callStack) other.callStack->addRef();
  CallStack* old = std::exchange(callStack, other.callStack);
  if (old) old->destroy();
  return *this;
}

Exception& Exception::operator=(Exception&& other) noexcept {
  if (this == &other) return *this;
  file = std::move(other.file);
  line = other.line;
  function = std::move(other.function);
  code = other.code;
  message = std::move(other.message);
  CallStack* old = std::exchange(callStack, std::exchange(other.callStack, nullptr));
  if (old) old->destroy();
  return *this;
}

Exception::~Exception() {
  if (callStack) callStack->destroy();
}

void Exception::report() const {
  Log::error(L"%s", message.c_str());
  if (callStack) {
    DumpCallStack_Log toLog;
    callStack->dump(toLog);
  }
}

namespace {

// The compiler gives the signature in narrow text: ASCII as a rule, UTF-8
// for a name beyond it.
std::wstring wideSignature(const char* function) {
  const char* end = function;
  bool ascii = true;
  for (; *end; ++end) ascii = ascii && static_cast<unsigned char>(*end) < 0x80;
  if (ascii) return std::wstring(function, end);
  const String converted = StringConvert(reinterpret_cast<const unsigned char*>(function));
  return converted.getBuffer();
}

// The library's name for a source file: a public header as
// "core/include/orvo/core/Name", a source as "src/<subsystem>/Name", without the
// extension and without the directories of the machine that built it. A
// file outside the library keeps the name the compiler gave it.
std::wstring sourceFileName(const wchar_t* file) {
  std::wstring name(file);
  static constexpr std::wstring_view kHeaders = L"orvo/core/";
  static constexpr std::wstring_view kSources = L"core/src/";
  std::size_t start;
  if ((start = name.rfind(kSources)) != std::wstring::npos) {
    name.erase(0, start + kSources.size() - 4);  // Keep "src/".
  } else if ((start = name.rfind(kHeaders)) != std::wstring::npos) {
    name = L"core/include/" + name.substr(start);
  } else {
    return name;
  }
  const std::size_t dot = name.rfind(L'.');
  if (dot != std::wstring::npos && name.find(L'/', dot) == std::wstring::npos) name.erase(dot);
  return name;
}

}  // namespace

void throwException(const wchar_t* file, int line, const char* function, const wchar_t* message) {
  Exception raised(sourceFileName(file).c_str(), line, L"", -1, message);
  raised.function = wideSignature(function);
  throw raised;  // Moved, not copied.
}

}  // namespace orvo
