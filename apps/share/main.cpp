// The extension process: one request, one sheet, one queue entry.
//
//   share [--request FILE]                        shows the sheet
//   share [--request FILE] --snapshot PNG [--scale N]   draws it, without a display
//
// The request is a JSON document, from standard input unless a file is named.

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "common/ShareRequest.h"
#include "foundation/NSExtensionContext.h"
#include "foundation/NSFileManager.h"
#include "foundation/NSLog.h"
#include "foundation/NSURL.h"
#include "share-sheet/ShareViewController.h"
#include "uikit/Backend.h"
#include "uikit/NSExtensionMain.h"

namespace tasklane {

namespace {

constexpr int kDone = 0, kUsage = 64, kBadData = 65, kMissingInput = 66, kWriteFailed = 74;
constexpr double kSmallestScale = 0.5, kLargestScale = 8;
constexpr const char* kUsageText =
    "share [--request FILE] [--snapshot PNG [--scale N]]; the request is a JSON document, from "
    "standard input unless a file is named.";

struct Arguments {
  std::optional<std::string> request, snapshot;
  double scale = 1;
};

/// None when the person has to be told how it is done.
std::optional<Arguments> parse(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; i += 2) {
    const std::string_view name = argv[i];
    if (i + 1 == argc) return {};
    const std::string value = argv[i + 1];
    if (name == "--request") {
      arguments.request = value;
    } else if (name == "--snapshot") {
      arguments.snapshot = value;
    } else if (name == "--scale") {
      char* end = nullptr;
      arguments.scale = std::strtod(value.c_str(), &end);
      if (*end || !(arguments.scale >= kSmallestScale && arguments.scale <= kLargestScale))
        return {};
    } else {
      return {};
    }
  }
  if (!arguments.request && ::isatty(STDIN_FILENO)) return {};
  return arguments;
}

int fail(int code, const std::string& sentence) {
  NSLog("share: " + sentence);
  return code;
}

int codeFor(const NSError& error) {
  switch (error.kind) {
    case NSError::Kind::FileNotFound:
    case NSError::Kind::NotPermitted:
    case NSError::Kind::Io:
      return kMissingInput;
    default:
      return kBadData;
  }
}

Result<std::vector<std::shared_ptr<NSExtensionItem>>> inputItems(const Arguments& arguments) {
  const std::string file = arguments.request.value_or("/dev/stdin");
  const auto document = NSFileManager::defaultManager().contentsAtPath(file);
  if (!document) return document.error();
  // Files are named from where the request lies; one that comes through a pipe lies here.
  const std::string place = arguments.request ? file : "x";
  const auto request = ShareRequest::requestFromJSON(
      document.value(), NSURL::fileURLWithPath(place).URLByDeletingLastPathComponent().path());
  if (!request) return request.error();
  return request.value().inputItems();
}

int run(int argc, char** argv) {
  const auto arguments = parse(argc, argv);
  if (!arguments) return fail(kUsage, kUsageText);
  auto items = inputItems(*arguments);
  if (!items)
    return fail(codeFor(items.error()),
                "the request cannot be used: " + items.error().description + ".");
  const auto context = std::make_shared<NSExtensionContext>(std::move(items).value());
  if (arguments->snapshot) ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  backend::start(argc, argv, "com.kestrelworks.Tasklane", [] {
    std::_Exit(fail(kUsage, "the display cannot be reached; --post saves without a window."));
  });
  ShareViewController::registerPrincipalClass();
  if (!arguments->snapshot) return NSExtensionMain(context);
  const auto drawn = NSExtensionSnapshot(context, *arguments->snapshot, arguments->scale);
  if (!drawn) return fail(kWriteFailed, drawn.error().description + ".");
  return kDone;
}

}  // namespace

}  // namespace tasklane

int main(int argc, char** argv) { return tasklane::run(argc, argv); }
