// "View Node": every quantity of one node of the column as the window shows it (the loaded
// iteration, the last frame of a run or of the film): temperature, pressure, masses, densities,
// entropies, viscosity and fO2, its phases with their masses and compositions, the liquid's,
// solids' and bulk oxides, the gas and the trace elements.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QSpinBox>
#include <memory>

#include "base/diagnostics.h"
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
  int node() const;

  // How a node is repaired from its neighbours (cmdInterpolate, cmdUseNext, cmdUsePrevious).
  enum class Repair { Interpolate, UseNext, UsePrevious };

 signals:
  // The operator asks for a repair of the node shown; the window applies it to its column.
  void repairRequested(int node, cx::desktop::NodeViewer::Repair repair);

 private:
  std::unique_ptr<Column> column_;
  QSpinBox* node_ = nullptr;
  QPlainTextEdit* report_ = nullptr;
};

// Applies a repair to node `node` of `column`: Interpolate is the mean of the two neighbours for
// an interior node and the extrapolation from the two nearest for an end node; Use next and Use
// previous copy the neighbour.  False (with the report in `diag`) when it cannot be made.
bool repairNode(Column& column, int node, NodeViewer::Repair repair, Diagnostics& diag);

}  // namespace cx::desktop
