#include "uikit/qt/UpdateQueue.h"

#include <QApplication>
#include <QEvent>
#include <QInputMethod>
#include <QWidget>
#include <algorithm>
#include <utility>

#include "uikit/qt/ViewPeer.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::qt {

namespace {
// Layout may change views, and an applied change may ask for layout (a text that wraps anew). Views
// that never come to rest must not hang the program.
constexpr int kMaximumRounds = 16;

/// Where candidates are shown. Qt follows the editor's own moves, not those of what it stands on.
void tellInputMethodWhereTheEditorIs() {
  const QWidget* editor = QApplication::focusWidget();
  if (!editor || !editor->testAttribute(Qt::WA_InputMethodEnabled)) return;
  const QPoint place = editor->mapTo(editor->window(), QPoint());
  const QTransform transform = QTransform::fromTranslate(place.x(), place.y());
  QInputMethod* method = QGuiApplication::inputMethod();
  if (method->inputItemTransform() != transform) method->setInputItemTransform(transform);
}
}  // namespace

UpdateQueue& UpdateQueue::shared() {
  // Lives as long as the process: peers of windows that nobody closed still reach it at exit.
  static auto* queue = new UpdateQueue;
  return *queue;
}

void UpdateQueue::add(ViewPeer* peer) {
  changed_.push_back(peer);
  schedule();
}

void UpdateQueue::remove(ViewPeer* peer) {
  std::replace(changed_.begin(), changed_.end(), peer, static_cast<ViewPeer*>(nullptr));
}

void UpdateQueue::addWindow(UIWindow* window) {
  if (std::find(windows_.begin(), windows_.end(), window) == windows_.end())
    windows_.push_back(window);
  schedule();
}

void UpdateQueue::removeWindow(UIWindow* window) {
  std::replace(windows_.begin(), windows_.end(), window, static_cast<UIWindow*>(nullptr));
}

void UpdateQueue::schedule() {
  if (scheduled_) return;
  scheduled_ = true;
  QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

bool UpdateQueue::event(QEvent* event) {
  if (event->type() != QEvent::User) return QObject::event(event);
  flush();
  return true;
}

void UpdateQueue::flush() {
  if (std::exchange(flushing_, true)) return;
  scheduled_ = false;
  for (int round = 0; round < kMaximumRounds; ++round) {
    for (std::size_t i = 0; i < windows_.size(); ++i)
      if (windows_[i]) windows_[i]->layoutIfNeeded();
    if (changed_.empty()) break;
    // Peers may vanish and others may be added while this runs, so it goes by index.
    const std::size_t count = changed_.size();
    for (std::size_t i = 0; i < count; ++i)
      if (ViewPeer* peer = changed_[i]) peer->applyPendingChanges();
    changed_.erase(changed_.begin(), changed_.begin() + static_cast<std::ptrdiff_t>(count));
  }
  tellInputMethodWhereTheEditorIs();
  std::erase(windows_, nullptr);
  flushing_ = false;
  if (!changed_.empty()) schedule();
}

}  // namespace tasklane::qt
