#pragma once

#include <cstddef>
#include <forward_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/dates/NSDate.h"

namespace tasklane {

/// An iCalendar text as its content lines and components (RFC 5545, 3.1 and 3.4), each with the
/// place where it stands, so that a few lines can be changed and every other byte be kept. Lines
/// that are no properties are kept and mean nothing.
class CalendarText {
 public:
  /// Names, and values that are names, are the same in capital and small letters.
  static bool isSameName(std::string_view one, std::string_view other);

  /// A property, without the folds of its line. Of a line that is none the name is empty.
  struct Line {
    std::string_view name;
    std::string_view parameters;  ///< each with the semicolon before it
    std::string_view value;       ///< as it stands there: see plainText()
    std::size_t begin = 0;        ///< in the text, to behind its line break
    std::size_t end = 0;

    bool is(std::string_view other) const { return isSameName(name, other); }
    /// The value of a parameter, without the quotation marks; the first of several.
    std::optional<std::string> parameter(std::string_view wanted) const;
  };

  struct Component {
    std::string_view name;
    std::size_t first = 0;           ///< the line of its BEGIN
    std::size_t last = 0;            ///< and of its END
    std::vector<std::size_t> lines;  ///< its own properties, not those of components within it

    bool is(std::string_view other) const { return isSameName(name, other); }
  };

  /// An error, with the number of a line, when components do not end in turn, or when the text is
  /// no VCALENDAR. Text with nothing but such calendars one after the other is read as one.
  static Result<CalendarText> parse(std::string text);

  const std::string& text() const { return *text_; }
  const std::vector<Line>& lines() const { return lines_; }
  /// In the order of their beginnings.
  const std::vector<Component>& components() const { return components_; }

  /// The first property of a name that a component has; a null pointer when it has none.
  const Line* find(const Component& component, std::string_view name) const;
  /// Its value, not empty.
  std::optional<std::string> value(const Component& component, std::string_view name) const;
  /// The text of a component as it stands there.
  std::string_view textOf(const Component& component) const;

  /// The value of a property of type TEXT without its escapes, and the values of one that is a
  /// list.
  static std::string plainText(std::string_view value);
  static std::vector<std::string> plainTexts(std::string_view value);
  /// The other way round. What no such value can hold becomes something else: see storable().
  static std::string escapedText(std::string_view text);
  /// What of a text a value can hold: line breaks of any kind as "\n", other control characters as
  /// blanks.
  static std::string storable(std::string_view text);
  /// A moment as a DATE-TIME in UTC.
  static std::string utcText(NSDate moment);
  /// A line of a text, folded where it is long, with its line break.
  static std::string folded(const std::string& line, std::string_view lineBreak = "\r\n");

 private:
  void split();
  Result<void> findComponents();

  // Lines look into these.
  std::unique_ptr<const std::string> text_;
  std::forward_list<std::string> unfolded_;
  std::vector<Line> lines_;
  std::vector<Component> components_;
};

/// Changes of one component of a text.
class CalendarEdit {
 public:
  /// Both outlive it.
  CalendarEdit(const CalendarText& text, const CalendarText::Component& component)
      : text_(text), component_(component) {}

  /// Gives a property a value, which needs no escapes, in the place of all that it has. Its
  /// parameters stay, but for those that would give the value another meaning (TZID, VALUE).
  void set(std::string_view name, const std::string& value);
  /// The same, with all parameters.
  void setValue(std::string_view name, const std::string& value);
  void remove(std::string_view name);
  /// Removes another component.
  void remove(const CalendarText::Component& component);

  /// The whole text with the changes.
  std::string text() const;

 private:
  void put(std::string_view name, const std::string& line);

  const CalendarText& text_;
  const CalendarText::Component& component_;
  std::map<std::size_t, std::string>
      replaced_;  // by the number of the line; whole lines or nothing
  std::string added_;
};

}  // namespace tasklane
