// What the share sheet's start is compared with: the least that a window of the toolkit with a text
// area and three rows of title and value can be.

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QWidget window;
  auto* column = new QVBoxLayout(&window);
  column->addWidget(new QTextEdit(QStringLiteral("Write the report")));
  for (const auto* title : {"Notes", "Project", "Context"}) {
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(QString::fromLatin1(title)));
    row->addStretch();
    row->addWidget(new QPushButton(QStringLiteral("None")));
    column->addLayout(row);
  }
  window.resize(400, 320);
  window.show();
  return application.exec();
}
