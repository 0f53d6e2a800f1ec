#include "ui/desktop/graph_painting.h"

#include <cmath>

namespace cx::desktop {

void paintGraph(QPainter& painter, const QRect& rect, const Column* column,
                const GraphChoice& choice) {
  painter.fillRect(rect, Qt::white);
  painter.setPen(QColor(120, 120, 120));
  painter.drawRect(rect.adjusted(0, 0, -1, -1));
  painter.setPen(Qt::black);
  painter.drawText(rect.adjusted(6, 6, -6, -6), Qt::AlignTop | Qt::AlignHCenter, choice.property);
  // Until the plots renderer is linked in, the picture says why it holds no curves.
  painter.setPen(QColor(140, 140, 140));
  painter.drawText(rect.adjusted(6, 6, -6, -6), Qt::AlignCenter,
                   column == nullptr ? QString("no results yet")
                                     : QString("curves: the plots renderer is not in this build"));
}

bool graphPointAt(const QRect& rect, const Column& column, const GraphChoice&, const QPoint& at,
                  int& node, double& x, double& y) {
  if (column.NumNodes <= 1 || rect.height() <= 0) return false;
  // The column stands upright: the top of the picture is the top node.
  const double n = column.NumNodes;
  node = static_cast<int>(std::floor(n - (at.y() - rect.top()) / double(rect.height()) * n + 0.5));
  if (node < 1) node = 1;
  if (node > column.NumNodes) node = column.NumNodes;
  y = (rect.bottom() - at.y()) / double(rect.height()) * n * column.DeltaX;
  // The value under the pointer needs the value axis of the drawn graph.
  x = std::nan("");
  return true;
}

}  // namespace cx::desktop
