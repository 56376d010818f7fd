#include "delivery/vtodo/CalendarText.h"

#include <algorithm>
#include <utility>

#include "delivery/TaskTexts.h"
#include "foundation/base/UTF8.h"

namespace tasklane {

namespace {

constexpr std::size_t kLongestLine = 75;  // bytes, without the line break
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

char capital(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

/// The end of the part that begins at an offset: the next of the given characters that is not
/// quoted.
std::size_t endOfPart(std::string_view line, std::size_t at, std::string_view ends) {
  bool isQuoted = false;
  for (; at < line.size(); ++at) {
    if (line[at] == '"') isQuoted = !isQuoted;
    if (!isQuoted && ends.find(line[at]) != std::string_view::npos) break;
  }
  return at;
}

void readProperty(std::string_view line, CalendarText::Line& property) {
  const std::size_t name = line.find_first_of(":;");
  if (name == std::string_view::npos || name == 0) return;
  const std::size_t colon = line[name] == ':' ? name : endOfPart(line, name, ":");
  if (colon == line.size()) return;
  property.name = line.substr(0, name);
  property.parameters = line.substr(name, colon - name);
  property.value = line.substr(colon + 1);
}

/// Without its line break.
std::string_view content(std::string_view line) {
  if (line.ends_with('\n')) line.remove_suffix(1);
  while (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

NSError damaged(std::size_t line, const std::string& what) {
  return {NSError::Kind::Corrupt, "line " + std::to_string(line) + ": " + what};
}

}  // namespace

bool CalendarText::isSameName(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return capital(a) == capital(b); });
}

std::optional<std::string> CalendarText::Line::parameter(std::string_view wanted) const {
  for (std::size_t at = 0; at < parameters.size();) {
    const std::size_t behind = endOfPart(parameters, at + 1, ";");
    const std::string_view part = parameters.substr(at + 1, behind - at - 1);
    at = behind;
    const std::size_t equals = std::min(part.find('='), part.size());
    if (!isSameName(part.substr(0, equals), wanted)) continue;
    std::string text(part.substr(std::min(equals + 1, part.size())));
    std::erase(text, '"');
    return text;
  }
  return std::nullopt;
}

Result<CalendarText> CalendarText::parse(std::string text) {
  CalendarText calendar;
  calendar.text_ = std::make_unique<const std::string>(std::move(text));
  calendar.split();
  if (const auto found = calendar.findComponents(); !found) return found.error();
  return calendar;
}

/// A line that begins with a blank goes on with the one before it (a fold).
void CalendarText::split() {
  const std::string_view all = *text_;
  std::size_t at = all.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  lines_.reserve(24);
  while (at < all.size()) {
    Line line;
    line.begin = at;
    std::string_view whole;
    std::string* unfolded = nullptr;
    for (bool goesOn = true; goesOn;) {
      const std::size_t end = std::min(all.find('\n', at), all.size() - 1) + 1;
      const auto part = content(all.substr(at, end - at));
      const bool isFold = at != line.begin;
      if (isFold && !unfolded) unfolded = &unfolded_.emplace_front(whole);
      if (unfolded) {
        *unfolded += part.substr(1);
      } else {
        whole = part;
      }
      at = end;
      goesOn = at < all.size() && (all[at] == ' ' || all[at] == '\t');
    }
    line.end = at;
    readProperty(unfolded ? std::string_view(*unfolded) : whole, line);
    lines_.push_back(line);
  }
}

Result<void> CalendarText::findComponents() {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    const Line& line = lines_[i];
    if (line.is("BEGIN")) {
      if (open.empty() && !isSameName(line.value, "VCALENDAR"))
        return damaged(i + 1, "no VCALENDAR begins there");
      open.push_back(components_.size());
      components_.push_back({line.value, i, i, {}});
    } else if (line.is("END")) {
      if (open.empty()) return damaged(i + 1, "an END without a BEGIN");
      Component& ended = components_[open.back()];
      if (!isSameName(line.value, ended.name))
        return damaged(i + 1, "not the END of " + std::string(ended.name));
      ended.last = i;
      open.pop_back();
    } else if (!open.empty() && !line.name.empty()) {
      components_[open.back()].lines.push_back(i);
    }
  }
  if (!open.empty())
    return damaged(lines_.size(),
                   "the END of " + std::string(components_[open.back()].name) + " is missing");
  if (components_.empty()) return damaged(1, "there is no VCALENDAR");
  return {};
}

const CalendarText::Line* CalendarText::find(const Component& component,
                                             std::string_view name) const {
  const auto found = std::find_if(component.lines.begin(), component.lines.end(),
                                  [&](std::size_t number) { return lines_[number].is(name); });
  return found == component.lines.end() ? nullptr : &lines_[*found];
}

std::optional<std::string> CalendarText::value(const Component& component,
                                               std::string_view name) const {
  const Line* line = find(component, name);
  return line && !line->value.empty() ? std::optional<std::string>(line->value) : std::nullopt;
}

std::string_view CalendarText::textOf(const Component& component) const {
  const std::size_t begin = lines_[component.first].begin;
  return std::string_view(*text_).substr(begin, lines_[component.last].end - begin);
}

std::vector<std::string> CalendarText::plainTexts(std::string_view value) {
  std::vector<std::string> texts(1);
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == ',') {
      texts.emplace_back();
    } else if (value[i] == '\\' && i + 1 < value.size()) {
      const char c = value[++i];
      texts.back() += c == 'n' || c == 'N' ? '\n' : c;
    } else {
      texts.back() += value[i];
    }
  }
  return texts;
}

