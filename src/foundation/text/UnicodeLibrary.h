#pragma once

#include <unicode/uchar.h>
#include <unicode/udat.h>
#include <unicode/umsg.h>
#include <unicode/unorm2.h>
#include <unicode/ureldatefmt.h>
#include <unicode/ustring.h>

#include <string>
#include <string_view>

namespace tasklane {

// Calls function(NAME) for each of the library's functions that are used here.
#define TASKLANE_UNICODE_FUNCTIONS(function)                                                       \
  function(u_charName) function(u_charType) function(u_getCombiningClass)                          \
      function(u_getIntPropertyValue) function(u_hasBinaryProperty) function(u_strFoldCase)        \
          function(u_strFromUTF8) function(u_strToUTF8) function(udat_close) function(udat_format) \
              function(udat_open) function(umsg_close) function(umsg_format) function(umsg_open)   \
                  function(unorm2_getDecomposition) function(unorm2_getNFKDInstance)               \
                      function(ureldatefmt_close) function(ureldatefmt_format)                     \
                          function(ureldatefmt_open)

/// ICU, through its C functions. Loading it takes longer than a short command's own work, so no
/// program is linked with it: it is loaded when a text must first be folded, a count put in words,
/// or a date told to a person. Any thread.
struct UnicodeLibrary {
  /// The library, loaded at the first call; a null pointer where it is not installed, which the
  /// console is told once. Each caller has a plainer answer for that case.
  static const UnicodeLibrary* shared();

  std::u16string utf16(std::string_view text) const;
  std::string utf8(std::u16string_view text) const;

#define TASKLANE_DECLARE(name) decltype(&::name) name = nullptr;
  TASKLANE_UNICODE_FUNCTIONS(TASKLANE_DECLARE)
#undef TASKLANE_DECLARE
};

/// The text that a function of the library writes: write(buffer, capacity, status) answers its
/// length. Empty when it fails.
template <class Write>
std::u16string unicodeText(Write write) {
  std::u16string text(128, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t capacity = static_cast<int32_t>(text.size());
    const int32_t length = write(text.data(), capacity, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR && length > capacity) {
      text.resize(static_cast<std::size_t>(length));
      continue;
    }
    text.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return text;
  }
}

}  // namespace tasklane
