#include "foundation/text/UnicodeLibrary.h"

#include <dlfcn.h>

#include <memory>

#include "foundation/base/NSLog.h"

namespace tasklane {

namespace {

constexpr const char* fileName = "libicui18n.so." U_ICU_VERSION_SHORT;

std::unique_ptr<const UnicodeLibrary> load() {
  void* const file = ::dlopen(fileName, RTLD_LAZY | RTLD_LOCAL);
  if (!file) {
    NSLog(std::string(fileName) + " cannot be loaded; texts are compared and told more plainly");
    return nullptr;
  }
  auto library = std::make_unique<UnicodeLibrary>();
  bool whole = true;
  const auto find = [&]<class Function>(Function*& function, const char* name) {
    function = reinterpret_cast<Function*>(::dlsym(file, name));
    whole = whole && function;
  };
// The header renames each function to one with the version in its name, which is the file's.
#define TASKLANE_NAME(name) #name
#define TASKLANE_FIND(name) find(library->name, TASKLANE_NAME(name));
#define TASKLANE_FIND_RENAMED(name) TASKLANE_FIND(name)
  TASKLANE_UNICODE_FUNCTIONS(TASKLANE_FIND_RENAMED)
  if (whole) return library;
  NSLog(std::string(fileName) + " lacks a function; texts are compared and told more plainly");
  return nullptr;
}

}  // namespace

const UnicodeLibrary* UnicodeLibrary::shared() {
  // Kept for good, as the library's objects may be.
  static const UnicodeLibrary* const library = load().release();
  return library;
}

std::u16string UnicodeLibrary::utf16(std::string_view text) const {
  return unicodeText([&](UChar* buffer, int32_t capacity, UErrorCode* status) {
    int32_t length = 0;
    u_strFromUTF8(buffer, capacity, &length, text.data(), static_cast<int32_t>(text.size()),
                  status);
    return length;
  });
}

std::string UnicodeLibrary::utf8(std::u16string_view text) const {
  std::string out(text.size() * 3, '\0');
  int32_t length = 0;
  UErrorCode status = U_ZERO_ERROR;
  u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, text.data(),
              static_cast<int32_t>(text.size()), &status);
  out.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
  return out;
}

}  // namespace tasklane
