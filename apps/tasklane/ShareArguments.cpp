#include "ShareArguments.h"

#include <cstdlib>
#include <map>

#include "Command.h"
#include "TasklaneAddress.h"
#include "common/LinkCleaning.h"
#include "common/SharedWords.h"
#include "foundation/base/NSLog.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

namespace {

Failure usage(const std::string& sentence) { return {ExitCode::Usage, sentence}; }

std::string absolutePath(const std::string& path) {
  return path.empty() ? path : NSURL::fileURLWithPath(path).path();
}

/// A sentence where a text is no scale of a picture, nothing where it is.
std::string isScale(const std::string& text) {
  constexpr double kSmallest = 0.5, kLargest = 8;
  char* end = nullptr;
  const double scale = std::strtod(text.c_str(), &end);
  const bool isWhole = !text.empty() && *end == '\0';
  if (isWhole && scale >= kSmallest && scale <= kLargest) return {};
  return "\"" + text + "\" is no number from 0.5 to 8";
}

bool isGiven(const CLI::Option& option) { return option.count() > 0; }

std::optional<std::string> textOf(const CLI::Option& option) {
  return isGiven(option) ? std::optional(option.results().front()) : std::nullopt;
}

}  // namespace

ShareArguments::ShareArguments(CLI::App& command) : command_(command) {
  command.add_option("WHAT", words_,
                     "Files, web addresses, or one address such as tasklane:add?title=...");
  title_ = addOrdered("--title", "The title of what is shared");
  text_ = addOrdered("--text", "Its text");
  url_ = addOrdered("--url", "A web address; may be repeated");
  page_ = addOrdered("--page", "A web page, by its address");
  selection_ = addOrdered("--selection", "What is selected on the page before");
  image_ = addOrdered("--image", "A picture file; may be repeated");
  file_ =
      addOrdered("--file", "A file; of one that is no picture nothing is taken; may be repeated");
  item_ = command.add_flag("--item")->description("Begins the next input item");
  command.add_option("--request", requestFile_, "A JSON request instead, from a file or - (stdin)")
      ->type_name("FILE");
  command.add_flag("--clipboard", copied_, "What was copied instead: text, link, picture, files");
  command.add_flag("--selection-clipboard", selected_,
                   "The text that is marked at present instead");
  auto* batch = command
                    .add_option("--batch", batchFile_,
                                "With --post: many items, from a file or - (stdin): a request or "
                                "an item as JSON on each line, or a list with bullets")
                    ->type_name("FILE");
  command
      .add_flag("--skip-bad-lines", skipsBadLines_,
                "Save a batch without the lines that cannot be used; otherwise nothing is saved")
      ->needs(batch);
  command.add_flag(
      "--clean-links", cleanLinks_,
      "Remove from addresses what only tells who follows them (utm_source, fbclid, …)");
  command.add_flag("--post", post_, "Save without showing the sheet");
  command.add_flag("--detach", detach_,
                   "Return as soon as all that is shared is in the hands of a process of its own");
  project_ = addText("--project", "With --post: the project, by its title");
  context_ = addText("--context", "With --post: the context, by its title");
  note_ = addText("--note", "With --post: the note, instead of the shared one");
  snapshot_ = addText("--snapshot", "Only draw the sheet into this PNG file");
  for (auto* const option : {image_, file_, snapshot_}) option->type_name("FILE");
  scale_ = addText("--scale", "Pixels per point of that picture, 0.5 to 8")
               ->needs(snapshot_)
               ->check(isScale);
}

CLI::Option* ShareArguments::addText(const std::string& name, const std::string& description) {
  return command_.add_option(name, description)->type_name("TEXT")->expected(1);
}

