#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tasklane {

/// The text as a person searches for it, without case and accents: Unicode full case folding of the
/// compatibility decomposition, where accents, points, tones and what is invisible are dropped, and
/// Latin letters that have no decomposition become the plain ones ("ø" "o", "ł" "l", "æ" "ae", "ı"
/// "i"). Marks that are letters themselves, such as the vowel signs of Indic scripts, stay. Invalid
/// UTF-8 folds to U+FFFD.
///
/// The fold of a text is that of its characters, one by one; a text of nothing but what is dropped
/// stays as it is. Folding is language-neutral and idempotent. Any thread.
std::string stringByFolding(std::string_view text);

/// A list of titles folded once and searched on every keystroke: the predicate "title CONTAINS[cd]
/// x". Immutable after construction; any thread.
class FoldedTitles {
 public:
  FoldedTitles() = default;
  /// One entry per title, in order; a missing title never matches.
  explicit FoldedTitles(const std::vector<std::optional<std::string_view>>& titles);

  std::size_t count() const { return count_; }
  /// The indices, ascending, of the titles that contain the text anywhere. An empty text matches
  /// every title that is not missing. One pass over the folded text, whatever the number of hits.
  std::vector<std::size_t> indicesContaining(std::string_view text) const;

 private:
  std::size_t count_ = 0;
  // Every title that is not missing, folded, each followed by a byte that no folded text holds.
  std::string folded_;
  struct Title {
    std::size_t index;  // among all titles
    std::size_t end;    // in folded_, of the title with its separator
  };
  std::vector<Title> titles_;
};

/// Byte range of the lines (with their terminators) that hold a byte range of the text, by the
/// platform's line terminators: LF, CR, CR LF, U+0085, U+2028, U+2029. Answers {start, length}.
std::pair<std::size_t, std::size_t> lineRangeForRange(std::string_view text, std::size_t start,
                                                      std::size_t length);

}  // namespace tasklane
