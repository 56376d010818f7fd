#include "delivery/DeliveryReceipts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "delivery/TaskTexts.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

using nlohmann::ordered_json;

namespace {

constexpr std::size_t kLargestFile = std::size_t{16} << 20;
/// What is kept when it has grown so large.
constexpr std::size_t kKept = std::size_t{4} << 20;

constexpr const char* kTimePattern = "%Y-%m-%dT%H:%M:%SZ";

std::string timeText(NSDate moment) { return utcText(moment, kTimePattern); }

NSDate timeOfText(const std::string& text) {
  return momentOfUTCText(text, kTimePattern).value_or(NSDate());
}

std::optional<ListContainer> containerAt(const ordered_json& object, const char* key) {
  if (!object.contains(key)) return std::nullopt;
  return ListContainer{object[key].value("id", ""), object[key].value("title", ""), std::nullopt};
}

/// Adds a text as JSON. Most texts stand in it as they are.
void addQuoted(std::string& line, const std::string& text) {
  const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && c < 0x7F && c != '"' && c != '\\';
  });
  line += isPlain ? '"' + text + '"'
                  : ordered_json(text).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

void addMember(std::string& line, const char* key, const std::string& text) {
  if (line.back() != '{') line += ',';
  addQuoted(line, key);
  line += ':';
  addQuoted(line, text);
}

void addContainer(std::string& line, const std::string& key,
                  const std::optional<ListContainer>& container) {
  if (!container) return;
  line += ",\"" + key + "\":{";
  addMember(line, "id", container->id);
  addMember(line, "title", container->title);
  line += '}';
}

/// The uuid comes first, so that a line's can be read without reading the line. Adds the line
/// without a tree of its values: ten thousand may have been delivered at once.
void addLine(std::string& text, const DeliveryReceipts::Receipt& receipt) {
  const auto& action = receipt.action;
  text += '{';
  addMember(text, "uuid", action.uuid);
  addMember(text, "type", receipt.type);
  addMember(text, "when", timeText(receipt.when));
  addMember(text, "destination", receipt.destination);
  addMember(text, "where", receipt.where);
  text += ",\"action\":{";
  addMember(text, "title", action.title);
  addMember(text, "moment", timeText(action.moment));
  if (!action.notes.empty()) addMember(text, "notes", action.notes);
  addContainer(text, "project", action.project);
  addContainer(text, "context", action.context);
  if (!action.attachments.empty())
    text += ",\"attachments\":" + ordered_json(action.attachments)
                                      .dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  text += "}}\n";
}

std::optional<DeliveryReceipts::Receipt> receiptOf(const std::string& text) {
  const auto line = ordered_json::parse(text, nullptr, false);
  if (!line.is_object() || !line.contains("action")) return std::nullopt;
  try {
    const auto& details = line["action"];
    DeliveryReceipts::Receipt receipt;
    receipt.type = line.value("type", "");
    receipt.when = timeOfText(line.value("when", ""));
    receipt.destination = line.value("destination", "");
    receipt.where = line.value("where", "");
    receipt.action.type = receipt.type == DeliveryReceipts::kNewTask
                              ? TLXExternalActionType::New
                              : TLXExternalActionType::Unknown;
    receipt.action.uuid = line.value("uuid", "");
    receipt.action.title = details.value("title", "");
    receipt.action.notes = details.value("notes", "");
    receipt.action.project = containerAt(details, "project");
    receipt.action.context = containerAt(details, "context");
    receipt.action.attachments = details.value("attachments", std::vector<std::string>());
    receipt.action.moment = timeOfText(details.value("moment", ""));
    return receipt;
  } catch (const ordered_json::exception&) {
    return std::nullopt;  // not one of ours
  }
}

}  // namespace

Result<const std::unordered_set<std::string>*> DeliveryReceipts::newTasks() {
  if (!NSFileManager::defaultManager().fileExistsAtPath(path_)) return &newTasks_;
  std::ifstream file(path_, std::ios::binary);
  file.seekg(0, std::ios::end);
  if (!file) return NSError::fromErrno(errno, "cannot read " + path_);
  const auto size = static_cast<std::size_t>(file.tellg());
  if (size < known_) {
    known_ = 0;
    newTasks_.clear();
  }
  file.seekg(static_cast<std::streamoff>(known_));
  for (std::string line; std::getline(file, line) && !file.eof(); known_ += line.size() + 1) {
    static constexpr std::string_view kStart = R"({"uuid":")";
    const std::size_t end = line.find('"', kStart.size());
    if (!line.starts_with(kStart) || end == std::string::npos) continue;
    if (line.compare(end, 14, R"(","type":"new")") != 0) continue;
    newTasks_.insert(line.substr(kStart.size(), end - kStart.size()));
  }
  if (file.bad()) return NSError::fromErrno(errno, "cannot read " + path_);
  return &newTasks_;
}

