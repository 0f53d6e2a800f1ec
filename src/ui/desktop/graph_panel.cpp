#include "ui/desktop/graph_panel.h"

#include <QDoubleValidator>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>

#include "plot/graph_renderer.h"
#include "ui/desktop/graph_painting.h"

namespace cx::desktop {

GraphPanel::GraphPanel(int index, QWidget* parent) : QWidget(parent), index_(index) {
  setObjectName(QString("Graph(%1)").arg(index));
  select_ = new QComboBox(this);
  select_->setObjectName(QString("GraphSelect(%1)").arg(index));
  select_->setToolTip("Select a system property to plot");
  for (std::string_view p : kGraphProperties)
    select_->addItem(QString::fromUtf8(p.data(), static_cast<qsizetype>(p.size())));
  select_->setMaxVisibleItems(33);
  auto_ = new QCheckBox("Auto", this);
  auto_->setObjectName(QString("chkAutoScale(%1)").arg(index));
  auto_->setToolTip("When checked, graph scale is set automatically");
  auto_->setChecked(true);
  lower_ = new QLineEdit("0", this);
  upper_ = new QLineEdit("100", this);
  lower_->setObjectName(QString("tbInput(%1)").arg(2 * index - 2));
  upper_->setObjectName(QString("tbInput(%1)").arg(2 * index - 1));
  for (QLineEdit* e : {lower_, upper_}) {
    e->setValidator(new QDoubleValidator(e));
    e->setMaximumWidth(80);
    e->setEnabled(false);
  }
  lower_->setToolTip("Lower bound of the value axis");
  upper_->setToolTip("Upper bound of the value axis");
  canvas_ = new GraphCanvas(this);

  auto* bar = new QHBoxLayout;
  bar->setContentsMargins(0, 0, 0, 0);
  bar->addWidget(select_, 1);
  bar->addWidget(auto_);
  bar->addWidget(lower_);
  bar->addWidget(upper_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  layout->setSpacing(2);
  layout->addLayout(bar);
  layout->addWidget(canvas_, 1);

  auto changed = [this] {
    canvas_->setData(std::shared_ptr<const Column>(), choice());
    emit choiceChanged();
  };
  connect(select_, &QComboBox::currentTextChanged, this, changed);
  connect(auto_, &QCheckBox::toggled, this, [this, changed](bool on) {
    lower_->setEnabled(!on);
    upper_->setEnabled(!on);
    changed();
  });
  connect(lower_, &QLineEdit::editingFinished, this, changed);
  connect(upper_, &QLineEdit::editingFinished, this, changed);
  connect(canvas_, &GraphCanvas::pointerMoved, this, &GraphPanel::pointerMoved);
}

void GraphPanel::setProperty(const QString& name) {
  const int i = select_->findText(name);
  select_->setCurrentIndex(i >= 0 ? i : 0);
}

GraphChoice GraphPanel::choice() const {
  GraphChoice c;
  c.property = select_->currentText();
  c.autoScale = auto_->isChecked();
  c.lowerText = lower_->text();
  c.upperText = upper_->text();
  c.oxide = oxide_;
  c.trace = trace_;
  return c;
}

void GraphPanel::setOxideAndTrace(int oxide, int trace) {
  oxide_ = oxide;
  trace_ = trace;
  canvas_->setData(std::shared_ptr<const Column>(), choice());
}

void GraphPanel::show(std::shared_ptr<const Column> column) {
  canvas_->setData(std::move(column), choice());
}

GraphCanvas::GraphCanvas(QWidget* parent)
    : QWidget(parent), model_(graphModel(nullptr, GraphChoice{})) {
  setMouseTracking(true);
  setMinimumSize(160, 160);
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void GraphCanvas::setData(std::shared_ptr<const Column> column, const GraphChoice& choice) {
  // A null column keeps the one shown (only the choice changed).
  if (column) column_ = std::move(column);
  choice_ = choice;
  model_ = graphModel(column_.get(), choice_);
  update();
}

QRect GraphCanvas::plotFrame() const {
  return plot::graphFrame(rect(), fontMetrics());
}

void GraphCanvas::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  paintGraph(painter, rect(), model_, choice_);
}

void GraphCanvas::mouseMoveEvent(QMouseEvent* event) {
  if (!column_) return;
  int node = 0;
  double x = 0.0, y = 0.0;
  if (graphPointAt(rect(), fontMetrics(), *column_, model_, event->position().toPoint(), node, x,
                   y))
    emit pointerMoved(node, x, y);
}

}  // namespace cx::desktop
