#include "uikit/qt/DesktopSettings.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <memory>

namespace tasklane::qt {

DesktopSettings& DesktopSettings::shared() {
  // Never destroyed: an answer may come as long as the toolkit runs.
  static auto* settings = std::unique_ptr<DesktopSettings>(new DesktopSettings).release();
  return *settings;
}

DesktopSettings::DesktopSettings() {
  if (QGuiApplication::platformName() == QLatin1String("offscreen")) {
    wantsAnimations_ = false;  // nobody would see them
    return;
  }
  ask("org.gnome.desktop.interface", "enable-animations");
  ask("org.kde.kdeglobals.KDE", "AnimationDurationFactor");
}

/// Both settings are false or 0 where animations are turned off.
void DesktopSettings::ask(const char* group, const char* key) {
  auto question = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                                                 QStringLiteral("/org/freedesktop/portal/desktop"),
                                                 QStringLiteral("org.freedesktop.portal.Settings"),
                                                 QStringLiteral("Read"));
  question << QString::fromLatin1(group) << QString::fromLatin1(key);
  question.setAutoStartService(false);
  auto* answer =
      new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    answer->deleteLater();
    if (reply.isError()) return;
    QVariant value = reply.value().variant();
    // Some portals wrap the value twice.
    if (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
    if (value.canConvert<double>() && value.toDouble() == 0) wantsAnimations_ = false;
  });
}

}  // namespace tasklane::qt
