#include "ui/desktop/progress_panel.h"

#include <QFormLayout>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "base/text_format.h"
#include "column/names.h"
#include "thermo/constants.h"

namespace cx::desktop {

namespace {
QString q(const std::string& s) {
  return QString::fromStdString(s);
}
}  // namespace

int affinityBarLength(double affinity) {
  const double a = std::fabs(affinity);
  if (!(a > 0.0) || !std::isfinite(a)) return a > 0.0 ? 23 : 0;
  const double len = std::floor(std::log(a) + 7.0);
  return static_cast<int>(std::clamp(len, 0.0, 23.0));
}

PhaseBars::PhaseBars(QWidget* parent) : QWidget(parent) {
  setObjectName("PP");
  setMinimumHeight(60);
}

void PhaseBars::setPhases(const std::vector<int>& phases, const std::vector<double>& affinities) {
  phases_ = phases;
  affinities_ = affinities;
  update();
}

void PhaseBars::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().base());
  p.setPen(palette().text().color());
  if (phases_.empty()) {
    p.drawText(rect().adjusted(4, 4, -4, -4), Qt::AlignLeft | Qt::AlignTop,
               "no saturated phases");
    return;
  }
  const int rows = static_cast<int>(phases_.size());
  const int rowH = std::max(8, std::min(16, (height() - 4) / std::max(rows, 1)));
  const int labelW = 40;
  const double unit = std::max(1.0, (width() - labelW - 8) / 23.0);
  for (int k = 0; k < rows; ++k) {
    const int id = phases_[k];
    const int y = 2 + k * rowH;
    const auto name = id >= 1 && id <= kPhases ? PhaseAbbrevDefault[id] : std::string_view("?");
    p.drawText(QRect(2, y, labelW - 4, rowH), Qt::AlignLeft | Qt::AlignVCenter,
               QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
    const double a = k < static_cast<int>(affinities_.size()) ? affinities_[k] : 0.0;
    const int len = affinityBarLength(a);
    p.fillRect(QRectF(labelW, y + 2, len * unit, rowH - 4), QColor(40, 110, 200));
  }
}

ProgressPanel::ProgressPanel(QWidget* parent) : QGroupBox("Minimizer", parent) {
  auto* form = new QFormLayout;
  form->setContentsMargins(6, 6, 6, 6);
  form->setVerticalSpacing(2);
  node_ = value("lblNode");
  temp_ = value("lblTemp");
  pressure_ = value("lblPressure");
  count_ = value("lblCount");
  components_ = value("lblComponents");
  norm_ = value("lblNorm");
  djNorm_ = value("lblDJNorm");
  stepLength_ = value("lblSteplength");
  constraints_ = value("lblConstraints");
  constraints_->setWordWrap(true);
  form->addRow("Node:", node_);
  form->addRow("T:", temp_);
  form->addRow("P:", pressure_);
  form->addRow("Count:", count_);
  form->addRow("Components:", components_);
  form->addRow("Norm:", norm_);
  form->addRow("HSQP flag:", djNorm_);
  form->addRow("Step length:", stepLength_);
  form->addRow("Constraints:", constraints_);
  bars_ = new PhaseBars(this);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(bars_, 1);
}

QLabel* ProgressPanel::value(const char* name) {
  auto* l = new QLabel(this);
  l->setObjectName(name);
  l->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return l;
}

void ProgressPanel::show(const ProgressInfo& info) {
  node_->setText(QString::number(info.node));
  temp_->setText(q(formatNumber(info.temperatureK - kKelvinOffset, "fixed")) + " °C");
  pressure_->setText(q(formatNumber(info.pressureBar, "fixed")) + " bar");
  QString count = q(formatNumber(info.attempt, "###"));
  if (!info.constantT) count += "\\" + QString::number(info.attemptsTotal);
  count_->setText(count);
  components_->setText(QString::number(info.components));
  norm_->setText(q(formatNumber(info.norm, "0.00000000")));
  // The quadratic program's flag turns red when the previous step had failed too.
  const QString previous = djNorm_->text();
  const QString flag = q(formatNumber(info.hsqpFlag, "fixed"));
  const bool red = !previous.isEmpty() && previous.toDouble() != 0.0;
  djNorm_->setText(flag);
  djNorm_->setStyleSheet(red ? "color: rgb(255,0,0)" : "color: rgb(0,150,0)");
  stepLength_->setText(q(formatNumber(info.stepLength, "0.00000000")));
  if (info.constrainedComponents.empty()) {
    constraints_->setText("none.");
    constraints_->setStyleSheet("color: rgb(0,150,0)");
  } else {
    QString text;
    for (std::size_t k = 0; k < info.constrainedComponents.size(); ++k) {
      if (k > 0) text += (k == 6 || k == 12) ? "\n" : " ";
      text += q(info.constrainedComponents[k]);
    }
    constraints_->setText(text);
    constraints_->setStyleSheet("color: rgb(255,0,0)");
  }
  bars_->setPhases(info.saturatedPhases, info.affinities);
}

}  // namespace cx::desktop
