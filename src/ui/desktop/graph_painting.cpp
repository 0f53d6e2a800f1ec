#include "ui/desktop/graph_painting.h"

#include <cmath>

#include "plot/figure.h"
#include "plot/graph_renderer.h"

namespace cx::desktop {

plotmodel::GraphRequest graphRequest(const GraphChoice& choice) {
  plotmodel::GraphRequest r;
  r.property = choice.property.toStdString();
  r.oxide = choice.oxide;
  r.trace = choice.trace;
  r.autoScale = choice.autoScale;
  bool ok = false;
  r.lower = choice.lowerText.trimmed().toDouble(&ok);
  if (!ok) r.lower = 0.0;
  r.upper = choice.upperText.trimmed().toDouble(&ok);
  if (!ok) r.upper = 0.0;
  return r;
}

plotmodel::GraphModel graphModel(const Column* column, const GraphChoice& choice) {
  if (column == nullptr) {
    plotmodel::GraphModel none;
    none.note = "no results yet";
    return none;
  }
  return plotmodel::buildGraphModel(*column, graphRequest(choice));
}

void paintGraph(QPainter& painter, const QRect& rect, const plotmodel::GraphModel& model,
                const GraphChoice& choice) {
  plot::paintGraph(painter, rect, model, plot::graphTitle(graphRequest(choice)));
}

void paintGraph(QPainter& painter, const QRect& rect, const Column* column,
                const GraphChoice& choice) {
  paintGraph(painter, rect, graphModel(column, choice), choice);
}

bool graphPointAt(const QRect& rect, const QFontMetrics& metrics, const Column& column,
                  const plotmodel::GraphModel& model, const QPoint& at, int& node, double& x,
                  double& y) {
  const QRect frame = plot::graphFrame(rect, metrics);
  if (!model.drawn || column.NumNodes <= 1 || frame.height() <= 0 || frame.width() <= 0 ||
      !frame.contains(at))
    return false;
  // The column stands upright: the top of the frame is the top node.
  const double n = column.NumNodes;
  const double down = (at.y() - frame.top()) / double(frame.height());
  node = static_cast<int>(std::floor(n - down * n + 0.5));
  if (node < 1) node = 1;
  if (node > column.NumNodes) node = column.NumNodes;
  y = model.top - down * (model.top - model.bottom);
  x = model.Vmin + (at.x() - frame.left()) / double(frame.width()) * (model.Vmax - model.Vmin);
  return true;
}

}  // namespace cx::desktop