/// Some programs leave a comma without its escape, which is one all the same in a single text.
std::string CalendarText::plainText(std::string_view value) {
  std::string text;
  for (const auto& part : plainTexts(value)) text += part + ",";
  text.pop_back();
  return text;
}

std::string CalendarText::escapedText(std::string_view text) {
  std::string escaped;
  for (const char c : storable(text)) {
    if (c == '\\' || c == ';' || c == ',') escaped += '\\';
    if (c == '\n') {
      escaped += "\\n";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string CalendarText::storable(std::string_view text) {
  std::string storable;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == '\r') {
      if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
      storable += '\n';
    } else {
      const bool isControl = (c < ' ' && c != '\t' && c != '\n') || c == 0x7F;
      storable += isControl ? ' ' : text[i];
    }
  }
  return storable;
}

std::string CalendarText::utcText(NSDate moment) {
  return tasklane::utcText(moment, "%Y%m%dT%H%M%SZ");
}

/// No fold is within a character.
std::string CalendarText::folded(const std::string& line, std::string_view lineBreak) {
  std::string folded;
  std::size_t room = kLongestLine;
  for (std::size_t at = 0; at < line.size();) {
    const std::size_t length = utf8::characterAt(line, at).length;
    if (length > room) {
      folded.append(lineBreak).append(" ");
      room = kLongestLine - 1;
    }
    folded.append(line, at, length);
    room -= length;
    at += length;
  }
  return folded.append(lineBreak);
}

void CalendarEdit::set(std::string_view name, const std::string& value) {
  const CalendarText::Line* line = text_.find(component_, name);
  std::string head(line ? line->name : name);
  for (std::size_t at = 0; line && at < line->parameters.size();) {
    const std::size_t end = endOfPart(line->parameters, at + 1, ";");
    const std::string_view part = line->parameters.substr(at, end - at);
    const std::string_view known = part.substr(1, part.find('=') - 1);
    if (!CalendarText::isSameName(known, "TZID") && !CalendarText::isSameName(known, "VALUE"))
      head += part;
    at = end;
  }
  put(name, head + ":" + value);
}

void CalendarEdit::setValue(std::string_view name, const std::string& value) {
  const CalendarText::Line* line = text_.find(component_, name);
  put(name, (line ? std::string(line->name) + std::string(line->parameters) : std::string(name)) +
                ":" + value);
}

void CalendarEdit::put(std::string_view name, const std::string& line) {
  const std::size_t first = text_.lines()[component_.first].end;
  const bool isCRLF = first >= 2 && text_.text()[first - 2] == '\r';
  const std::string whole = CalendarText::folded(line, isCRLF ? "\r\n" : "\n");
  remove(name);
  if (const CalendarText::Line* old = text_.find(component_, name)) {
    replaced_[static_cast<std::size_t>(old - text_.lines().data())] = whole;
  } else {
    added_ += whole;
  }
}

void CalendarEdit::remove(std::string_view name) {
  for (const std::size_t number : component_.lines)
    if (text_.lines()[number].is(name)) replaced_[number].clear();
}

void CalendarEdit::remove(const CalendarText::Component& component) {
  for (std::size_t number = component.first; number <= component.last; ++number)
    replaced_[number].clear();
}

std::string CalendarEdit::text() const {
  const std::string& old = text_.text();
  const auto& lines = text_.lines();
  // What is added stands behind the component's own last property.
  const std::size_t lastOwn = component_.lines.empty() ? component_.first : component_.lines.back();
  std::string text = old.substr(0, lines.front().begin);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (const auto replaced = replaced_.find(i); replaced != replaced_.end()) {
      text += replaced->second;
    } else {
      text.append(old, lines[i].begin, lines[i].end - lines[i].begin);
    }
    if (i == lastOwn) text += added_;
  }
  return text;
}

}  // namespace tasklane
