#include "uikit/qt/Pasteboard.h"

#include <sys/mman.h>
#include <unistd.h>

#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QEventLoop>
#include <QFile>
#include <QMimeData>
#include <QRegularExpression>
#include <QTextDocumentFragment>
#include <QTimer>
#include <QUrl>
#include <QWidget>
#include <QWindow>
#include <cerrno>
#include <chrono>
#include <memory>
#include <utility>

#include "foundation/base/FileDescriptor.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/Keyboard.h"
#include "uikit/views/UIViewController.h"

namespace tasklane::qt {

namespace {

/// As pictures are offered; those that lose nothing come first.
constexpr const char* kPictureTypes[] = {"image/png", "image/jpeg", "image/webp", "image/tiff",
                                         "image/gif", "image/bmp",  "image/heic", "image/avif"};
/// "copy" or "cut" on a line of its own, then file addresses: what some file managers offer alone.
constexpr const char* kCopiedFiles = "x-special/gnome-copied-files";
/// Address and title on two lines, in UTF-16 (Mozilla's drag and drop documentation).
constexpr const char* kTitledLinks = "text/x-moz-url";
/// What password managers mark a password with (KDE's clipboard heeds it).
constexpr const char* kSecretHint = "x-kde-passwordManagerHint";

QString utf16(const QByteArray& bytes) {
  return QString::fromUtf16(reinterpret_cast<const char16_t*>(bytes.constData()),
                            bytes.size() / qsizetype(sizeof(char16_t)));
}

bool isWebAddress(const QUrl& url) {
  return url.isValid() && (url.scheme() == "http" || url.scheme() == "https") &&
         !url.host().isEmpty();
}

/// An encoded address as it came: the toolkit's own form of it differs in characters.
void addAddress(const QByteArray& line, UIPasteboardContents& contents) {
  const QByteArray address = line.trimmed();
  if (address.isEmpty() || address.startsWith('#')) return;
  const QUrl url = QUrl::fromEncoded(address);
  if (url.isLocalFile()) {
    contents.files.push_back(QFile::encodeName(url.toLocalFile()).toStdString());
  } else if (url.isValid() && !url.scheme().isEmpty()) {
    contents.links.push_back({address.toStdString(), {}});
  }
}

void addAddresses(const QMimeData& data, UIPasteboardContents& contents) {
  const bool isList = data.hasFormat("text/uri-list");
  const auto lines = data.data(isList ? "text/uri-list" : kCopiedFiles).split('\n');
  for (qsizetype i = isList ? 0 : 1; i < lines.size(); ++i) addAddress(lines[i], contents);
}

/// A link's title, as browsers offer it; the toolkit hides their own type for titled links on X11.
void addTitle(const QMimeData& data, const QString& html, UIPasteboardContents& contents) {
  const auto titled = utf16(data.data(kTitledLinks)).split(u'\n');
  if (contents.links.empty()) addAddress(titled[0].trimmed().toUtf8(), contents);
  const QString text = data.text().trimmed();
  if (contents.links.empty() && !html.isEmpty() && isWebAddress(QUrl(text)))
    addAddress(text.toUtf8(), contents);
  if (contents.links.size() != 1) return;
  const QString shown = QTextDocumentFragment::fromHtml(html).toPlainText();
  const QString title = (titled.size() > 1 ? titled[1] : shown).simplified();
  if (title.toStdString() != contents.links[0].address)
    contents.links[0].title =
        QString(title).remove(QChar::ObjectReplacementCharacter).toStdString();
}

/// The page that something was copied from, as browsers tell it, each in its own way.
std::string sourceAddressOf(const QMimeData& data, const QString& html) {
  static const QRegularExpression header("^SourceURL:(\\S+)", QRegularExpression::MultilineOption);
  static const QRegularExpression base("<base\\s[^>]*href\\s*=\\s*[\"']([^\"']+)[\"']",
                                       QRegularExpression::CaseInsensitiveOption);
  const QString found[] = {QString::fromUtf8(data.data("chromium/x-source-url")),
                           utf16(data.data("text/x-moz-url-priv")), header.match(html).captured(1),
                           base.match(html).captured(1)};
  for (const QString& address : found) {
    const QString trimmed = QString(address).remove(QChar::Null).trimmed();
    if (isWebAddress(QUrl(trimmed))) return trimmed.toStdString();
  }
  return {};
}

/// The bytes become a file without a name, because a picture is decoded by another process, which
/// is given a file.
Result<std::shared_ptr<const EncodedImage>> imageOfBytes(const QByteArray& bytes) {
  const FileDescriptor file(::memfd_create("pasted-picture", MFD_CLOEXEC));
  for (qsizetype at = 0; file && at < bytes.size();) {
    const ssize_t count = ::write(file.get(), bytes.constData() + at, size_t(bytes.size() - at));
    if (count <= 0) return NSError::fromErrno(errno, "the picture cannot be kept");
    at += count;
  }
  if (!file) return NSError::fromErrno(errno, "the picture cannot be kept");
  return EncodedImage::imageWithContentsOfFile("/proc/self/fd/" + std::to_string(file.get()));
}

void addPicture(const QMimeData& data, Picture picture, UIPasteboardContents& contents) {
  for (const char* type : kPictureTypes) {
    if (!data.hasFormat(type)) continue;
    contents.hasPicture = true;
    if (picture == Picture::Skip) return;
    auto image = imageOfBytes(data.data(type));
    if (image) {
      contents.picture = std::move(image).value();
    } else {
      contents.pictureFault = image.error();
    }
    return;
  }
}

}  // namespace

UIPasteboardContents contentsOf(const QMimeData& data, Picture picture) {
  UIPasteboardContents contents;
  contents.isSecret = data.data(kSecretHint) == "secret";
  addAddresses(data, contents);
  const QString html = data.hasHtml() ? data.html() : QString();
  addTitle(data, html, contents);
  contents.sourceAddress = sourceAddressOf(data, html);
  QString text = data.hasText() ? data.text() : QString();
  // The toolkit makes a text of addresses where there is none.
  if (!data.hasFormat("text/plain") && (data.hasUrls() || !contents.files.empty())) text.clear();
  if (text.isEmpty() && !html.isEmpty()) text = QTextDocumentFragment::fromHtml(html).toPlainText();
  text.remove(QChar::Null).remove(QChar::ObjectReplacementCharacter);
  text.replace("\r\n", "\n");
  contents.text = text.trimmed().isEmpty() ? std::string() : text.toStdString();
  addPicture(data, picture, contents);
  return contents;
}

bool isMoreThanText(const UIPasteboardContents& contents) {
  return !contents.files.empty() || !contents.links.empty() ||
         (contents.hasPicture && contents.text.empty());
}

bool screenTakes(const QMimeData& data, UIView& into) {
  const auto contents = contentsOf(data, Picture::Skip);
  for (const auto& controller : controllersAbove(into))
    if (controller->canPaste(contents)) return true;
  return false;
}

bool giveToScreen(const QMimeData& data, UIView& into) {
  const auto keep = into.shared_from_this();
  const auto contents = contentsOf(data, Picture::Load);
  for (const auto& controller : controllersAbove(into))
    if (controller->canPaste(contents)) {
      controller->paste(contents);
      return true;
    }
  return false;
}

void offerDrop(QDropEvent& event, UIView& over) {
  event.setDropAction(Qt::CopyAction);
  event.setAccepted(event.possibleActions().testFlag(Qt::CopyAction) &&
                    screenTakes(*event.mimeData(), over));
}

void takeDrop(QDropEvent& event, UIView& into) {
  event.setDropAction(Qt::CopyAction);
  event.setAccepted(giveToScreen(*event.mimeData(), into));
}

}  // namespace tasklane::qt

