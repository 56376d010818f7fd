// A program that others take from, for tests:
//   offer copied|selected TYPE=FILE…    owns the clipboard, or what is marked, with the files'
//   contents as these types offer dragged TYPE=FILE…            shows a window from which they can
//   be dragged, as a copy or a move
// It prints a line when it is ready, when a drag begins and when somebody would take it, and
// "moved", "copied" or "refused" after it.

#include <QApplication>
#include <QClipboard>
#include <QDrag>
#include <QFile>
#include <QMimeData>
#include <QMouseEvent>
#include <QWidget>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

QMimeData* offered() {
  auto* data = new QMimeData;
  const auto arguments = QCoreApplication::arguments().mid(2);
  for (const QString& argument : arguments) {
    QFile file(argument.section('=', 1));
    if (!file.open(QIODevice::ReadOnly)) std::abort();
    data->setData(argument.section('=', 0, 0), file.readAll());
  }
  return data;
}

void say(const char* word) {
  std::puts(word);
  std::fflush(stdout);
}

class Source : public QWidget {
 protected:
  void mousePressEvent(QMouseEvent*) override {
    auto* drag = new QDrag(this);
    drag->setMimeData(offered());
    connect(drag, &QDrag::actionChanged, this, [](Qt::DropAction to) {
      if (to != Qt::IgnoreAction) say("accepted");
    });
    say("dragging");
    const auto action = drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::CopyAction);
    say(action == Qt::MoveAction ? "moved" : action == Qt::CopyAction ? "copied" : "refused");
  }
  void paintEvent(QPaintEvent*) override {
    if (!std::exchange(isReady_, true)) say("ready");
  }

 private:
  bool isReady_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const QString way = application.arguments().value(1);
  Source source;
  if (way == "dragged") {
    source.setWindowTitle("Source");
    source.resize(160, 160);
    source.show();
  } else {
    QGuiApplication::clipboard()->setMimeData(
        offered(), way == "copied" ? QClipboard::Clipboard : QClipboard::Selection);
    say("ready");
  }
  return application.exec();
}
