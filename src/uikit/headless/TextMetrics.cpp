#include "uikit/headless/TextMetrics.h"

#include <algorithm>

namespace tasklane::headless {
namespace {

/// The next character of a UTF-8 text; a malformed byte counts as one character.
char32_t nextCharacter(std::string_view text, std::size_t& at) {
  const auto lead = static_cast<unsigned char>(text[at++]);
  const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  char32_t character = more ? lead & (0x3F >> more) : lead;
  for (int i = 0; i < more && at < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if ((byte & 0xC0) != 0x80) break;
    character = character << 6 | (byte & 0x3F);
    ++at;
  }
  return character;
}

/// In units of the point size.
CGFloat advanceOf(char32_t c) {
  const auto within = [c](char32_t first, char32_t last) { return c >= first && c <= last; };
  if (within(0x300, 0x36F) || within(0x591, 0x5BD) || within(0x64B, 0x65F) ||
      within(0x200B, 0x200F) || within(0xFE00, 0xFE0F) || c < 0x20) {
    return 0;
  }
  const bool isWide = within(0x1100, 0x115F) || within(0x2E80, 0xA4CF) || within(0xAC00, 0xD7A3) ||
                      within(0xF900, 0xFAFF) || within(0xFE30, 0xFE6F) || within(0xFF00, 0xFF60) ||
                      within(0xFFE0, 0xFFE6) || c >= 0x10000;
  return isWide ? 1 : 0.5;
}

/// Fills lines with words one after another.
class LineBreaker {
 public:
  explicit LineBreaker(CGFloat maximumWidth) : maximum_(maximumWidth) {}

  void add(char32_t character, CGFloat advance) {
    if (character == '\n') {
      endWord();
      endLine();
    } else if (character == ' ') {
      endWord();
      spaces_ += advance;
    } else {
      if (word_ > 0 && word_ + advance > maximum_) endWord();
      word_ += advance;
    }
  }

  void finish() {
    endWord();
    widest_ = std::max(widest_, line_ == 0 && lines_ == 1 ? spaces_ : line_);
  }

  CGFloat widest() const { return std::min(widest_, maximum_); }
  int lines() const { return lines_; }

 private:
  void endWord() {
    if (word_ == 0) return;
    if (line_ > 0 && line_ + spaces_ + word_ > maximum_) endLine();
    line_ += spaces_ + word_;
    spaces_ = word_ = 0;
  }
  void endLine() {
    widest_ = std::max(widest_, line_);
    line_ = spaces_ = 0;
    ++lines_;
  }

  CGFloat maximum_, line_ = 0, spaces_ = 0, word_ = 0, widest_ = 0;
  int lines_ = 1;
};

}  // namespace

CGSize measure(std::string_view text, CGFloat pointSize, CGFloat maximumWidth, int numberOfLines) {
  LineBreaker breaker(numberOfLines == 1 ? CGFLOAT_MAX : maximumWidth);
  for (std::size_t at = 0; at < text.size();) {
    const char32_t character = nextCharacter(text, at);
    breaker.add(character, advanceOf(character) * pointSize);
  }
  breaker.finish();
  const int lines = numberOfLines > 0 ? std::min(breaker.lines(), numberOfLines) : breaker.lines();
  return {std::min(breaker.widest(), maximumWidth), lines * pointSize * kLineHeight};
}

}  // namespace tasklane::headless
