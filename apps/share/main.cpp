// The extension process: one request, one sheet, one queue entry.
//
//   share [--request FILE]                        shows the sheet
//   share [--request FILE] --snapshot PNG [--scale N]   draws it, without a display
//   share --standby                     waits, started, for a request that somebody hands over
//   share --read copied|selected --picture-as PATH       prints what was copied as a request
//
// The request is a JSON document, from standard input unless a file is named.

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "ClipboardRequest.h"
#include "common/BackgroundDelivery.h"
#include "common/ExitCode.h"
#include "common/LinkCleaning.h"
#include "common/OutOfMemory.h"
#include "common/ShareRequest.h"
#include "common/Standby.h"
#include "foundation/base/NSLog.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/extension/NSExtensionContext.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/AttachmentSweep.h"
#include "uikit/base/Backend.h"
#include "uikit/compose-sheet/NSExtensionMain.h"

namespace tasklane {

namespace {

// The sheet is on the screen by then, and the person reads.
constexpr std::chrono::milliseconds kUntilNextIsStarted{250};
// Whoever shares again does it sooner; until then the memory is better used.
constexpr std::chrono::milliseconds kLongestStandby = std::chrono::hours(1);
constexpr double kSmallestScale = 0.5, kLargestScale = 8;
constexpr const char* kUsageText =
    "share [--request FILE] [--snapshot PNG [--scale N]], or share --standby, or share --read "
    "copied|selected --picture-as PATH; the request is a JSON document, from standard input unless "
    "a file is named.";

struct Arguments {
  std::optional<std::string> request, snapshot;
  double scale = 1;
  bool standsBy = false;
  std::optional<ShareRequest::Clipboard> read;
  std::string picturePath;
};

/// Whether the text names it.
bool readClipboardName(const std::string& name, std::optional<ShareRequest::Clipboard>& into) {
  if (name == "copied") into = ShareRequest::Clipboard::Copied;
  if (name == "selected") into = ShareRequest::Clipboard::Selected;
  return into.has_value();
}

/// None when the person has to be told how it is done.
std::optional<Arguments> parse(int argc, char** argv) {
  Arguments arguments;
  if (argc == 2 && std::string_view(argv[1]) == "--standby") {
    arguments.standsBy = true;
    return arguments;
  }
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
    } else if (name == "--picture-as") {
      arguments.picturePath = value;
    } else if (name != "--read" || !readClipboardName(value, arguments.read)) {
      return {};
    }
  }
  if (arguments.read) return arguments;
  if (!arguments.request && ::isatty(STDIN_FILENO)) return {};
  return arguments;
}

int fail(ExitCode code, const std::string& sentence) {
  NSLog("share: " + sentence);
  return static_cast<int>(code);
}

Result<ShareRequest> readRequest(const Arguments& arguments) {
  const std::string file = arguments.request.value_or("/dev/stdin");
  const auto document = NSFileManager::defaultManager().contentsOfInputAtPath(file);
  if (!document) return document.error();
  // Files are named from where the request lies; one that comes through a pipe lies here.
  const std::string place = arguments.request ? file : "x";
  return ShareRequest::requestFromJSON(
      document.value(), NSURL::fileURLWithPath(place).URLByDeletingLastPathComponent().path());
}

Result<std::vector<std::shared_ptr<NSExtensionItem>>> inputItems(const ShareRequest& request) {
  auto items = request.inputItems();
  if (items)
    for (const auto& sentence : request.warnings()) NSLog("share: " + sentence + ".");
  return items;
}

/// What is shared from the clipboard; the contents have to stay until it is loaded.
Result<std::vector<std::shared_ptr<NSExtensionItem>>> copiedItems(
    const UIPasteboardContents& contents, const ShareRequest& asked) {
  auto request = requestFromPasteboard(contents, *asked.clipboard);
  if (!request) return request.error();
  if (asked.cleanLinks)
    if (const auto news = removeTracking(request.value()); !news.empty())
      NSLog("share: " + news + ".");
  return inputItems(request.value());
}

/// One request on its way into the sheet.
struct Share {
  std::shared_ptr<NSExtensionContext> context;
  /// What the clipboard held, while it is needed.
  std::shared_ptr<const UIPasteboardContents> copied;
  /// Why it was nothing; with a context, the sheet was there first, and its request is cancelled.
  std::optional<NSError> fault;
};

int failOn(const Share& share) {
  const char* what = share.copied ? "" : "the request cannot be used: ";
  return fail(exitCodeForInputError(*share.fault), what + share.fault->description + ".");
}

