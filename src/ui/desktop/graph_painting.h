// The one place where the desktop program hands a graph to the plots renderer: the screen, the
// printer and PDF files all paint through here, with the same plot model and drawing code as the
// command line's pictures.
#pragma once

#include <QFontMetrics>
#include <QPainter>
#include <QRect>

#include "column/column.h"
#include "plotmodel/plot_model.h"
#include "ui/desktop/graph_panel.h"

namespace cx::desktop {

// The plot model's request for a panel's choice; bounds that do not read as numbers count as 0.
plotmodel::GraphRequest graphRequest(const GraphChoice& choice);

// What the graph shows: the plot model of the column, or a note while there is no column.
plotmodel::GraphModel graphModel(const Column* column, const GraphChoice& choice);

void paintGraph(QPainter& painter, const QRect& rect, const plotmodel::GraphModel& model,
                const GraphChoice& choice);
void paintGraph(QPainter& painter, const QRect& rect, const Column* column,
                const GraphChoice& choice);

// The node under a point of the picture (the column stands upright, node 1 at the bottom), the
// value the horizontal position stands for and the height (cm) of the point; false outside the
// frame of a drawn graph.  `metrics` is the font the graph is painted with.
bool graphPointAt(const QRect& rect, const QFontMetrics& metrics, const Column& column,
                  const plotmodel::GraphModel& model, const QPoint& at, int& node, double& x,
                  double& y);

}  // namespace cx::desktop
