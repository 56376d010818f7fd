#include "uikit/qt/Settings.h"

#include <QApplication>
#include <QFont>
#include <QLibraryInfo>
#include <QLocale>
#include <QScreen>
#include <QStyle>
#include <QTranslator>
#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

#include "uikit/Backend.h"

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

}  // namespace

CGFloat textSizeFactor() {
  double factor = 1;
  if (const char* asked = std::getenv("TASKLANE_TEXT_SIZE")) {
    bool isNumber = false;
    factor = QByteArray(asked).toDouble(&isNumber);
    if (!isNumber) factor = 1;
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
  const QStyle* style = QApplication::style();
  return QApplication::isEffectEnabled(Qt::UI_General) &&
         style->styleHint(QStyle::SH_Widget_Animation_Duration) > 0;
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