Result<std::vector<DeliveryReceipts::Receipt>> DeliveryReceipts::receipts(
    std::optional<std::size_t> newest) const {
  std::vector<Receipt> receipts;
  auto& manager = NSFileManager::defaultManager();
  if (!manager.fileExistsAtPath(path_)) return receipts;
  const auto text = manager.contentsAtPath(path_);
  if (!text) return text.error();
  std::vector<std::string> lines;
  std::size_t at = 0;
  for (std::size_t end; (end = text.value().find('\n', at)) != std::string::npos; at = end + 1)
    lines.push_back(text.value().substr(at, end - at));
  if (newest && lines.size() > *newest)
    lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(*newest));
  for (const auto& line : lines)
    if (auto receipt = receiptOf(line)) receipts.push_back(std::move(*receipt));
  return receipts;
}

std::vector<DeliveryAction> DeliveryReceipts::newTasksOfLast(std::chrono::seconds time,
                                                             const std::string& destination) const {
  std::vector<DeliveryAction> tasks;
  const NSDate now = Clock::now();
  const NSDate start = now - time;
  struct stat status {};
  if (::stat(path_.c_str(), &status) != 0 ||
      NSDate(NSTimeInterval(static_cast<double>(status.st_mtime))) < start)
    return tasks;
  const auto text = NSFileManager::defaultManager().contentsAtPath(path_);
  if (!text) return tasks;
  std::unordered_set<std::string> seen;
  std::string_view rest = text.value();
  while (!rest.empty()) {
    rest.remove_suffix(rest.ends_with('\n') ? 1 : 0);
    const std::size_t begin = rest.rfind('\n') + 1;
    auto receipt = receiptOf(std::string(rest.substr(begin)));
    rest = rest.substr(0, begin);
    if (!receipt) continue;
    if (receipt->when < start) break;
    // The newest one says how it is now, also one of a clock that was wrong.
    const bool isHere = receipt->destination == destination;
    const bool isKind = receipt->type == kNewTask || receipt->type == kTakenBack;
    const bool isNewest = isKind && seen.insert(receipt->action.uuid).second;
    if (isNewest && isHere && receipt->type == kNewTask && receipt->when <= now + time)
      tasks.push_back(std::move(receipt->action));
  }
  std::reverse(tasks.begin(), tasks.end());
  return tasks;
}

Result<void> DeliveryReceipts::flush() const {
  const FileDescriptor file = openFile(path_, O_RDONLY | O_NOFOLLOW);
  if (file ? ::fdatasync(file.get()) != 0 : errno != ENOENT)
    return NSError::fromErrno(errno, "cannot flush " + path_);
  return flushFolder(parentOfPath(path_));
}

Result<void> DeliveryReceipts::append(const std::vector<Receipt>& receipts) {
  std::string text;
  for (const auto& receipt : receipts) addLine(text, receipt);
  auto& manager = NSFileManager::defaultManager();
  struct stat status {};
  if (::stat(path_.c_str(), &status) == 0 &&
      static_cast<std::size_t>(status.st_size) > kLargestFile) {
    auto old = manager.contentsAtPath(path_);
    if (!old) return old.error();
    const std::size_t cut = old.value().find('\n', old.value().size() - kKept);
    const std::string kept = cut == std::string::npos ? "" : old.value().substr(cut + 1);
    return manager.writeToFileAtomically(path_, kept + text);
  }
  const FileDescriptor file = openFile(path_, O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW, 0600);
  if (!file) return NSError::fromErrno(errno, "cannot open " + path_);
  // A line that was cut off must not swallow the next one.
  char last = '\n';
  const off_t size = ::lseek(file.get(), 0, SEEK_END);
  if (size > 0 && ::pread(file.get(), &last, 1, size - 1) == 1 && last != '\n') text = "\n" + text;
  if (const int reason = writeAll(file.get(), text)) {
    [[maybe_unused]] const int cut = ::ftruncate(file.get(), size);
    return NSError::fromErrno(reason, "cannot write " + path_);
  }
  if (::fdatasync(file.get()) != 0) return NSError::fromErrno(errno, "cannot flush " + path_);
  return size > 0 ? Result<void>() : flushFolder(parentOfPath(path_));
}

}  // namespace tasklane
