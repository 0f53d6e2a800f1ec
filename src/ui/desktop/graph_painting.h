// The one place where the desktop program hands a graph to the plots renderer: the screen, the
// printer and PDF files all paint through here.
#pragma once

#include <QPainter>
#include <QRect>

#include "column/column.h"
#include "ui/desktop/graph_panel.h"

namespace cx::desktop {

void paintGraph(QPainter& painter, const QRect& rect, const Column* column,
                const GraphChoice& choice);

// The node under a point of the picture (the column stands upright, node 1 at the bottom) and
// the value the horizontal position stands for; false outside a drawn graph.
bool graphPointAt(const QRect& rect, const Column& column, const GraphChoice& choice,
                  const QPoint& at, int& node, double& x, double& y);

}  // namespace cx::desktop
