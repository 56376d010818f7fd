#pragma once

#include <QDeadlineTimer>
#include <QObject>

namespace tasklane::qt {

/// Keeps what a person presses to the screen that they saw when they did. For a double click's time
/// after one screen has taken another's place no press of a pointer or finger counts, and a key
/// that has been held down since before does not repeat into the new screen.
class PressGuard : public QObject {
 public:
  /// Watches the application's input from the first call, which must come after the application has
  /// been made.
  static PressGuard& shared();

  void screenDidChange();

 protected:
  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  PressGuard();
  bool isForTheFormerScreen(const QEvent& event);

  QDeadlineTimer untilPressesCount_{0};
  // In the display's clock, milliseconds: a busy process gets to hear of a press late.
  quint64 latestInput_ = 0, inputBeforeChange_ = 0;
  unsigned changes_ = 0, changesAtKeyPress_ = 0;
};

}  // namespace tasklane::qt
