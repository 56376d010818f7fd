#include "uikit/qt/Settings.h"

#include <QApplication>
#include <QFont>
#include <QLibraryInfo>
#include <QLocale>
#include <QScreen>
#include <QTranslator>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "foundation/base/NSLog.h"
#include "uikit/base/Backend.h"
#include "uikit/qt/DesktopSettings.h"

namespace tasklane::backend {

namespace {

// Desktops that have never been touched set 9, 10 or 11 points; only beyond these is a wish.
constexpr double kSmallestUsualPoints = 9, kLargestUsualPoints = 11;
constexpr double kSmallestFactor = 0.8, kLargestFactor = 2;

CGFloat overriddenScale = 0;

/// As the desktop set it, before start() gives all widgets the body font.
double desktopFontPoints() {
  static const double points = QGuiApplication::font().pointSizeF();
  return points;
}

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

/// The first of the person's languages, as gettext finds it.
std::string userLanguage() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (!isSet(variable)) continue;
    const std::string locale = std::getenv(variable);
    const bool isNone = locale == "C" || locale == "POSIX" || locale.rfind("C.", 0) == 0;
    if (!isNone && isSet("LANGUAGE")) return std::getenv("LANGUAGE");
    return locale;
  }
  return isSet("LANGUAGE") ? std::getenv("LANGUAGE") : "";
}

/// TASKLANE_TEXT_SIZE; none where it is not set, or is no size.
std::optional<double> askedTextSize() {
  if (!isSet("TASKLANE_TEXT_SIZE")) return {};
  const QByteArray asked = std::getenv("TASKLANE_TEXT_SIZE");
  bool isNumber = false;
  const double factor = asked.toDouble(&isNumber);
  if (isNumber && std::isfinite(factor) && factor > 0) return factor;
  NSLog("TASKLANE_TEXT_SIZE is \"" + asked.toStdString() +
        "\", which is no size of text; set it to a number from 0.8 to 2. The desktop's own is "
        "used.");
  return {};
}

}  // namespace

CGFloat textSizeFactor() {
  double factor = 1;
  static const std::optional<double> asked = askedTextSize();
  if (asked) {
    factor = *asked;
  } else if (const double points = desktopFontPoints(); points > 0) {
    if (points < kSmallestUsualPoints) factor = points / kSmallestUsualPoints;
    if (points > kLargestUsualPoints) factor = points / kLargestUsualPoints;
  }
  return std::clamp(factor, kSmallestFactor, kLargestFactor);
}

CGSize mainScreenSize() {
  const QScreen* screen = QGuiApplication::primaryScreen();
  if (!screen) return {};
  return {double(screen->size().width()), double(screen->size().height())};
}

CGFloat mainScreenScale() {
  if (overriddenScale > 0) return overriddenScale;
  const QScreen* screen = QGuiApplication::primaryScreen();
  return screen ? screen->devicePixelRatio() : 1;
}

void overrideMainScreenScale(CGFloat scale) { overriddenScale = scale; }

UIUserInterfaceLayoutDirection layoutDirection() {
  const std::string language = userLanguage().substr(0, 2);
  for (const char* rightToLeft : {"ar", "he", "iw", "fa", "ur"})
    if (language == rightToLeft) return UIUserInterfaceLayoutDirection::RightToLeft;
  return UIUserInterfaceLayoutDirection::LeftToRight;
}

bool animationsEnabled() {
  if (const char* asked = std::getenv("TASKLANE_ANIMATIONS")) return std::string_view(asked) != "0";
  return qt::DesktopSettings::shared().wantsAnimations();
}

}  // namespace tasklane::backend

namespace tasklane::qt {

ScaleForPicture::ScaleForPicture(double scale)
    : before_(std::exchange(backend::overriddenScale, scale)) {}

void translateToolkit() {
  static const bool translated = [] {
    auto* translator = new QTranslator(qApp);
    return translator->load(QLocale::system(), QStringLiteral("qtbase"), QStringLiteral("_"),
                            QLibraryInfo::path(QLibraryInfo::TranslationsPath)) &&
           QCoreApplication::installTranslator(translator);
  }();
  (void)translated;
}

ScaleForPicture::~ScaleForPicture() { backend::overriddenScale = before_; }

}  // namespace tasklane::qt
