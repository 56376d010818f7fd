#pragma once

#include <QObject>
#include <QVariant>

namespace tasklane::qt {

/// What the person has set in the desktop and the toolkit does not pass on, asked of the desktop's
/// settings portal (org.freedesktop.portal.Settings). A portal that does not run is not started for
/// it. The answers come while the first window is being shown; until then, and without a portal,
/// the desktop has no wish.
class DesktopSettings : public QObject {
 public:
  /// Asks at the first call.
  static DesktopSettings& shared();

  /// Whether what moves may move: false where the person has turned animations off.
  bool wantsAnimations() const { return wantsAnimations_; }

 private:
  DesktopSettings();
  void ask(const char* group, const char* key);

  bool wantsAnimations_ = true;
};

}  // namespace tasklane::qt
