// One of the four graphs of the main window: the property selector (GraphSelect), the
// auto-scale box (chkAutoScale), the two bounds of the value axis (tbInput) and the picture the
// plots renderer paints into (Graph).  The panel shows the latest copy of the column the run
// handed over; it never reads the live column.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QWidget>
#include <array>
#include <memory>
#include <string_view>

#include "column/column.h"
#include "plotmodel/plot_model.h"

namespace cx::desktop {

// The properties every graph offers, in the order of the lists.
inline constexpr std::array<std::string_view, 33> kGraphProperties = {
    "Temperature", "Temperature - Farfield", "Pressure", "Liquid Fraction", "Mass - Phases",
    "Mineral Compositions", "Mass - Gas", "Mass - Gas Components", "Oxide wt % - Liquid",
    "Oxide wt % - Solid", "Oxide wt % - Bulk", "Trace - Liquid", "Trace - Solid", "Trace - Gas",
    "Trace - Bulk", "Bulk Dcoef", "Mg# - Liquid", "Mg# - Solid", "Mg# - Bulk",
    "Density - Liquid & Solid", "Density - Liquid", "Density - Solid", "Density - Bulk",
    "Viscosity - Liquid", "Log f(O2) - Liquid", "Entropy - Liquid", "Entropy - Solid",
    "Entropy - Gas", "Entropy - Bulk", "Velocity - Liquid & Solid", "V/V(fluidization)",
    "Matrix Deformation", "dV Correction"};

// What a graph is asked to draw, besides the column.
struct GraphChoice {
  QString property;
  bool autoScale = true;
  QString lowerText, upperText;  // the two bounds as typed
  int oxide = 8;                 // 1..15, the oxide of the oxide graphs
  int trace = 1;                 // 1..40, the element of the trace graphs
};

class GraphCanvas;

class GraphPanel : public QWidget {
  Q_OBJECT

 public:
  GraphPanel(int index, QWidget* parent = nullptr);

  int index() const { return index_; }
  QComboBox* selector() const { return select_; }
  QCheckBox* autoScale() const { return auto_; }
  QLineEdit* lowerBound() const { return lower_; }
  QLineEdit* upperBound() const { return upper_; }
  GraphCanvas* canvas() const { return canvas_; }

  void setProperty(const QString& name);
  GraphChoice choice() const;
  void setOxideAndTrace(int oxide, int trace);
  // Shows a new copy of the column.
  void show(std::shared_ptr<const Column> column);

 signals:
  void choiceChanged();
  // The pointer is over node `node` at value `x` (axis units) and height `y` (cm).
  void pointerMoved(int node, double x, double y);

 private:
  int index_;
  QComboBox* select_;
  QCheckBox* auto_;
  QLineEdit* lower_;
  QLineEdit* upper_;
  GraphCanvas* canvas_;
  int oxide_ = 8, trace_ = 1;
};

// The picture of a graph.  It paints through paintGraph (graph_painting.h).
class GraphCanvas : public QWidget {
  Q_OBJECT

 public:
  explicit GraphCanvas(QWidget* parent = nullptr);
  void setData(std::shared_ptr<const Column> column, const GraphChoice& choice);
  const Column* column() const { return column_.get(); }
  const GraphChoice& choice() const { return choice_; }
  // What the picture shows: the plot model of the column for the choice.
  const plotmodel::GraphModel& model() const { return model_; }
  // The frame of the graph within the picture (the value axis and the column's extent).
  QRect plotFrame() const;

 signals:
  void pointerMoved(int node, double x, double y);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;

 private:
  std::shared_ptr<const Column> column_;
  GraphChoice choice_;
  plotmodel::GraphModel model_;
};

}  // namespace cx::desktop
