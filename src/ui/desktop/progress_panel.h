// The minimizer's progress (ShowProgress): the node in hand, its temperature and pressure, the
// attempt count, the number of components, the norms and the step length, the constrained
// liquid components, and one bar per saturated phase for the size of its affinity.
#pragma once

#include <QGroupBox>
#include <QLabel>
#include <QWidget>
#include <vector>

#include "base/port.h"

namespace cx::desktop {

// The bar length of a saturated phase: int(ln |affinity| + 7), kept within 0..23.
int affinityBarLength(double affinity);

// PP: one bar per saturated phase, or "no saturated phases".
class PhaseBars : public QWidget {
  Q_OBJECT
 public:
  explicit PhaseBars(QWidget* parent = nullptr);
  void setPhases(const std::vector<int>& phases, const std::vector<double>& affinities);
  QSize sizeHint() const override { return {220, 120}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::vector<int> phases_;
  std::vector<double> affinities_;
};

class ProgressPanel : public QGroupBox {
  Q_OBJECT
 public:
  explicit ProgressPanel(QWidget* parent = nullptr);
  void show(const ProgressInfo& info);

 private:
  QLabel* value(const char* name);
  QLabel *node_, *temp_, *pressure_, *count_, *components_, *norm_, *djNorm_, *stepLength_,
      *constraints_;
  PhaseBars* bars_;
};

}  // namespace cx::desktop
