// "View Node": every quantity of one node of the column as the window shows it (the loaded
// iteration, the last frame of a run or of the film): temperature, pressure, masses, densities,
// entropies, viscosity and fO2, its phases with their masses and compositions, the liquid's,
// solids' and bulk oxides, the gas and the trace elements.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QSpinBox>
#include <memory>

#include "column/column.h"

namespace cx::desktop {

// The text the viewer shows for node i of a column.
QString nodeReport(const Column& column, int node);

class NodeViewer : public QDialog {
  Q_OBJECT
 public:
  explicit NodeViewer(QWidget* parent = nullptr);
  // Shows a copy of the column, at the node chosen (kept when it still exists).
  void showColumn(const Column& column);
  void showNode(int node);
  QString reportText() const { return report_->toPlainText(); }

 private:
  std::unique_ptr<Column> column_;
  QSpinBox* node_ = nullptr;
  QPlainTextEdit* report_ = nullptr;
};

}  // namespace cx::desktop
