#include "ShareBatch.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace tasklane {

namespace {

using nlohmann::json;

constexpr std::size_t kTabWidth = 4;
constexpr std::string_view kBlanks = " \t\r";

struct Bullet {
  std::string_view text;
  bool isDone = false;
};

/// What stands behind a bullet and its box; none without a bullet.
std::optional<Bullet> bulletOf(std::string_view line) {
  constexpr std::string_view kMarks[] = {"-", "*", "+", "•"};
  std::size_t length = 0;
  for (const auto mark : kMarks)
    if (line.starts_with(mark)) length = mark.size();
  if (length == 0) {
    const auto digits = line.find_first_not_of("0123456789");
    if (digits == 0 || digits == line.npos || (line[digits] != '.' && line[digits] != ')'))
      return {};
    length = digits + 1;
  }
  line.remove_prefix(length);
  if (!line.empty() && kBlanks.find(line.front()) == kBlanks.npos) return {};
  Bullet bullet;
  line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  const bool hasBox = line.size() >= 3 && line[0] == '[' && line[2] == ']' &&
                      (line.size() == 3 || kBlanks.find(line[3]) != kBlanks.npos);
  if (hasBox && (line[1] == ' ' || line[1] == 'x' || line[1] == 'X')) {
    bullet.isDone = line[1] != ' ';
    line.remove_prefix(3);
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
  }
  bullet.text = line;
  return bullet;
}

/// Reads a list line by line.
class ListReader {
 public:
  explicit ListReader(ShareBatch& batch) : batch_(batch) {}

  void read(std::size_t number, std::string_view line) {
    const std::size_t indentation = indent(line);
    const auto bullet = bulletOf(line);
    if (!bullet) return readNote(number, indentation, line);
    while (!above_.empty() && above_.back().first >= indentation) above_.pop_back();
    notesOwner_ = nullptr;
    if (bullet->text.empty()) {
      batch_.badLines.push_back({number, "it has a bullet and no text"});
      return;
    }
    if (bullet->isDone) {
      batch_.doneLines.push_back(number);
      isBelowDone_ = true;
    } else {
      add(number, std::string(bullet->text));
    }
    above_.emplace_back(indentation, bullet->text);
  }

 private:
  /// Takes the blanks from the line's start and answers their columns.
  static std::size_t indent(std::string_view& line) {
    std::size_t column = 0;
    for (; !line.empty() && (line.front() == ' ' || line.front() == '\t'); line.remove_prefix(1))
      column += line.front() == '\t' ? kTabWidth - column % kTabWidth : 1;
    return column;
  }

  void add(std::size_t number, std::string title) {
    ShareRequest request;
    auto& item = request.items.emplace_back();
    item.title = std::move(title);
    for (const auto& [column, text] : above_)
      item.text = (item.text ? *item.text + " › " : std::string()) + std::string(text);
    batch_.entries.push_back({number, std::move(request)});
    notesOwner_ = &batch_.entries.back().request.items.front();
    isBelowDone_ = false;
  }

  void readNote(std::size_t number, std::size_t indentation, std::string_view line) {
    if (isBelowDone_ && indentation > 0) return;
    // Only the last entry is ever added to, so the pointer holds.
    if (notesOwner_ && indentation > 0) {
      auto& text = notesOwner_->text;
      text = (text ? *text + "\n" : std::string()) + std::string(line);
      return;
    }
    batch_.badLines.push_back({number, "it begins with no bullet, such as \"- \""});
  }

  ShareBatch& batch_;
  std::vector<std::pair<std::size_t, std::string_view>> above_;
  ShareRequest::Item* notesOwner_ = nullptr;
  bool isBelowDone_ = false;
};

Result<ShareRequest> requestOfLine(std::string_view line, const std::string& folder) {
  const auto document = json::parse(line, nullptr, false);
  const bool isItem = document.is_object() && !document.contains("items");
  auto request = ShareRequest::requestFromJSON(
      isItem ? "{\"items\":[" + std::string(line) + "]}" : std::string(line), folder);
  if (request && request.value().clipboard)
    return NSError{NSError::Kind::Corrupt, "what is on a clipboard cannot be one of many"};
  return request;
}

}  // namespace

ShareBatch ShareBatch::fromText(std::string_view text, const std::string& folder) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  ShareBatch batch;
  ListReader list(batch);
  const auto first = text.find_first_not_of(" \t\r\n");
  const bool isJSON = first != text.npos && text[first] == '{';
  for (std::size_t number = 1; !text.empty(); ++number) {
    auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const auto last = line.find_last_not_of(kBlanks);
    if (last == line.npos) continue;
    line = line.substr(0, last + 1);
    if (!isJSON) {
      list.read(number, line);
    } else if (auto request = requestOfLine(line, folder)) {
      batch.entries.push_back({number, std::move(request).value()});
    } else {
      batch.badLines.push_back({number, request.error().description});
    }
  }
  return batch;
}

}  // namespace tasklane