CLI::Option* ShareArguments::addOrdered(const std::string& name, const std::string& description) {
  return addText(name, description)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

ShareRequest ShareArguments::requestFromOptions() const {
  ShareRequest request;
  request.items.emplace_back();
  std::map<const CLI::Option*, std::size_t> used;
  bool afterPage = false;
  for (const CLI::Option* option : command_.parse_order()) {
    auto& item = request.items.back();
    const std::size_t number = used[option]++;
    const auto& results = option->results();
    const std::string value = number < results.size() ? results[number] : std::string();
    const auto attach = [&](ShareRequest::Representation representation) {
      item.attachments.push_back({std::move(representation)});
    };
    const auto setOnce = [&](std::optional<std::string>& text) {
      if (text)
        throw usage(option->get_name() +
                    " is given twice for one item; begin the next item with --item.");
      text = value;
    };
    if (option == title_) setOnce(item.title);
    if (option == text_) setOnce(item.text);
    if (option == url_) attach({kUTTypeURL, value, {}, {}, {}});
    if (option == image_) attach({kUTTypeImage, {}, absolutePath(value), {}, {}});
    if (option == file_) attach({kUTTypeFileURL, {}, absolutePath(value), {}, {}});
    if (option == page_ && !NSURL::URLWithString(value))
      throw Failure{ExitCode::BadData, "\"" + oneLine(value) +
                                           "\" is no absolute address of a page, such as "
                                           "https://example.org/; nothing was shared."};
    if (option == page_)
      attach({kUTTypePropertyList, {}, {}, {}, PropertyListDictionary{{"url", value}}});
    if (option == selection_) {
      if (!afterPage) throw usage("--selection belongs right after --page.");
      auto& page = item.attachments.back().back();
      auto entries = *page.results->dictionary();
      entries.set("selection", value);
      page.results = std::move(entries);
    }
    afterPage = option == page_;
    const bool isEmpty = !item.title && !item.text && item.attachments.empty();
    if (option == item_ && !isEmpty) request.items.emplace_back();
  }
  return request;
}

ShareRequest ShareArguments::requestFromWords() const {
  if (!isTasklaneAddress(words_.front())) {
    auto request = requestFromOptions();
    if (const auto added = addSharedWords(words_, request.items.back()); !added)
      throw Failure{exitCodeForInputError(added.error()),
                    "This cannot be shared: " + added.error().description + "."};
    return request;
  }
  if (words_.size() > 1) throw usage("A tasklane: address goes alone.");
  auto request = requestFromTasklaneAddress(words_.front());
  if (!request)
    throw Failure{exitCodeForInputError(request.error()),
                  "This tasklane: address cannot be used: " + request.error().description + "."};
  return std::move(request).value();
}

std::optional<ShareRequest::Clipboard> ShareArguments::clipboard() const {
  if (copied_) return ShareRequest::Clipboard::Copied;
  if (selected_) return ShareRequest::Clipboard::Selected;
  return std::nullopt;
}

void ShareArguments::check() const {
  const bool isAddress = !words_.empty() && isTasklaneAddress(words_.front());
  if (isAddress && post_) throw usage("A tasklane: address is never saved without the sheet.");
  for (const CLI::Option* option : {project_, context_, note_})
    if (isGiven(*option) && !post_) throw usage(option->get_name() + " goes only with --post.");
  if (isGiven(*snapshot_) && (post_ || clipboard()))
    throw usage("--snapshot does not go together with --post or a clipboard.");
  if (detach_ && (post_ || isGiven(*snapshot_)))
    throw usage("--detach goes neither with --post nor with --snapshot.");

  if (!batchFile_.empty() && !post_)
    throw usage("A batch is saved without showing the sheet; add --post.");
  if (!batchFile_.empty() && isGiven(*note_))
    throw usage("--note does not go together with --batch.");

  std::vector<std::string> wholes;  // what says all that is shared
  if (isAddress) wholes.emplace_back("a tasklane: address");
  if (!requestFile_.empty()) wholes.emplace_back("--request");
  if (copied_) wholes.emplace_back("--clipboard");
  if (selected_) wholes.emplace_back("--selection-clipboard");
  if (!batchFile_.empty()) wholes.emplace_back("--batch");
  if (wholes.empty()) return;
  const auto refuse = [&](const std::string& other) {
    throw usage(other + " does not go together with " + wholes.front() + ".");
  };
  if (wholes.size() > 1) refuse(wholes.back());
  for (const auto* option : {item_, title_, text_, url_, page_, selection_, image_, file_})
    if (isGiven(*option)) refuse(option->get_name());
  if (!words_.empty() && !isAddress) refuse(words_.front());
}

ShareRequest ShareArguments::request() const {
  ShareRequest request;
  if (!requestFile_.empty()) {
    request = requestFromFile(requestFile_);
  } else if (!clipboard()) {
    request = words_.empty() ? requestFromOptions() : requestFromWords();
    const bool isText = words_.empty() || isTasklaneAddress(words_.front());
    for (auto& item : request.items)
      if (isText) sortOutLink(item);
  } else {
    request.clipboard = clipboard();
  }
  request.cleanLinks |= cleanLinks_;
  if (request.clipboard && post_) request.items = requestFromClipboard(*request.clipboard).items;
  if (!request.clipboard || post_) clean(request);
  return request;
}

void ShareArguments::clean(ShareRequest& request) const {
  const auto news = request.cleanLinks || cleanLinks_ ? removeTracking(request) : std::string();
  if (!news.empty()) NSLog("tasklane: " + oneLine(news) + ".");
}

void ShareArguments::runBatch() const {
  auto batch = batchFromFile(batchFile_);
  for (auto& entry : batch.entries) clean(entry.request);
  requireContainer();
  postBatch(std::move(batch), skipsBadLines_ ? BadLines::Skip : BadLines::Refuse,
            {textOf(*project_), textOf(*context_), std::nullopt});
}

void ShareArguments::run() {
  if (!post_) readSheetAhead();
  check();
  if (!batchFile_.empty()) return runBatch();
  const auto shared = request();
  const auto items = shared.inputItems();
  if (!items)
    throw Failure{exitCodeForInputError(items.error()),
                  "This cannot be shared: " + items.error().description + "."};
  requireContainer();
  std::optional<SnapshotOptions> snapshot;
  if (const auto file = textOf(*snapshot_)) snapshot = {*file, textOf(*scale_)};
  if (detach_) return openSheetDetached(shared);
  if (!post_) openSheet(shared, snapshot);
  for (const auto& sentence : shared.warnings()) NSLog("tasklane: " + oneLine(sentence) + ".");
  postWithoutWindow(items.value(), {textOf(*project_), textOf(*context_), textOf(*note_)});
}

}  // namespace tasklane