namespace tasklane::backend {

namespace {

constexpr std::chrono::seconds kLongestWaitForTheKeyboard{5};

/// On Wayland a program is told of what was copied just before it gets the keyboard.
bool isToldToEverybody() {
  return !QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

UIPasteboardContents read(UIPasteboard pasteboard) {
  const QMimeData* data = QGuiApplication::clipboard()->mimeData(
      pasteboard == UIPasteboard::General ? QClipboard::Clipboard : QClipboard::Selection);
  return data ? qt::contentsOf(*data, qt::Picture::Load) : UIPasteboardContents{};
}

}  // namespace

void readPasteboard(UIPasteboard pasteboard,
                    std::function<void(const UIPasteboardContents&)> handler) {
  if (isToldToEverybody() || QGuiApplication::focusWindow()) return handler(read(pasteboard));
  const auto connection = std::make_shared<QMetaObject::Connection>();
  *connection =
      QObject::connect(qApp, &QGuiApplication::focusWindowChanged, qApp,
                       [pasteboard, handler = std::move(handler), connection](QWindow* window) {
                         if (!window) return;
                         const auto call = handler;
                         QObject::disconnect(*connection);
                         call(read(pasteboard));
                       });
}

std::optional<UIPasteboardContents> waitForPasteboard(UIPasteboard pasteboard) {
  std::optional<UIPasteboardContents> found;
  QEventLoop loop;
  readPasteboard(pasteboard, [&](const UIPasteboardContents& contents) {
    found = contents;
    loop.quit();
  });
  if (found) return found;
  // A window as small as can be, for the keyboard's sake.
  QWidget window(nullptr, Qt::Dialog | Qt::FramelessWindowHint);
  window.setAttribute(Qt::WA_TranslucentBackground);
  window.resize(1, 1);
  QTimer::singleShot(kLongestWaitForTheKeyboard, &loop, &QEventLoop::quit);
  window.show();
  loop.exec();
  return found;
}

}  // namespace tasklane::backend
