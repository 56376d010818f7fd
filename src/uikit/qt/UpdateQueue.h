#pragma once

#include <QObject>
#include <memory>
#include <vector>

namespace tasklane {
class UIWindow;
}

namespace tasklane::qt {

class ViewPeer;

/// Brings widgets up to date once a turn of the loop, however often their views have changed: first
/// every shown window lays out, then each changed peer applies its view's state. Main thread.
class UpdateQueue : public QObject {
 public:
  static UpdateQueue& shared();

  void add(ViewPeer* peer);
  void remove(ViewPeer* peer);
  /// Windows on the screen; both lists are short and hold peers only as long as they live.
  void addWindow(UIWindow* window);
  void removeWindow(UIWindow* window);

  /// Applies everything now. A call from within one does nothing.
  void flush();

 protected:
  bool event(QEvent* event) override;

 private:
  UpdateQueue() = default;
  void schedule();

  std::vector<ViewPeer*> changed_;
  std::vector<UIWindow*> windows_;
  bool scheduled_ = false, flushing_ = false;
};

}  // namespace tasklane::qt
