#include "uikit/qt/PressGuard.h"

#include <QApplication>
#include <QInputEvent>
#include <QKeyEvent>
#include <memory>

namespace tasklane::qt {

PressGuard& PressGuard::shared() {
  // Never destroyed: the application that it watches is not either.
  static auto* guard = std::unique_ptr<PressGuard>(new PressGuard).release();
  return *guard;
}

PressGuard::PressGuard() { qApp->installEventFilter(this); }

void PressGuard::screenDidChange() {
  ++changes_;
  inputBeforeChange_ = latestInput_;
  untilPressesCount_.setRemainingTime(QApplication::doubleClickInterval());
}

bool PressGuard::isForTheFormerScreen(const QEvent& event) {
  const auto interval = static_cast<quint64>(QApplication::doubleClickInterval());
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: {
      const quint64 moment = static_cast<const QInputEvent&>(event).timestamp();
      return !untilPressesCount_.hasExpired() ||
             (inputBeforeChange_ != 0 && moment - inputBeforeChange_ < interval);
    }
    case QEvent::KeyPress:
      if (static_cast<const QKeyEvent&>(event).isAutoRepeat())
        return changesAtKeyPress_ != changes_;
      changesAtKeyPress_ = changes_;
      return false;
    default:
      return false;
  }
}

bool PressGuard::eventFilter(QObject* receiver, QEvent* event) {
  // Windows hear of input before their widgets; a press that stops there moves no focus either.
  if (!receiver->isWindowType() && !receiver->isWidgetType()) return false;
  if (!event->isInputEvent() || QApplication::activePopupWidget()) return false;
  const bool stops = isForTheFormerScreen(*event);
  latestInput_ = static_cast<QInputEvent*>(event)->timestamp();
  return stops;
}

}  // namespace tasklane::qt