/// The toolkit has been started where the request is taken from the clipboard.
std::shared_ptr<Share> beginShare(const Result<ShareRequest>& read) {
  auto share = std::make_shared<Share>();
  if (!read) {
    share->fault = read.error();
    return share;
  }
  const ShareRequest& request = read.value();
  if (!request.clipboard) {
    auto items = inputItems(request);
    if (items) {
      share->context = std::make_shared<NSExtensionContext>(std::move(items).value());
    } else {
      share->fault = items.error();
    }
    return share;
  }
  share->context = NSExtensionContext::makeAwaitingInput();
  backend::readPasteboard(pasteboardFor(*request.clipboard),
                          [share, request](const UIPasteboardContents& contents) {
                            share->copied = std::make_shared<UIPasteboardContents>(contents);
                            auto items = copiedItems(contents, request);
                            if (items) return share->context->giveInput(std::move(items).value());
                            share->fault = items.error();
                            share->context->cancelRequestWithError({NSError::Kind::Cancelled, {}});
                          });
  return share;
}

std::string programPath() { return NSBundle::mainBundle()->bundlePath() + "/share"; }

/// The toolkit goes on using argc.
void startToolkit(int& argc, char** argv) {
  backend::start(
      argc, argv, "com.kestrelworks.Tasklane",
      [] {
        std::_Exit(
            fail(ExitCode::Usage, "the display cannot be reached; --post saves without a window."));
      },
      NSExtensionDisplayLost);
  ShareViewController::registerPrincipalClass();
  ShareViewController::setSavedHandler(OutOfMemory::changeIsSaved);
}

/// Shows the sheet of a request until its end, and has a process started for the next one.
int runSheet(const std::shared_ptr<Share>& share, const standby::Environment& environment,
             int hangUp = -1) {
  bool isStarted = false;
  const auto startNext = [&] {
    if (!std::exchange(isStarted, true) && !backend::isAssistiveProgramConnected())
      standby::startProcess(programPath(), environment);
  };
  const auto soon = NSRunLoop::mainRunLoop().addTimer(kUntilNextIsStarted, startNext);
  const int code = NSExtensionMain(share->context, hangUp);
  startNext();
  return share->fault ? failOn(*share) : code;
}

void afterSheet(int code) {
  if (code == static_cast<int>(ExitCode::Done)) deliverInBackground();
  sweepAttachments();
}

/// Everything that can be done before there is a request; then waits for one.
int standBy(int& argc, char** argv, const standby::Environment& environment) {
  const auto listener = standby::Listener::make(programPath(), environment);
  if (!listener) return static_cast<int>(ExitCode::Done);
  startToolkit(argc, argv);
  NSExtensionRehearse();
  if (const auto open = listener->open(); !open)
    return fail(ExitCode::WriteFailed, open.error().description);

  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  auto call = standby::Listener::Call::Nobody;
  {
    const auto source = loop.addDescriptor(listener->fileDescriptor(), [&] {
      if (call == standby::Listener::Call::Nobody) call = listener->answer();
    });
    // An assistive program would find a program without a window in its list: its person's sheets
    // get processes of their own.
    loop.runUntil(
        [&] {
          return call != standby::Listener::Call::Nobody || backend::isAssistiveProgramConnected();
        },
        kLongestStandby);
  }
  if (call != standby::Listener::Call::Taken) return static_cast<int>(ExitCode::Done);

  const auto share = beginShare(readRequest({}));
  const int code = share->fault ? failOn(*share) : runSheet(share, environment, listener->caller());
  listener->finish(code);
  if (!share->fault) afterSheet(code);
  return code;
}

int draw(const Share& share, const Arguments& arguments) {
  const auto drawn = NSExtensionSnapshot(share.context, *arguments.snapshot, arguments.scale);
  if (!drawn) return fail(ExitCode::WriteFailed, drawn.error().description + ".");
  return static_cast<int>(ExitCode::Done);
}

int run(int argc, char** argv) {
  const auto environment = standby::currentEnvironment();
  const auto arguments = parse(argc, argv);
  if (!arguments) return fail(ExitCode::Usage, kUsageText);
  if (arguments->standsBy) return standBy(argc, argv, environment);
  if (arguments->read) {
    startToolkit(argc, argv);
    return printClipboardRequest(*arguments->read, arguments->picturePath);
  }
  const auto request = readRequest(*arguments);
  if (arguments->snapshot) ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
  // What is wrong with a request is found out sooner than that there is no display.
  const bool needsToolkit = request && request.value().clipboard;
  if (needsToolkit) startToolkit(argc, argv);
  const auto share = beginShare(request);
  if (share->fault) return failOn(*share);
  if (!needsToolkit) startToolkit(argc, argv);
  if (arguments->snapshot) return draw(*share, *arguments);
  const int code = runSheet(share, environment);
  afterSheet(code);
  return code;
}

}  // namespace

}  // namespace tasklane

int main(int argc, char** argv) {
  // A file that may not grow is an error of the write, not the end of the program.
  std::signal(SIGXFSZ, SIG_IGN);
  tasklane::OutOfMemory::endPlainly(
      "share: There is not enough memory; `tasklane queue` shows what was saved.\n");
  try {
    return tasklane::run(argc, argv);
  } catch (const std::system_error& error) {
    return static_cast<int>(tasklane::OutOfMemory::codeAfter("share", error));
  }
}
