#include "delivery/todo-txt/TodoTxtLine.h"

#include <algorithm>
#include <array>

namespace tasklane {

namespace {

constexpr std::size_t kDateLength = 10;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// "YYYY-MM-DD" and a blank, or the end.
bool beginsWithDate(std::string_view text) {
  constexpr std::string_view kShape = "dddd-dd-dd";
  if (text.size() < kDateLength || (text.size() > kDateLength && text[kDateLength] != ' '))
    return false;
  for (std::size_t i = 0; i < kDateLength; ++i)
    if (kShape[i] == 'd' ? !isDigit(text[i]) : text[i] != '-') return false;
  return true;
}

bool beginsWithPriority(std::string_view text) {
  return text.size() >= 4 && text[0] == '(' && text[1] >= 'A' && text[1] <= 'Z' && text[2] == ')' &&
         text[3] == ' ';
}

/// The keys that this program writes or reads itself, which are no part of a title.
constexpr std::array<std::string_view, 10> kOwnKeys{"due", "t",    "rec",  "pri",  "h",
                                                    "id",  "star", "uuid", "note", "p"};

std::string_view keyOf(std::string_view word) {
  return TodoTxtLine::isKeyAndValue(word) ? word.substr(0, word.find(':')) : std::string_view();
}

std::string joined(const std::vector<std::string_view>& words) {
  std::string text;
  for (const auto word : words) {
    if (!text.empty()) text += ' ';
    text += word;
  }
  return text;
}

}  // namespace

/// What stands before a line's words, and where they begin.
struct TodoTxtLine::Start {
  bool completed = false;
  std::optional<char> priority;
  std::array<std::string_view, 2> dates;  // in the line's order; empty where there is none
  std::size_t end = 0;
};

TodoTxtLine::Start TodoTxtLine::start() const {
  Start start;
  std::string_view rest = text_;
  const auto pass = [&](std::size_t count) {
    rest.remove_prefix(std::min(count, rest.size()));
    start.end = text_.size() - rest.size();
  };
  if (rest.starts_with("x ")) {
    start.completed = true;
    pass(2);
  } else if (beginsWithPriority(rest)) {
    start.priority = rest[1];
    pass(4);
  }
  const std::size_t most = start.completed ? 2 : 1;
  for (std::size_t i = 0; i < most && beginsWithDate(rest); ++i) {
    start.dates[i] = rest.substr(0, kDateLength);
    pass(kDateLength + 1);
  }
  return start;
}

std::vector<std::string_view> TodoTxtLine::words() const {
  std::vector<std::string_view> words;
  std::string_view rest = text_;
  rest.remove_prefix(start().end);
  while (!rest.empty()) {
    std::size_t end = 0;
    while (end < rest.size() && rest[end] != ' ' && rest[end] != '\t') ++end;
    if (end > 0) words.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  // A carriage return at the end belongs to the line break, not to the last word.
  if (!words.empty() && words.back().ends_with('\r')) words.back().remove_suffix(1);
  return words;
}

bool TodoTxtLine::isBlank() const { return text_.find_first_not_of(" \t\r") == std::string::npos; }

bool TodoTxtLine::isCompleted() const { return start().completed; }

std::optional<char> TodoTxtLine::priority() const {
  const Start start = this->start();
  if (!start.completed) return start.priority;
  const auto kept = value("pri");
  return kept && kept->size() == 1 && (*kept)[0] >= 'A' && (*kept)[0] <= 'Z'
             ? std::optional((*kept)[0])
             : std::nullopt;
}

bool TodoTxtLine::isProjectOrContext(std::string_view word) {
  return word.size() > 1 && (word.front() == '+' || word.front() == '@');
}

bool TodoTxtLine::isKeyAndValue(std::string_view word) {
  const std::size_t colon = word.find(':');
  return colon != std::string_view::npos && colon > 0 && colon + 1 < word.size() &&
         word.find(':', colon + 1) == std::string_view::npos &&
         !word.substr(colon + 1).starts_with("//");
}

std::vector<std::string> TodoTxtLine::namesAfter(char sign) const {
  std::vector<std::string> names;
  if (text_.find(sign) == std::string::npos) return names;
  for (const auto word : words())
    if (isProjectOrContext(word) && word.front() == sign) names.emplace_back(word.substr(1));
  return names;
}

/// Looks for the key from the end on, instead of taking the line apart.
std::optional<std::string> TodoTxtLine::value(std::string_view key) const {
  const std::string_view text = text_;
  const std::size_t first = start().end;
  const auto isBlankAt = [&](std::size_t at) { return text[at] == ' ' || text[at] == '\t'; };
  for (std::size_t at = text.size(); at > first;) {
    at = text.rfind(':', at - 1);
    if (at == std::string_view::npos || at < first + key.size()) break;
    const std::size_t begin = at - key.size();
    if (text.substr(begin, key.size()) != key || (begin > first && !isBlankAt(begin - 1))) continue;
    auto word = text.substr(begin, std::min(text.find_first_of(" \t", begin), text.size()) - begin);
    const bool isLast = text.find_first_not_of(" \t", begin + word.size()) == text.npos;
    if (isLast && word.ends_with('\r')) word.remove_suffix(1);
    if (isKeyAndValue(word)) return std::string(word.substr(key.size() + 1));
  }
  return std::nullopt;
}

std::optional<std::string> TodoTxtLine::completionDate() const {
  const Start start = this->start();
  return start.completed && !start.dates[0].empty() ? std::optional(std::string(start.dates[0]))
                                                    : std::nullopt;
}

std::string TodoTxtLine::title() const {
  auto words = this->words();
  std::erase_if(words, [](std::string_view word) {
    return isProjectOrContext(word) ||
           std::find(kOwnKeys.begin(), kOwnKeys.end(), keyOf(word)) != kOwnKeys.end();
  });
  return joined(words);
}

std::string TodoTxtLine::identityText() const {
  auto words = this->words();
  std::erase_if(words, [](std::string_view word) {
    const auto key = keyOf(word);
    return key == "pri" || key == "star";
  });
  return joined(words);
}

void TodoTxtLine::complete(const std::string& date) {
  const Start start = this->start();
  if (start.completed) return;
  const std::string creation(start.dates[0]);
  text_ = "x " + date + " " + (creation.empty() ? "" : creation + " ") + text_.substr(start.end);
  if (start.priority) addWord(std::string("pri:") + *start.priority);
}

void TodoTxtLine::uncomplete() {
  const Start start = this->start();
  if (!start.completed) return;
  const auto kept = priority();
  // Of one date alone nobody knows whether it is that of the creation; the rules say it is not.
  const std::string creation(start.dates[1]);
  text_ = (creation.empty() ? "" : creation + " ") + text_.substr(start.end);
  if (!kept) return;
  text_ = std::string("(") + *kept + ") " + text_;
  removeWord(std::string("pri:") + *kept);
}

void TodoTxtLine::flag() {
  if (isFlagged()) return;
  if (!isCompleted() && !priority()) {
    text_ = "(A) " + text_;
  } else {
    addWord("star:1");
  }
}

void TodoTxtLine::unflag() {
  removeWord("star:1");
  if (priority() != 'A') return;
  if (isCompleted()) {
    removeWord("pri:A");
  } else {
    text_.erase(0, 4);
  }
}

void TodoTxtLine::removeWord(std::string_view word) {
  const auto words = this->words();
  const auto found = std::find(words.rbegin(), words.rend(), word);
  if (found == words.rend()) return;
  auto at = static_cast<std::size_t>(found->data() - text_.data());
  std::size_t count = word.size();
  // With the blank that set it apart.
  if (at > 0 && text_[at - 1] == ' ') {
    --at;
    ++count;
  }
  text_.erase(at, count);
}

void TodoTxtLine::addWord(const std::string& word) {
  const bool hasReturn = text_.ends_with('\r');
  text_.insert(text_.size() - (hasReturn ? 1 : 0), " " + word);
}

}  // namespace tasklane
